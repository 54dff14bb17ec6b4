#include "picture_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "formats.h"
#include "orvimg32/extra.h"
#include "orvimg32/sized.h"
#include "process.h"
#include "report.h"
#include "turned_load.h"
#include "unread.h"

namespace orvimg
{

namespace
{

// Positions in files have 32 bits in the library.
constexpr int64_t kLargestFile = 0xFFFFFFFE;
constexpr size_t kTiffHeader = 8;

const char* is_or_are(int count)
{
    return count == 1 ? " is " : " are ";
}

}  // namespace

std::string Condition::words() const
{
    const std::string all = " of " + counted(rows, "row");
    std::string text;
    if (missing > 0) {
        text = std::to_string(missing) + all + is_or_are(missing) + "missing";
    }
    if (repaired > 0) {
        text += (text.empty() ? std::to_string(repaired) + all : ", " + std::to_string(repaired)) +
                is_or_are(repaired) + "repaired";
    }
    return reason.empty() || text.empty() ? text : text + ": " + reason;
}

Condition last_condition()
{
    OrvLoadReport report = {};
    report.size = sizeof report;
    if (orv_load_report(&report) != ORV_OK) {
        return {};
    }
    return {report.rows, report.rows_repaired, report.rows_missing, report.reason};
}

PictureFile::PictureFile(const std::string& name) : name_(name == "-" ? "the standard input" : name)
{
    if (name == "-") {
        read_all(STDIN_FILENO);
    } else {
        // A named pipe would otherwise wait for its other end.
        const int descriptor =
            openat(start_folder(), name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
        if (descriptor < 0) {
            throw Failure("cannot read " + name_, system_words(), ORV_UNREADABLE);
        }
        map(descriptor);
    }
    detected_ = orv_get_filetype_mem(bytes_.data(), size());
    constexpr char kFaxMagic[] = "ORVNFAX ";
    is_fax_ = bytes_.size() >= 8 && std::memcmp(bytes_.data(), kFaxMagic, 8) == 0;
}

PictureFile::~PictureFile()
{
    if (mapped_ != nullptr) {
        munmap(mapped_, bytes_.size());
    }
}

// Closes the descriptor.
void PictureFile::map(int descriptor)
{
    struct stat about = {};
    const bool is_known = fstat(descriptor, &about) == 0;
    std::string trouble;
    if (!is_known || !S_ISREG(about.st_mode)) {
        trouble = is_known && S_ISDIR(about.st_mode) ? "it is a directory" : "it is not an ordinary file";
    } else if (int64_t{about.st_size} > kLargestFile) {
        trouble = "files of 4 GiB and more are not read";
    } else if (about.st_size > 0) {
        const size_t length = static_cast<size_t>(about.st_size);
        void* const address = mmap(nullptr, length, PROT_READ, MAP_PRIVATE, descriptor, 0);
        if (address == MAP_FAILED) {
            trouble = system_words();
        } else {
            mapped_ = address;
            bytes_ = {static_cast<const uint8_t*>(address), length};
        }
    }
    close(descriptor);
    if (!trouble.empty()) {
        throw Failure("cannot read " + name_, trouble, ORV_UNREADABLE);
    }
}

void PictureFile::read_all(int descriptor)
{
    constexpr size_t kFirst = 1 << 16;
    size_t length = 0;
    own_bytes_.resize(kFirst);
    for (;;) {
        const ssize_t got = read(descriptor, own_bytes_.data() + length, own_bytes_.size() - length);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            throw Failure("cannot read " + name_, system_words(), ORV_UNREADABLE);
        }
        length += static_cast<size_t>(got);
        if (got == 0) {
            break;
        }
        if (length > static_cast<size_t>(kLargestFile) / 2) {
            throw Failure("cannot read " + name_, "2 GiB and more are not read from there", ORV_UNREADABLE);
        }
        if (length == own_bytes_.size()) {
            own_bytes_.resize(2 * length);
        }
    }
    bytes_ = std::span<const uint8_t>(own_bytes_).first(length);
}

int PictureFile::page_count()
{
    if (page_count_ == 0) {
        const int count = detected_ < 0 ? 1 : orv_page_count_mem(bytes_.data(), size());
        if (count < 0) {
            throw Failure("cannot count the pages of " + name_, trouble(1, count, ""), count);
        }
        page_count_ = std::max(count, 1);
    }
    return page_count_;
}

// Formats without pages read their one picture whatever page is asked for, so this is asked first. The
// first page is always worth a try, also where the pages behind it can't be counted.
void PictureFile::require_page(int page)
{
    if (page > 1 && page > page_count()) {
        throw Failure("cannot read " + page_name(page), "it has " + counted(page_count(), "page"),
                      ORV_NO_SUCH_PAGE);
    }
}

// The header's bytes, in memory of this process alone; null where there is none to be had.
uint8_t* PictureFile::own_header()
{
    if (mapped_ == nullptr) {
        return own_bytes_.data();
    }
    const bool is_own = mprotect(mapped_, kTiffHeader, PROT_READ | PROT_WRITE) == 0;
    return is_own ? static_cast<uint8_t*>(mapped_) : nullptr;
}

// TIFF 6.0: the position of the first directory at 4; a directory is a count of 2 bytes, entries of 12 bytes,
// and the position of the next.
void PictureFile::find_directories()
{
    const bool is_big = bytes_[0] == 'M';
    const int pages = page_count();
    uint32_t directory = file_number(bytes_, 4, 4, is_big);
    for (int page = 0; page < pages && directory != 0; ++page) {
        directories_.push_back(directory);
        const uint32_t entries = file_number(bytes_, directory, 2, is_big);
        directory = file_number(bytes_, directory + size_t{2} + size_t{12} * entries, 4, is_big);
    }
}

int16_t PictureFile::aim(int page)
{
    const int16_t asked = static_cast<int16_t>(page - 1);
    if (detected_ != ORV_FORMAT_TIFF || is_fax_ || bytes_.size() < kTiffHeader ||
        (page == 1 && directories_.empty())) {
        return asked;
    }
    if (directories_.empty()) {
        find_directories();
    }
    uint8_t* const header = own_header();
    if (header == nullptr || static_cast<size_t>(page) > directories_.size()) {
        return asked;
    }
    const uint32_t directory = directories_[static_cast<size_t>(page - 1)];
    for (int i = 0; i < 4; ++i) {
        const int shift = header[0] == 'M' ? 24 - 8 * i : 8 * i;
        header[4 + i] = static_cast<uint8_t>(directory >> shift);
    }
    return 0;
}

Picture PictureFile::load(int page, Condition& condition, bool is_turned)
{
    require_page(page);
    const int16_t asked = aim(page);
    const int16_t handle =
        is_turned ? load_turned(bytes_, asked) : IMG_decompress_bitmap_mem_sized(bytes_.data(), size(), asked);
    condition = last_condition();
    aim(1);
    if (handle < 0) {
        throw Failure("cannot read " + page_name(page), trouble(page, handle, condition.reason), handle);
    }
    Picture picture(handle);
    if (condition.is_empty()) {
        int code = ORV_OK;
        const std::string why = emptiness(page, condition, code);
        throw Failure("cannot read " + page_name(page), why, code);
    }
    return picture;
}

std::string PictureFile::page_name(int page) const
{
    return page > 1 ? "page " + std::to_string(page) + " of " + name_ : name_;
}

std::string PictureFile::trouble(int page, int code, const std::string& reason) const
{
    const Format* format = format_by_number(detected_);
    const std::string kind = is_fax_ ? "fax" : format == nullptr ? "unknown" : format->name;
    if (format == nullptr && (code == ORV_NOT_SUPPORTED || code == ORV_BAD_DATA)) {
        return "not a picture that OrvImg32 knows" + other_kind(bytes_);
    }
    if (code == ORV_NOT_SUPPORTED && !(is_fax_ ? can_read_fax_files() : can_read(*format))) {
        return "it looks like " + kind + ", which this build does not read";
    }
    std::string exact = is_fax_ || format == nullptr ? "" : why_unread(detected_, bytes_, page);
    if ((code == ORV_NOT_SUPPORTED || code == ORV_BAD_DATA) && !exact.empty()) {
        return exact;
    }
    if ((code == ORV_NOT_SUPPORTED || code == ORV_BAD_DATA) && !reason.empty()) {
        return "it looks like " + kind + ", but: " + reason;
    }
    if (code == ORV_NOT_SUPPORTED) {
        return "it looks like " + kind + ", of a kind, depth or size that OrvImg32 does not carry";
    }
    if (code == ORV_BAD_DATA) {
        return "it looks like " + kind + ", but the data is damaged";
    }
    if (code == ORV_NOT_CREATED) {
        return "a temporary file can't be made";
    }
    return words_for(code);
}

std::string PictureFile::emptiness(int page, const Condition& condition, int& code) const
{
    std::string exact = is_fax_ ? "" : why_unread(detected_, bytes_, page);
    if (!exact.empty()) {
        code = ORV_NOT_SUPPORTED;
        return exact;
    }
    code = ORV_BAD_DATA;
    return "no row of it can be read" + (condition.reason.empty() ? "" : ": " + condition.reason);
}

Picture load_page(PictureFile& file, int page, const Options& options, int& status, bool is_turned)
{
    Condition condition;
    Picture picture = file.load(page, condition, is_turned);
    if (condition.is_damaged()) {
        if (options.strict) {
            throw Failure(file.page_name(page) + " is damaged", condition.words(), ORV_BAD_DATA);
        }
        print_note(options, "warning: " + file.page_name(page) + " is damaged: " + condition.words());
        status = kExitDamaged;
    }
    return picture;
}

}  // namespace orvimg
