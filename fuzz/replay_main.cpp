// Runs a fuzz target over files and directories of files, once each.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

namespace fs = std::filesystem;

int replay(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::fprintf(stderr, "%s\n", path.c_str());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    return 1;
}

}  // namespace

int main(int argc, char** argv)
{
    int files = 0;
    for (int i = 1; i < argc; i++) {
        if (!fs::is_directory(argv[i])) {
            files += replay(argv[i]);
            continue;
        }
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(argv[i])) {
            files += entry.is_regular_file() ? replay(entry.path()) : 0;
        }
    }
    std::printf("%d files\n", files);
    return files > 0 ? 0 : 1;
}
