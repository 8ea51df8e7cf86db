#include "common/platform/linux/Trash.hpp"

#include "common/Text.hpp"
#include "common/platform/Paths.hpp"

#include "common/platform/linux/FsUtil.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <set>
#include <sstream>

#include "common/Target.hpp"
#include "common/VbError.hpp"
#include "common/platform/linux/DirWalker.hpp"

namespace velloran::linuxfs {

namespace {

std::string RealDir(const std::string& dir) {
    char* r = realpath(dir.c_str(), nullptr);
    if (!r) return {};
    std::string s = r;
    free(r);
    return s;
}

// The highest folder above `dir` (a real path) that is still on device `dev`.
std::string MountTop(const std::string& dir, dev_t dev) {
    std::string cur = dir;
    while (cur != "/") {
        std::string parent = SplitPath(cur).first;
        struct stat st {};
        if (stat(parent.c_str(), &st) != 0 || st.st_dev != dev) return cur;
        cur = parent;
    }
    return cur;
}

// A folder of ours inside a trash: created when missing, never a link, owned by
// the user.
bool EnsureOwnDir(const std::string& path, uid_t uid, bool create) {
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0) {
        if (!create || errno != ENOENT) return false;
        if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return false;
        if (lstat(path.c_str(), &st) != 0) return false;
    }
    return S_ISDIR(st.st_mode) && st.st_uid == uid;
}

bool EnsureTrashLayout(const std::string& trash, uid_t uid, bool create) {
    return EnsureOwnDir(trash, uid, create) &&
           EnsureOwnDir(JoinPath(trash, "files"), uid, create) &&
           EnsureOwnDir(JoinPath(trash, "info"), uid, create);
}

bool IsPseudoFsType(const std::string& t) {
    static const std::set<std::string> kPseudo = {
        "proc",    "sysfs",      "cgroup",   "cgroup2",     "devpts",   "debugfs",
        "tracefs", "securityfs", "pstore",   "bpf",         "configfs", "fusectl",
        "mqueue",  "hugetlbfs",  "autofs",   "binfmt_misc", "efivarfs", "selinuxfs",
        "nsfs",    "rpc_pipefs", "devtmpfs", "squashfs",    "ramfs"};
    return kPseudo.count(t) != 0;
}

std::vector<std::string> UserVolumes() {
    std::vector<std::string> out;
    std::ifstream in("/proc/self/mountinfo");
    std::string line;
    std::vector<std::string> points = MountPoints();
    std::size_t index = 0;
    while (std::getline(in, line)) {
        std::size_t dash = line.find(" - ");
        std::string type;
        if (dash != std::string::npos) {
            std::istringstream rest(line.substr(dash + 3));
            rest >> type;
        }
        if (index < points.size() && !IsPseudoFsType(type)) out.push_back(points[index]);
        ++index;
    }
    return out;
}

std::string LocalTimeStamp() {
    std::time_t now = std::time(nullptr);
    std::tm tm{};
    localtime_r(&now, &tm);
    char buf[32];
    std::strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%S", &tm);
    return buf;
}

// Candidate names for a trashed item: the name itself, then "stem.N.ext".
std::string Candidate(const std::string& name, int attempt) {
    if (attempt == 0) return name;
    std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0) return name + "." + std::to_string(attempt + 1);
    return name.substr(0, dot) + "." + std::to_string(attempt + 1) + name.substr(dot);
}

