#include "cleaning/browsers/NetscapeCleaner.hpp"

#include <filesystem>

namespace velloran {

namespace fs = std::filesystem;

namespace {
// A legacy profile folder is named with eight characters and ".slt".
bool HasLegacySaltedProfile(const fs::path& mozilla) {
    std::error_code ec;
    for (fs::directory_iterator app(mozilla, ec), end; !ec && app != end; app.increment(ec)) {
        if (!app->is_directory(ec)) continue;
        for (fs::directory_iterator p(app->path(), ec); !ec && p != end; p.increment(ec)) {
            const std::string name = p->path().filename().string();
            if (name.size() == 12 && name.ends_with(".slt") && p->is_directory(ec)) return true;
        }
        ec.clear();
    }
    return false;
}
}  // namespace

bool NetscapeCleaner::IsInstalled() const {
    const fs::path home = platform_.HomeDirectory();
    const fs::path mozilla = home / ".mozilla";
    if (platform_.DirectoryExists((mozilla / "firefox").string()) ||
        platform_.DirectoryExists((mozilla / "seamonkey").string()))
        return true;
    if (platform_.DirectoryExists(mozilla.string()) && HasLegacySaltedProfile(mozilla)) return true;
    if (auto appData = platform_.SpecialFolderPath(CSIDL_APPDATA))
        return platform_.DirectoryExists((fs::path(*appData) / "Mozilla" / "Profiles").string());
    return false;
}

}  // namespace velloran
