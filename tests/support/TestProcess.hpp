#pragma once
// Shared by tests that work on real files and processes.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "TestSystem.hpp"
#include "support/TempDir.hpp"

namespace velloran::test {

// The whole content of a file; empty when it cannot be read.
inline std::string ReadAll(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// "ok" when `text` is one JSON value with nothing after it, else where it stops.
std::string ParseJson(const std::string& text);

}  // namespace velloran::test
