#include "fuzz/input.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

/// Replaces libFuzzer in builds without it: runs the harness over files and the contents of folders. A seed
/// that violates a condition ends the program.
int main(int argc, char** argv)
{
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            files.emplace_back(argv[i]);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
            files.push_back(entry.path());
    }
    for (const auto& name : files) {
        std::ifstream file(name, std::ios::binary);
        const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), {});
        if (!file) {
            std::fprintf(stderr, "%s cannot be read.\n", name.c_str());
            return EXIT_FAILURE;
        }
        std::fprintf(stderr, "%s\n", name.c_str());
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    std::printf("%zu inputs\n", files.size());
    return files.empty() ? EXIT_FAILURE : EXIT_SUCCESS;
}
