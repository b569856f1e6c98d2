#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace fuzz {

/// A folder of this process's own, which goes with it.
class Folder {
public:
    Folder() : m_path(std::filesystem::temp_directory_path() / "vantorel-fuzz-XXXXXX") {
        if (!mkdtemp(m_path.data()))
            std::abort();
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::string& path() const { return m_path; }
    std::string path(std::string_view name) const { return m_path + '/' + std::string(name); }

    void add(std::string_view name) const { std::filesystem::create_directories(path(name)); }

    void write(std::string_view name, std::string_view content) const {
        std::ofstream file(path(name), std::ios::binary | std::ios::trunc);
        file << content;
        if (!file.flush())
            std::abort();
    }

private:
    std::string m_path;
};

} // namespace fuzz
