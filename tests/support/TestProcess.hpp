#pragma once
// Shared by tests that work on real files and processes.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "TestSystem.hpp"

namespace velloran::test {

// A new, empty folder under the temporary folder.
inline std::filesystem::path MakeTempDir(const char* stem) {
    static const char kChars[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device random;
    for (;;) {
        std::string name = std::string(stem) + "-";
        for (int i = 0; i < 8; ++i) name += kChars[random() % (sizeof kChars - 1)];
        const std::filesystem::path dir = std::filesystem::temp_directory_path() / name;
        // False when it was there already: another name is tried.
        if (std::filesystem::create_directory(dir)) return dir;
    }
}

// The whole content of a file; empty when it cannot be read.
inline std::string ReadAll(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace velloran::test
