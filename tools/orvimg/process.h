// What the process as a whole keeps in order: the folder of relative names, a folder of its own for the
// library's temporary files, and what has to go when a signal ends it.
#pragma once

#include <string>

namespace orvimg
{

// Opens the folder that relative names count from, and sees to signals. Call it first.
void start_process();

// Sees to signals alone, in a process that was forked.
void start_signals();

// The descriptor for openat and its like: the folder in which the program was started.
int start_folder();

// Makes a new folder the current one: the library puts temp.pcx and plane.tmp there, so runs side by side
// don't meet. It goes with the process. Where none can be made the current folder is /. `parent` empty: the
// folder for temporary files.
void enter_private_folder(const std::string& parent = "");
void leave_private_folder();

// Removes the private folders of processes that were killed.
void sweep_private_folders();
std::string private_folder_name();  // empty where there is none

// A file that is unlinked when this goes, or when a signal ends the process, unless `keep` was called.
class Leftover
{
public:
    Leftover(int folder, const std::string& name);
    ~Leftover();
    Leftover(const Leftover&) = delete;
    Leftover& operator=(const Leftover&) = delete;
    void keep();

private:
    int slot_;
};

}  // namespace orvimg
