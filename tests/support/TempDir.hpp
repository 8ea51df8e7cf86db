#pragma once
// The one way tests make a private folder: new and empty under the temporary
// folder, removed by ScratchDir when it goes.
#include <cstdlib>
#include <filesystem>
#include <string>

// support/<system>/: the system's way of making the folder.
#include "TempDirCreate.hpp"

namespace velloran::test {

// A new, empty folder under the temporary folder, named `stem` and a random tail.
inline std::filesystem::path MakeTempDir(const char* stem) {
    const std::filesystem::path dir =
        CreateUniqueFolder(std::filesystem::temp_directory_path(), stem);
    if (dir.empty()) std::abort();
    return dir;
}

// A temporary folder for the life of one test.
class ScratchDir {
public:
    explicit ScratchDir(const char* stem = "velloran-test") : path_(MakeTempDir(stem)) {}
    ~ScratchDir() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    const std::filesystem::path& Path() const { return path_; }
    std::filesystem::path operator/(const std::string& leaf) const { return path_ / leaf; }

private:
    std::filesystem::path path_;
};

}  // namespace velloran::test
