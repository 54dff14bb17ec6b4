// Pictures into targets, with the settings of the command line.
#pragma once

#include "options.h"
#include "picture.h"
#include "target.h"

namespace orvimg
{

// Before any work: refuses what this build does not write. Throws Failure.
void require_written(const Format& format);

// What --no-clobber and --append make of a target that exists.
Existing existing_of(const Options& options);

// What a picture of `bits` bits is written as. A TIFF whose coding nobody named takes the smallest that adds
// pages where they are wanted.
const Format& target_format(const Options& options, int bits);

// Begins a job of `page_total` saves with the options' settings.
void start_saving(const Options& options, int page_total);

// Saves `picture` to `target`, whose name is `name`. Makes 8 bits of it first for GIF, where it has neither 4
// nor 8 and the options do not forbid it. Throws Failure.
void save_picture(Picture& picture, const Options& options, Target& target, const std::string& name);

}  // namespace orvimg
