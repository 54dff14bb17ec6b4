// A file that is written: whole or not at all.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "process.h"

namespace orvimg
{

// When a new file reaches the disk. One that replaces another does so ahead of its name in any case.
enum class Flush : uint8_t { AtOnce, Later };

// Flushes the files of this process that were to be flushed later. Throws Failure.
void flush_targets();

enum class Existing : uint8_t { Replace, Refuse, Append };

// A new file is written without a name, or under a temporary one, in the folder of its target, and gets the
// name only when it is whole and flushed; until then the target is what it was. A file that gets pages is
// changed in place. A device or pipe, and the standard output, "-", get the bytes when the file is whole.
class Target
{
public:
    Target(const std::string& name, Existing existing);  // throws Failure
    ~Target();                                           // without `commit`, all is as before
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;

    int descriptor() const { return descriptor_; }
    bool is_appending() const { return appends_; }
    // A page is whole: what comes before it stays, whatever becomes of the next.
    void page_done();
    // Throws Failure; the target is then as before.
    void commit(Flush flush = Flush::AtOnce);
    int64_t size() const { return size_; }  // bytes, once committed

private:
    void open_existing();
    void open_new();
    void open_named();
    bool give_new_name();
    void replace_name();
    void flush_now();
    void copy_out(int to);
    int64_t bytes_so_far() const;
    [[noreturn]] void fail(const std::string& why, int code) const;

    std::string name_;  // for messages
    std::string base_;  // the name within its folder
    Existing existing_;
    int folder_ = -1;
    int descriptor_ = -1;
    int pass_on_ = -1;  // where the bytes of a target go that is no ordinary file
    bool appends_ = false;
    int64_t size_ = 0;
    int64_t whole_bytes_ = 0;  // of a file that gets pages: up to where it is whole
    int16_t whole_pages_ = 0;
    std::unique_ptr<Leftover> temporary_;
    std::string temporary_name_;  // empty: the new file has no name yet
};

}  // namespace orvimg
