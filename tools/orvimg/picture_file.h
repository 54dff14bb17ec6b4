// A file of pictures to take them from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "options.h"
#include "picture.h"

namespace orvimg
{

// How much of a page came.
struct Condition {
    int rows = 0;
    int repaired = 0;  // rows in which something was made up, repeated or cut
    int missing = 0;
    std::string reason;

    bool is_damaged() const { return repaired + missing > 0; }
    bool is_empty() const { return rows > 0 && missing == rows; }
    std::string words() const;  // "12 of 100 rows are missing, 1 is repaired: the data ends too early"
};

// Of the library's last load.
Condition last_condition();

// A whole file in memory: mapped, or read where it is the standard input, "-". Pages count from 1, as people
// count.
class PictureFile
{
public:
    explicit PictureFile(const std::string& name);  // throws Failure
    ~PictureFile();
    PictureFile(const PictureFile&) = delete;
    PictureFile& operator=(const PictureFile&) = delete;

    const std::string& name() const { return name_; }  // for messages
    std::span<const uint8_t> bytes() const { return bytes_; }
    uint32_t size() const { return static_cast<uint32_t>(bytes_.size()); }
    int detected() const { return detected_; }  // an OrvFormat, or -1
    bool is_fax() const { return is_fax_; }     // the fax container, which is detected as TIFF

    int page_count();
    void require_page(int page);  // throws Failure where it does not exist

    // A reader of TIFF walks the chain of directories up to its page, which makes a job on all pages slow in
    // long files. Here the chain is walked once; `aim` lets the header in memory lead to the directory of a
    // page, and gives the page number, from 0, to ask the library for. `aim(1)` undoes it.
    int16_t aim(int page);

    // Throws Failure where no picture comes, or one without a single row. Turned: as load_turned has it.
    Picture load(int page, Condition& condition, bool is_turned = false);

    // "page 2 of fax.tif", or the file's name alone for the first page.
    std::string page_name(int page) const;

    // Why a page could not be read, for the library's result `code` and the load report's reason, if any.
    std::string trouble(int page, int code, const std::string& reason) const;
    // Why not a single row of a page came; `code` gets the result that says so.
    std::string emptiness(int page, const Condition& condition, int& code) const;

private:
    void map(int descriptor);
    void read_all(int descriptor);
    void find_directories();
    uint8_t* own_header();

    std::string name_;
    std::span<const uint8_t> bytes_;
    std::vector<uint8_t> own_bytes_;  // of the standard input
    void* mapped_ = nullptr;
    int detected_ = -1;
    int page_count_ = 0;                 // 0: not counted yet
    std::vector<uint32_t> directories_;  // of a TIFF file's pages; empty: not looked for, or not to be found
    bool is_fax_ = false;
};

// Loads a page, and says on stderr what is damaged. `status` becomes kExitDamaged then. Throws Failure, with
// --strict for damage too.
Picture load_page(PictureFile& file, int page, const Options& options, int& status, bool is_turned = false);

}  // namespace orvimg
