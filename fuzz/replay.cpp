// Gives a fuzzer the files of the folders that are its arguments, each once: what was found stays found, with any
// compiler and without a fuzzer's library.

#include "Fuzz.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
            files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    for (const auto& path : files) {
        std::fprintf(stderr, "%s\n", path.c_str());
        std::ifstream file(path, std::ios::binary);
        const std::string content(std::istreambuf_iterator<char>(file), {});
        if (!file)
            return 1;
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
    }
    return files.empty() ? 1 : 0; // a folder that has gone must not look like success
}
