#pragma once
// Creating a uniquely named folder, the system's way (mkdtemp on POSIX).
#include <stdlib.h>

#include <filesystem>
#include <string>

namespace velloran::test {

inline std::filesystem::path CreateUniqueFolder(const std::filesystem::path& parent,
                                                const std::string& stem) {
    std::string t = (parent / (stem + "-XXXXXX")).string();
    return mkdtemp(t.data()) ? std::filesystem::path(t) : std::filesystem::path();
}

}  // namespace velloran::test
