#pragma once
// The user's own folders, as the operating system names them: the home folder and
// the XDG base directories with their defaults; and the folder the program's own
// data may ship in beside it. One implementation per platform.
#include <filesystem>
#include <string>

namespace velloran {

// An environment variable's value; empty when it is not set.
std::string EnvironmentValue(const char* name);

std::filesystem::path HomeDirectory();
std::filesystem::path XdgConfigHome();
std::filesystem::path XdgStateHome();
std::filesystem::path XdgDataHome();
std::filesystem::path XdgCacheHome();

// Where the help pages and the junk filters are looked for first: on Windows the
// running program's folder, as the installer and the portable zip lay them out;
// empty on Linux, where they live under the installation prefix.
std::filesystem::path ShippedDataFolder();

}  // namespace velloran
