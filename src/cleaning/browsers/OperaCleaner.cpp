#include "cleaning/browsers/OperaCleaner.hpp"

#include <filesystem>

namespace velloran {

namespace fs = std::filesystem;

std::string OperaCleaner::ProfileFolder() const {
    const fs::path home = platform_.HomeDirectory();
    for (const fs::path& p : {home / ".opera", home / ".config" / "opera"})
        if (platform_.DirectoryExists(p.string())) return p.string();
    if (auto appData = platform_.SpecialFolderPath(CSIDL_APPDATA)) {
        fs::path p = fs::path(*appData) / "Opera";
        if (platform_.DirectoryExists(p.string())) return p.string();
    }
    return {};
}

}  // namespace velloran
