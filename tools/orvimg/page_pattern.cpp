#include "page_pattern.h"

#include "report.h"
#include "text.h"

namespace orvimg
{

PagePattern::PagePattern(const std::string& pattern)
{
    const size_t place = pattern.find('%');
    const size_t end = pattern.find('d', place == std::string::npos ? 0 : place);
    bool is_good = place != std::string::npos && end != std::string::npos &&
                   pattern.find('%', place + 1) == std::string::npos;
    if (is_good && end > place + 1) {
        int64_t places = 0;
        const std::string width = pattern.substr(place + 1, end - place - 1);
        is_good = width[0] != '-' && width[0] != '+' && read_number(width, places) && places > 0 && places < 10;
        filler_ = width[0] == '0' ? '0' : ' ';
        places_ = static_cast<size_t>(places);
    }
    if (!is_good) {
        throw UsageError(
            "the pattern needs one %d for the page number, or %03d, and no other %: page-%03d.bmp, not '" +
            pattern + "'");
    }
    before_ = pattern.substr(0, place);
    after_ = pattern.substr(end + 1);
}

std::string PagePattern::number(int page) const
{
    const std::string digits = std::to_string(page);
    return std::string(places_ > digits.size() ? places_ - digits.size() : 0, filler_) + digits;
}

}  // namespace orvimg
