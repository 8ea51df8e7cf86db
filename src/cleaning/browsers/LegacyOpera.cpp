#include "cleaning/browsers/LegacyOpera.hpp"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "common/VbError.hpp"
#include "common/platform/Paths.hpp"

namespace velloran {

namespace fs = std::filesystem;

namespace {

// Only a folder with one of these is a profile, not just a folder named Opera.
constexpr const char* kProfileMarks[] = {"operaprefs.ini", "opera6.ini", "typed_history.xml",
                                         "cookies4.dat", "wand.dat"};
constexpr const char* kCacheFolders[] = {"cache", "cache4", "opcache"};

bool IsProfile(const fs::path& folder) {
    std::error_code ec;
    for (const char* mark : kProfileMarks)
        if (fs::is_regular_file(folder / mark, ec)) return true;
    return false;
}

std::int64_t CountOccurrences(const fs::path& file, const std::string& needle) {
    std::ifstream in(file, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::int64_t n = 0;
    for (std::size_t at = text.find(needle); at != std::string::npos;
         at = text.find(needle, at + 1))
        ++n;
    return n;
}

std::string Label(const std::string& profile) { return "Opera profile " + profile; }

// Opera 10.5 and later on Windows Vista and 7 keep a profile's disk cache apart from
// it: the same folders under %LOCALAPPDATA% as the profile's under %APPDATA%.
std::vector<fs::path> CacheParents(Platform& platform, const fs::path& profile) {
    std::vector<fs::path> parents{profile};
    const auto roaming = platform.SpecialFolderPath(CSIDL_APPDATA);
    const auto local = platform.SpecialFolderPath(CSIDL_LOCAL_APPDATA);
    if (!roaming || !local) return parents;
    const fs::path inside = profile.lexically_relative(PathFromUtf8(*roaming));
    if (!inside.empty() && *inside.begin() != ".." && *inside.begin() != ".")
        parents.push_back(PathFromUtf8(*local) / inside);
    return parents;
}

// Files and bytes below a folder.
RemovalCount FolderSize(const fs::path& folder) {
    RemovalCount n;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        if (!it->is_regular_file(ec) || it->is_symlink(ec)) continue;
        ++n.items;
        n.bytes += static_cast<std::int64_t>(it->file_size(ec));
    }
    return n;
}

}  // namespace

std::vector<std::string> LegacyOperaProfiles(Platform& platform) {
    std::vector<fs::path> candidates{PathFromUtf8(platform.HomeDirectory()) / ".opera"};
    if (auto appData = platform.SpecialFolderPath(CSIDL_APPDATA)) {
        const fs::path opera = PathFromUtf8(*appData) / "Opera";
        candidates.insert(candidates.end(), {opera / "Opera" / "profile", opera / "Opera", opera});
    }
    std::vector<std::string> profiles;
    for (const fs::path& c : candidates)
        if (platform.DirectoryExists(c.string()) && IsProfile(c)) profiles.push_back(c.string());
    return profiles;
}

void LegacyOperaCleaner::RemoveTrace(const std::string& profile, const std::string& file,
                                     const std::string& what) {
    const std::string path = (PathFromUtf8(profile) / file).string();
    if (!platform_.FileExists(path)) {
        report_(Label(profile) + ": no " + file + ", nothing to remove.");
        return;
    }
    if (platform_.RemoveFile(path))
        report_(Label(profile) + ": removed " + file + " (" + what + ").");
    else
        Fail("Failed: " + Label(profile) + ": " + file + " could not be removed.");
}

void LegacyOperaCleaner::CleanTyped(const std::string& profile) {
    const fs::path file = PathFromUtf8(profile) / "typed_history.xml";
    const std::int64_t n = CountOccurrences(file, "<typed_history_item");
    RemoveTrace(profile, "typed_history.xml", std::to_string(n) + " typed addresses and searches");
}

void LegacyOperaCleaner::CleanCache(const std::string& profile) {
    RemovalCount removed;
    bool failed = false;
    for (const fs::path& parent : CacheParents(platform_, PathFromUtf8(profile)))
        for (const char* name : kCacheFolders) {
            const fs::path folder = parent / name;
            if (const auto target = platform_.ReadLink(folder.string())) {
                // The user's own link stays, and what it leads to is not cleaned.
                failed = true;
                report_(Label(profile) + ": cache not cleaned: " + folder.string() +
                        " is a symbolic link to " + *target +
                        "; the cache lives behind it, and the link and what it leads to stay "
                        "as they are.");
                continue;
            }
            // A folder holding a profile's own files is never a cache.
            if (!platform_.DirectoryExists(folder.string()) || IsProfile(folder)) continue;
            const RemovalCount size = FolderSize(folder);
            try {
                platform_.DeletePath(folder.string());
                removed.items += size.items;
                removed.bytes += size.bytes;
            } catch (const VbError& e) {
                failed = true;
                Fail("Failed: " + Label(profile) + ": cache not removed from " + folder.string() +
                     ": " + e.what());
            }
        }
    if (removed.items > 0)
        report_(Label(profile) + ": removed " + std::to_string(removed.items) + " cache files (" +
                std::to_string(removed.bytes) + " bytes).");
    else if (!failed)
        report_(Label(profile) + ": no cache files to remove.");
}

void LegacyOperaCleaner::CleanCookies(const std::string& profile, bool keepListGiven) {
    // The binary file holds every site together; a kept site cannot be cut out safely.
    if (keepListGiven && platform_.FileExists((PathFromUtf8(profile) / "cookies4.dat").string())) {
        report_(Label(profile) +
                ": cookies4.dat left as it was: it holds the cookies of kept sites too.");
        return;
    }
    RemoveTrace(profile, "cookies4.dat", "every cookie of this profile");
}

void LegacyOperaCleaner::CleanFormData(const std::string& profile) {
    // wand.dat keeps form entries and saved passwords in one file.
    if (platform_.FileExists((PathFromUtf8(profile) / "wand.dat").string()))
        report_(Label(profile) +
                ": wand.dat left as it was: it holds saved passwords together with form entries.");
    else
        report_(Label(profile) + ": no form entries to remove.");
}

}  // namespace velloran
