// One function for each command of the program. Each gives the exit status or throws Failure.
#pragma once

#include "options.h"

namespace orvimg
{

class Picture;

int run_info(const Options& options);
int run_convert(const Options& options);
int run_split(const Options& options);
int run_merge(const Options& options);
int run_formats();
int run_view(const Options& options);

// Saves `picture` as one of `page_total` saves that make up one job. Throws Failure.
void save_picture(const Picture& picture, const std::string& file_name, const Options& options, int page_total);

}  // namespace orvimg
