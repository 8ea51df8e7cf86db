#pragma once
// Helpers shared by the registry tests: fixture files, scratch folders.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "support/TempDir.hpp"

namespace velloran::regtest {

inline std::filesystem::path DataFile(const std::string& name) {
    return std::filesystem::path(VELLORAN_TEST_DATADIR) / "registry" / name;
}

inline std::string ReadBytes(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

inline void WriteBytes(const std::filesystem::path& p, const std::string& s) {
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    out << s;
}

// A fresh folder, removed with everything in it at the end of the test.
class ScratchDir : public test::ScratchDir {
public:
    ScratchDir() : test::ScratchDir("velloran-reg") {}
};

// The lines of `text` from the one starting with `first` up to (not including) the
// next blank line.
inline std::string Section(const std::string& text, const std::string& first) {
    size_t b = text.find("\n" + first);
    if (b == std::string::npos) return {};
    ++b;
    size_t e = text.find("\n\n", b);
    return text.substr(b, e == std::string::npos ? std::string::npos : e + 1 - b);
}

}  // namespace velloran::regtest
