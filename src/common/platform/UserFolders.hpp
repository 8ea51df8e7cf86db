#pragma once
// The user's own folders, as the operating system names them: the home folder and
// the XDG base directories with their defaults. One implementation per platform.
#include <filesystem>

namespace velloran {

std::filesystem::path HomeDirectory();
std::filesystem::path XdgConfigHome();
std::filesystem::path XdgStateHome();
std::filesystem::path XdgDataHome();
std::filesystem::path XdgCacheHome();

}  // namespace velloran