// Disk usage as du -B1 counts it; links are not followed.
std::uint64_t DiskUsage(int dirfd, const char* name, dev_t dev) {
    struct stat st {};
    if (fstatat(dirfd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) return 0;
    std::uint64_t total = static_cast<std::uint64_t>(st.st_blocks) * 512;
    if (!S_ISDIR(st.st_mode) || st.st_dev != dev) return total;
    int fd = openat(dirfd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return total;
    if (IsMountRoot(dirfd, fd)) {
        close(fd);
        return total;
    }
    DIR* d = fdopendir(fd);
    if (!d) {
        close(fd);
        return total;
    }
    while (dirent* e = readdir(d)) {
        if (!std::strcmp(e->d_name, ".") || !std::strcmp(e->d_name, "..")) continue;
        total += DiskUsage(fd, e->d_name, dev);
    }
    closedir(d);
    return total;
}

constexpr const char* kMountLeft = "another file system is mounted here; left as it is";

// Removes an entry and everything below it without following links and without
// entering another mount. Appends what it could not remove, with why, to `failed`.
bool RemoveTree(int dirfd, const std::string& name, const std::string& shown, dev_t dev,
                std::vector<std::string>& failed) {
    struct stat st {};
    if (fstatat(dirfd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) return errno == ENOENT;
    auto fail = [&](const std::string& why) {
        failed.push_back(shown + ": " + why);
        return false;
    };
    if (!S_ISDIR(st.st_mode)) {
        if (unlinkat(dirfd, name.c_str(), 0) == 0 || errno == ENOENT) return true;
        return fail(std::strerror(errno));
    }
    if (st.st_dev != dev) return fail(kMountLeft);
    int fd = openat(dirfd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0 && errno == EACCES && fchmodat(dirfd, name.c_str(), 0700, 0) == 0)
        fd = openat(dirfd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return fail(std::strerror(errno));
    struct stat self {};
    if (fstat(fd, &self) != 0 || self.st_ino != st.st_ino || self.st_dev != st.st_dev) {
        close(fd);
        return fail("changed while it was being removed; left as it is");
    }
    if (IsMountRoot(dirfd, fd)) {
        close(fd);
        return fail(kMountLeft);
    }
    if ((self.st_mode & 0700) != 0700) fchmod(fd, self.st_mode | 0700);
    bool ok = true;
    if (DIR* d = fdopendir(dup(fd))) {
        std::vector<std::string> names;
        while (dirent* e = readdir(d))
            if (std::strcmp(e->d_name, ".") && std::strcmp(e->d_name, ".."))
                names.emplace_back(e->d_name);
        closedir(d);
        for (const auto& n : names) ok = RemoveTree(fd, n, shown + "/" + n, dev, failed) && ok;
    } else {
        ok = fail(std::strerror(errno));
    }
    close(fd);
    if (ok && unlinkat(dirfd, name.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT)
        ok = fail(std::strerror(errno));
    return ok;
}

const std::string kInfoSuffix = ".trashinfo";

std::vector<std::string> ListNames(int dirfd) {
    std::vector<std::string> out;
    const int fd = dup(dirfd);
    if (fd < 0) return out;
    if (DIR* d = fdopendir(fd)) {
        while (dirent* e = readdir(d))
            if (std::strcmp(e->d_name, ".") && std::strcmp(e->d_name, ".."))
                out.emplace_back(e->d_name);
        closedir(d);
    } else {
        close(fd);
    }
    return out;
}

// A folder below `dirfd`, never through a link, and only when `uid` owns it.
UniqueFd OpenOwnFolder(int dirfd, const std::string& name, uid_t uid) {
    UniqueFd fd(openat(dirfd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat st {};
    if (!fd || fstat(fd.get(), &st) != 0 || st.st_uid != uid) return UniqueFd();
    return fd;
}

std::string ReadTextAt(int dirfd, const std::string& name) {
    UniqueFd fd(openat(dirfd, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    std::string text;
    char buf[8192];
    ssize_t n;
    while (fd && (n = read(fd.get(), buf, sizeof buf)) > 0)
        text.append(buf, static_cast<size_t>(n));
    return text;
}

// Replaces `name` inside `dirfd` through a temporary file in the same folder.
void ReplaceTextAt(int dirfd, const std::string& name, const std::string& text) {
    const std::string tmp = name + ".tmp" + std::to_string(getpid());
    UniqueFd fd(
        openat(dirfd, tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd) return;
    if (write(fd.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()))
        renameat(dirfd, tmp.c_str(), dirfd, name.c_str());
    else
        unlinkat(dirfd, tmp.c_str(), 0);
}

// directorysizes keeps only the lines of items that are still there.
void KeepDirectorySizes(int trashfd, const std::set<std::string>& kept) {
    if (kept.empty()) {
        unlinkat(trashfd, "directorysizes", 0);
        return;
    }
    std::istringstream in(ReadTextAt(trashfd, "directorysizes"));
    std::string line, out;
    while (std::getline(in, line)) {
        std::size_t sp = line.rfind(' ');
        if (sp != std::string::npos && kept.count(Trash::PercentDecode(line.substr(sp + 1))))
            out += line + "\n";
    }
    ReplaceTextAt(trashfd, "directorysizes", out);
}

}  // namespace

// Opened from the volume's top folder one component at a time without following a
// link, so that whoever can write in a shared sticky .Trash cannot swap our folder
// for a link between a check and its use; then checked on the open folder.
Trash::OpenedTrash Trash::Open(const TrashDir& d) const {
    OpenedTrash t;
    UniqueFd cur;
    if (d.home) {
        cur = UniqueFd(open(d.path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    } else {
        cur = UniqueFd(open(d.topdir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        std::string rest = d.path.substr(std::min(d.path.size(), d.topdir.size()));
        for (std::size_t i = 0; cur && i < rest.size();) {
            std::size_t j = rest.find('/', i);
            if (j == std::string::npos) j = rest.size();
            if (j > i) {
                const std::string part = rest.substr(i, j - i);
                cur = UniqueFd(openat(cur.get(), part.c_str(),
                                      O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
                struct stat st {};
                // The shared .Trash is only trusted with its sticky bit.
                if (cur && part == ".Trash" &&
                    (fstat(cur.get(), &st) != 0 || !(st.st_mode & S_ISVTX)))
                    cur = UniqueFd();
            }
            i = j + 1;
        }
    }
    struct stat st {};
    if (!cur || fstat(cur.get(), &st) != 0 || st.st_uid != uid_) return t;
    t.files = OpenOwnFolder(cur.get(), "files", uid_);
    t.info = OpenOwnFolder(cur.get(), "info", uid_);
    if (t.files && t.info) t.root = std::move(cur);
    return t;
}

Trash::Trash() : Trash((XdgDataHome() / "Trash").string(), getuid(), UserVolumes()) {}

Trash::Trash(std::string homeTrash, uid_t uid, std::vector<std::string> volumes)
    : home_(std::move(homeTrash)), uid_(uid), volumes_(std::move(volumes)) {}

std::string Trash::PercentEncode(std::string_view bytes) {
    static const char* kHex = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : bytes) {
        bool keep = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                    std::strchr("-_.!~*()/", c) != nullptr;
        if (keep && c != 0) {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        }
    }
    return out;
}

std::string Trash::PercentDecode(std::string_view text) {
    auto hex = [](char c) -> int {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        return -1;
    };
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && hex(text[i + 1]) >= 0 &&
            hex(text[i + 2]) >= 0) {
            out += static_cast<char>(hex(text[i + 1]) * 16 + hex(text[i + 2]));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

std::optional<TrashInfo> Trash::ParseInfo(const std::string& text) {
    std::istringstream in(text);
    std::string line;
    bool header = false, inGroup = false, havePath = false, haveDate = false;
    TrashInfo info;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        if (line[0] == '[') {
            inGroup = line == "[Trash Info]";
            header = header || inGroup;
            continue;
        }
        if (!inGroup) continue;
        // The first occurrence of a key wins.
        if (!havePath && line.rfind("Path=", 0) == 0) {
            info.path = PercentDecode(line.substr(5));
            havePath = true;
        } else if (!haveDate && line.rfind("DeletionDate=", 0) == 0) {
            info.deletionDate = line.substr(13);
            haveDate = true;
        }
    }
    if (!header || !havePath) return std::nullopt;
    return info;
}

std::optional<TrashInfo> Trash::ReadInfo(const TrashDir& dir, const std::string& name) {
    std::ifstream in(JoinPath(JoinPath(dir.path, "info"), name + kInfoSuffix), std::ios::binary);
    if (!in) return std::nullopt;
    std::stringstream ss;
    ss << in.rdbuf();
    return ParseInfo(ss.str());
}

std::optional<TrashDir> Trash::VolumeTrash(const std::string& topdir, bool create) const {
    const std::string uid = std::to_string(uid_);
    std::string shared = JoinPath(topdir, ".Trash");
    struct stat st {};
    // $topdir/.Trash is used only when it is a real folder with the sticky bit.
    if (lstat(shared.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && (st.st_mode & S_ISVTX)) {
        std::string mine = JoinPath(shared, uid);
        if (EnsureTrashLayout(mine, uid_, create)) return TrashDir{mine, topdir, false};
    }
    std::string own = JoinPath(topdir, ".Trash-" + uid);
    if (EnsureTrashLayout(own, uid_, create)) return TrashDir{own, topdir, false};
    return std::nullopt;
}

TrashDir Trash::TrashFor(const std::string& path, const std::string& realDir, dev_t device) const {
    // The home trash when on its file system, else the volume's.
    std::string homeParent = home_;
    struct stat hs {};
    while (stat(homeParent.c_str(), &hs) != 0 && homeParent != "/")
        homeParent = SplitPath(homeParent).first;
    if (hs.st_dev == device) {
        std::error_code ec;
        std::filesystem::create_directories(SplitPath(home_).first, ec);
        if (!EnsureTrashLayout(home_, uid_, true))
            throw VbError::PathFileAccess("cannot use the trash " + home_);
        return TrashDir{home_, "", true};
    }
    auto volume = VolumeTrash(MountTop(realDir, device), true);
    if (!volume) throw VbError::PathFileAccess("the volume of " + path + " has no usable trash");
    return *volume;
}

namespace {

// The path a .trashinfo records: absolute in the home trash, relative to the
// volume's top in a volume's.
std::string RecordedPath(const TrashDir& target, const std::string& absolute) {
    if (target.home) return absolute;
    std::string recorded = absolute.substr(target.topdir.size());
    while (!recorded.empty() && recorded[0] == '/') recorded.erase(0, 1);
    return recorded;
}

}  // namespace

UniqueFd Trash::ClaimName(const OpenedTrash& opened, const TrashDir& target, std::string name,
                          const std::string& info, std::string& claimed) const {
    for (int attempt = 0; attempt < 10000; ++attempt) {
        std::string candidate = Candidate(name, attempt);
        std::string infoName = candidate + kInfoSuffix;
        int fd = openat(opened.info.get(), infoName.c_str(),
                        O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (fd < 0) {
            if (errno == EEXIST) continue;
            if (errno == ENAMETOOLONG) {
                // Long names: keep a short unique prefix of the name instead.
                name = name.substr(0, name.size() / 2);
                attempt = -1;
                continue;
            }
            throw ErrnoError(errno, JoinPath(JoinPath(target.path, "info"), infoName));
        }
        UniqueFd infoFd(fd);
        struct stat existing {};
        if (fstatat(opened.files.get(), candidate.c_str(), &existing, AT_SYMLINK_NOFOLLOW) == 0) {
            unlinkat(opened.info.get(), infoName.c_str(), 0);  // a stray entry without info
            continue;
        }
        if (write(fd, info.data(), info.size()) != static_cast<ssize_t>(info.size()) ||
            fsync(fd) != 0) {
            int err = errno;
            unlinkat(opened.info.get(), infoName.c_str(), 0);
            throw ErrnoError(err, JoinPath(JoinPath(target.path, "info"), infoName));
        }
        claimed = candidate;
        return infoFd;
    }
    return UniqueFd();
}

void Trash::RecordFolderSize(const OpenedTrash& opened, const UniqueFd& info,
                             const std::string& name, dev_t device) const {
    // directorysizes: size, the info file's mtime, the encoded name.
    struct stat is {};
    fstat(info.get(), &is);
    std::uint64_t size = DiskUsage(opened.files.get(), name.c_str(), device);
    std::string old = ReadTextAt(opened.root.get(), "directorysizes");
    if (!old.empty() && old.back() != '\n') old += '\n';
    old += std::to_string(size) + " " + std::to_string(static_cast<long long>(is.st_mtime)) + " " +
           PercentEncode(name) + "\n";
    ReplaceTextAt(opened.root.get(), "directorysizes", old);
}

TrashedItem Trash::MoveToTrash(const std::string& path) {
    auto [dir, name] = SplitPath(path);
    if (name.empty() || name == "." || name == ".." || name == "/")
        throw VbError::InvalidCall(path);
    UniqueFd dirfd(OpenFolderForDeletion(dir));
    if (!dirfd) throw ErrnoError(errno, path);
    struct stat st {};
    if (fstatat(dirfd.get(), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0)
        throw ErrnoError(errno, path);
    const std::string realDir = RealDir(dir);
    if (realDir.empty()) throw ErrnoError(errno, path);
    const std::string absolute = JoinPath(realDir, name);

    const TrashDir target = TrashFor(path, realDir, st.st_dev);
    OpenedTrash opened = Open(target);
    if (!opened) throw VbError::PathFileAccess(target.path + " is not this user's trash");
    const std::string info = "[Trash Info]\nPath=" + PercentEncode(RecordedPath(target, absolute)) +
                             "\nDeletionDate=" + LocalTimeStamp() + "\n";
    std::string candidate;
    UniqueFd infoFd = ClaimName(opened, target, name, info, candidate);
    if (!infoFd) throw VbError::PathFileAccess("no free name in the trash for " + path);
    if (renameat(dirfd.get(), name.c_str(), opened.files.get(), candidate.c_str()) != 0) {
        int err = errno;
        unlinkat(opened.info.get(), (candidate + kInfoSuffix).c_str(), 0);
        throw ErrnoError(err, path);
    }
    fsync(opened.files.get());
    if (S_ISDIR(st.st_mode)) RecordFolderSize(opened, infoFd, candidate, st.st_dev);
    return TrashedItem{target, candidate, absolute};
}

void Trash::Restore(const TrashDir& dir, const std::string& name) {
    auto info = ReadInfo(dir, name);
    if (!info) throw VbError::FileNotFound(name + kInfoSuffix);
    std::string original = dir.home ? info->path : JoinPath(dir.topdir, info->path);
    auto [parent, base] = SplitPath(original);
    UniqueFd to(OpenDirectoryPath(parent));
    if (!to) throw ErrnoError(errno, parent);
    OpenedTrash opened = Open(dir);
    if (!opened) throw VbError::PathFileAccess(dir.path + " is not this user's trash");
    const UniqueFd& from = opened.files;
    struct stat st {};
    if (fstatat(to.get(), base.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0)
        throw VbError::FileExists(original);
    if (renameat(from.get(), name.c_str(), to.get(), base.c_str()) != 0)
        throw ErrnoError(errno, original);
    unlinkat(opened.info.get(), (name + kInfoSuffix).c_str(), 0);
}

std::vector<TrashDir> Trash::TrashDirs() const {
    std::vector<TrashDir> out;
    // A trash folder of this user's name that someone else owns is listed too: its
    // emptying cannot open it and says so, instead of passing over it in silence.
    const auto listed = [this](const std::string& path) {
        struct stat st {};
        return EnsureTrashLayout(path, uid_, false) || lstat(path.c_str(), &st) == 0;
    };
    if (listed(home_)) out.push_back(TrashDir{home_, "", true});
    std::set<std::string> seen{home_};
    for (const std::string& v : volumes_) {
        // Both forms may exist on one volume; list both.
        const std::string uid = std::to_string(uid_);
        std::string shared = JoinPath(v, ".Trash");
        struct stat st {};
        if (lstat(shared.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && (st.st_mode & S_ISVTX)) {
            std::string mine = JoinPath(shared, uid);
            if (!seen.count(mine) && listed(mine)) {
                out.push_back(TrashDir{mine, v, false});
                seen.insert(mine);
            }
        }
        std::string own = JoinPath(v, ".Trash-" + uid);
        if (!seen.count(own) && listed(own)) {
            out.push_back(TrashDir{own, v, false});
            seen.insert(own);
        }
    }
    return out;
}

std::uint64_t Trash::CountItems() const {
    std::uint64_t n = 0;
    for (const TrashDir& d : TrashDirs())
        if (OpenedTrash t = Open(d)) n += ListNames(t.files.get()).size();
    return n;
}

std::uint64_t Trash::Size() const {
    std::uint64_t total = 0;
    for (const TrashDir& d : TrashDirs()) {
        OpenedTrash t = Open(d);
        struct stat st {};
        if (!t || fstat(t.files.get(), &st) != 0) continue;
        for (const std::string& n : ListNames(t.files.get()))
            total += DiskUsage(t.files.get(), n.c_str(), st.st_dev);
    }
    return total;
}

Trash::EmptyResult Trash::Empty() {
    EmptyResult result;
    for (const TrashDir& d : TrashDirs()) {
        const std::string filesPath = JoinPath(d.path, "files");
        OpenedTrash t = Open(d);
        struct stat st {};
        if (!t || fstat(t.files.get(), &st) != 0) {
            result.failed.push_back(d.path + ": not this user's trash folder; left as it is");
            continue;
        }
        std::set<std::string> kept;
        for (const std::string& n : ListNames(t.files.get())) {
            if (RemoveTree(t.files.get(), n, JoinPath(filesPath, n), st.st_dev, result.failed)) {
                ++result.removed;
                unlinkat(t.info.get(), (n + kInfoSuffix).c_str(), 0);
            } else {
                kept.insert(n);
            }
        }
        // Info files whose item is gone (orphans included).
        for (const std::string& n : ListNames(t.info.get())) {
            if (!n.ends_with(kInfoSuffix) || n.size() == kInfoSuffix.size()) continue;
            if (!kept.count(n.substr(0, n.size() - kInfoSuffix.size())))
                unlinkat(t.info.get(), n.c_str(), 0);
        }
        KeepDirectorySizes(t.root.get(), kept);
    }
    return result;
}

}  // namespace velloran::linuxfs
