#pragma once
// The user's own folders, as the operating system names them: the home folder and
// the XDG base directories with their defaults. One implementation per platform.
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

}  // namespace velloran
