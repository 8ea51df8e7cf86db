#pragma once
// Creating a uniquely named folder on Windows: a random tail, tried until the
// folder is new (CreateDirectory fails on a name that exists).
#include <filesystem>
#include <random>
#include <string>

namespace velloran::test {

inline std::filesystem::path CreateUniqueFolder(const std::filesystem::path& parent,
                                                const std::string& stem) {
    static const char kChars[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device random;
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string name = stem + "-";
        for (int i = 0; i < 8; ++i) name += kChars[random() % (sizeof kChars - 1)];
        const std::filesystem::path dir = parent / name;
        std::error_code ec;
        // False when it was there already: another name is tried.
        if (std::filesystem::create_directory(dir, ec)) return dir;
        if (ec) return {};
    }
    return {};
}

}  // namespace velloran::test
