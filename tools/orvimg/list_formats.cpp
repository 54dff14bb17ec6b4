// orvimg formats: what the library that runs reads and writes.
#include <cstdio>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "report.h"

namespace orvimg
{

namespace
{

constexpr const char* kLine = "%-6s  %-12s  %-5s  %-13s  %-8s  %s%s\n";

void print_json(const Options& options)
{
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const Format& format : all_formats()) {
        nlohmann::ordered_json depths = nlohmann::ordered_json::array();
        for (const int bits : {1, 4, 8, 24}) {
            if ((depths_written(format.number) & depth_bit(bits)) != 0) {
                depths.push_back(bits);
            }
        }
        all.push_back({{"number", format.number},
                       {"name", format.name},
                       {"extension", format.extension},
                       {"reads", can_read(format)},
                       {"writes_bits", depths},
                       {"pages", format.has_pages},
                       {"description", format.saved_as}});
    }
    all.push_back({{"number", nullptr},
                   {"name", "fax"},
                   {"extension", nullptr},
                   {"reads", can_read_fax_files()},
                   {"writes_bits", nlohmann::ordered_json::array()},
                   {"pages", true},
                   {"description", "fax container"}});
    if (!options.json_lines) {
        std::printf("%s\n", all.dump(2).c_str());
        return;
    }
    for (const nlohmann::ordered_json& format : all) {
        std::printf("%s\n", format.dump().c_str());
    }
}

}  // namespace

int run_formats(const Options& options)
{
    if (options.json) {
        print_json(options);
        return kExitDone;
    }
    std::printf(kLine, "NUMBER", "NAME", "READ", "WRITE, BITS", "BY NAME", "WHAT", "");
    for (const Format& format : all_formats()) {
        const unsigned depths = depths_written(format.number);
        const bool has_name = format.extensions[1] != '\0';
        std::printf(kLine, std::to_string(format.number).c_str(), format.name, can_read(format) ? "yes" : "no",
                    depths == kNoDepth ? "no" : depth_list(depths).c_str(),
                    has_name ? (std::string(".") + format.extension).c_str() : "-", format.saved_as,
                    format.has_pages ? ", many pages" : "");
    }
    std::printf(kLine, "-", "fax", can_read_fax_files() ? "yes" : "no", "no", "-", "fax container",
                ", many pages");
    return kExitDone;
}

}  // namespace orvimg
