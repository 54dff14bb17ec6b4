// Files and commands of the tests. Every test process works in a temporary directory of its own.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "frame/types.h"

namespace orv::test
{

std::string data_path(const std::string& name);  // of a fixture: tests/data/NAME
std::string temp_path(const std::string& name);  // in the process's directory, which goes with it

// A file that can't be read or written fails the test.
std::vector<u8> read_file(const std::string& path);
void write_file(const std::string& path, std::span<const u8> bytes);

// Every fixture below tests/data/FOLDER by path, not the documents (*.md) and recipes (*.sh, *.py). None at all
// fails the test.
std::vector<std::string> fixtures(const std::string& folder);

// Runs a shell command. One that fails also fails the test, with what the command printed.
bool run(const std::string& command);

}  // namespace orv::test
