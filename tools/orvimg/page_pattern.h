// Names of the files that pages go to.
#pragma once

#include <string>

namespace orvimg
{

// A text with one %d, or %Nd or %0Nd for a number of at least N places, and no other %; it is taken apart by
// this program alone.
class PagePattern
{
public:
    explicit PagePattern(const std::string& pattern);  // throws UsageError
    std::string name_of(int page) const { return before_ + number(page) + after_; }

    const std::string& before() const { return before_; }
    const std::string& after() const { return after_; }
    std::string number(int page) const;

private:
    std::string before_;
    std::string after_;
    size_t places_ = 0;
    char filler_ = ' ';
};

}  // namespace orvimg
