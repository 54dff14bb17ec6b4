#include "tests/support/files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace orv::test
{

namespace fs = std::filesystem;

namespace
{

struct TempDirectory {
    fs::path path;
    TempDirectory()
    {
        std::string name = (fs::temp_directory_path() / "orvimg32-test-XXXXXX").string();
        path = ::mkdtemp(name.data()) != nullptr ? fs::path(name) : fs::path();
    }
    ~TempDirectory()
    {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;
};

}  // namespace

std::string data_path(const std::string& name)
{
    return std::string(ORV_TEST_DATA) + "/" + name;
}

std::string temp_path(const std::string& name)
{
    static const TempDirectory directory;
    return (directory.path / name).string();
}

std::vector<u8> read_file(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << "cannot read " << path;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void write_file(const std::string& path, std::span<const u8> bytes)
{
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    EXPECT_TRUE(file.flush()) << "cannot write " << path;
}

std::vector<std::string> fixtures(const std::string& folder)
{
    std::vector<std::string> paths;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(data_path(folder))) {
        if (entry.is_regular_file() && entry.path().extension() != ".md" && entry.path().extension() != ".sh" &&
            entry.path().extension() != ".py") {
            paths.push_back(entry.path().string());
        }
    }
    EXPECT_FALSE(paths.empty()) << "no fixtures in " << folder;
    std::sort(paths.begin(), paths.end());
    return paths;
}

bool run(const std::string& command)
{
    const std::string log = temp_path("command.log");
    const int status = std::system(("( " + command + " ) >" + log + " 2>&1").c_str());
    if (status != 0) {
        const std::vector<u8> text = read_file(log);
        ADD_FAILURE() << command << "\nended with status " << status << ":\n"
                      << std::string(text.begin(), text.end());
    }
    return status == 0;
}

}  // namespace orv::test
