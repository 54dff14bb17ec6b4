// orvimg convert: from one format to another.
#include "commands.h"
#include "picture_file.h"
#include "report.h"
#include "saving.h"

namespace orvimg
{

int run_convert(const Options& options)
{
    require_written(*options.format);
    int status = kExitDone;
    PictureFile file(options.inputs.front());
    Picture picture = load_page(file, options.page == 0 ? 1 : options.page, options, status);
    Progress progress(static_cast<int>(options.operations.size()) + 1, options.quiet);
    apply(options.operations, picture, file.name(), progress);
    progress.next_part(options.output);
    start_saving(options, 1);
    Target target(options.output, existing_of(options));
    save_picture(picture, options, target, options.output);
    target.commit();
    const auto [width, height, bits] = picture.size();
    print_detail(options, file.name() + " -> " + options.output + ": " + std::to_string(width) + " x " +
                              std::to_string(height) + " pixels, " + counted(bits, "bit") + ", " +
                              counted(target.size(), "byte"));
    return status;
}

}  // namespace orvimg
