// Files the package manager installed: dpkg's lists of each package's files.
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <mutex>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "common/platform/linux/LinuxPlatform.hpp"

namespace velloran {

namespace {

std::int64_t ModifiedNs(const std::string& path) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0) return -1;
    return static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
}

std::string Collapsed(const std::string& path) {
    std::string out;
    for (char c : path)
        if (c != '/' || out.empty() || out.back() != '/') out += c;
    while (out.size() > 1 && out.back() == '/') out.pop_back();
    return out;
}

}  // namespace

// Read once and again whenever a package is installed or removed (the lists'
// folder changes then).
struct LinuxPlatform::PackageIndex {
    std::mutex mutex;
    std::int64_t readAt = -2;  // the lists' folder's time when they were read
    std::unordered_set<std::string> files;
    // Folders of the system's own layout that are links into /usr ("/lib" ->
    // "usr/lib"): dpkg lists a file by either name.
    std::vector<std::pair<std::string, std::string>> merged;  // "/usr/lib/", "/lib/"

    void Read(const std::string& lists) {
        files.clear();
        merged.clear();
        if (DIR* d = opendir(lists.c_str())) {
            while (dirent* e = readdir(d)) {
                const std::string name = e->d_name;
                if (!name.ends_with(".list")) continue;
                std::ifstream in(lists + "/" + name);
                for (std::string line; std::getline(in, line);)
                    if (!line.empty() && line[0] == '/') files.insert(Collapsed(line));
            }
            closedir(d);
        }
        if (DIR* d = opendir("/")) {
            while (dirent* e = readdir(d)) {
                const std::string name = e->d_name;
                char target[256];
                const ssize_t n = readlink(("/" + name).c_str(), target, sizeof target - 1);
                if (n <= 0) continue;
                const std::string t(target, static_cast<std::size_t>(n));
                if (t == "usr/" + name || t == "/usr/" + name)
                    merged.emplace_back("/usr/" + name + "/", "/" + name + "/");
            }
            closedir(d);
        }
    }

    bool Lists(const std::string& path) const {
        if (files.count(path)) return true;
        for (const auto& [real, alias] : merged)
            if (path.starts_with(real) && files.count(alias + path.substr(real.size())))
                return true;
        // Below /etc, the maintainer scripts of a package keep what they make beside
        // its files (catalog.old, *.dpkg-old): a folder a package installed there is
        // the system's.
        const auto slash = path.rfind('/');
        return path.starts_with("/etc/") && slash != std::string::npos &&
               files.count(path.substr(0, slash));
    }
};

LinuxPlatform::LinuxPlatform(Target target)
    : target_(std::move(target)), packages_(std::make_shared<PackageIndex>()) {}

bool LinuxPlatform::IsPackageFile(const std::string& path) {
    if (path.empty() || path[0] != '/') return false;
    PackageIndex& index = *packages_;
    std::lock_guard lock(index.mutex);
    const std::int64_t now = ModifiedNs(packageLists);
    if (now != index.readAt) {
        index.Read(packageLists);
        index.readAt = now;
    }
    return index.Lists(Collapsed(path));
}

}  // namespace velloran
