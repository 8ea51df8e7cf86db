#pragma once
// The version the build was made with, as --version prints it.
#include <string>

namespace velloran {

// "<program> <major>.<minor>.<patch>"
inline std::string VersionLine(const std::string& program) {
    return program + " " + std::to_string(VELLORAN_VERSION_MAJOR) + "." +
           std::to_string(VELLORAN_VERSION_MINOR) + "." + std::to_string(VELLORAN_VERSION_PATCH);
}

}  // namespace velloran
