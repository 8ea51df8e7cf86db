#include "common/platform/linux/DirWalker.hpp"

#include "common/platform/linux/FsUtil.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fstream>

#include "common/VbError.hpp"

namespace velloran::linuxfs {

namespace {

// Magic numbers that <linux/magic.h> may not carry on older headers.
constexpr long kCgroup2Magic = 0x63677270;
constexpr long kBpfMagic = static_cast<long>(0xcafe4a11);
constexpr long kTracefsMagic = 0x74726163;
constexpr long kConfigfsMagic = 0x62656570;
constexpr long kFusectlMagic = 0x65735543;
constexpr long kMqueueMagic = 0x19800202;
constexpr long kBinfmtMagic = 0x42494e4d;
constexpr long kRpcPipefsMagic = 0x67596969;
constexpr long kNfsdMagic = 0x6e667364;

struct LinuxDirent64 {
    ino64_t d_ino;
    off64_t d_off;
    unsigned short d_reclen;
    unsigned char d_type;
    char d_name[1];  // NUL-terminated, runs past the struct
};

constexpr std::size_t kDirBufferSize = 64 * 1024;

int OpenChildDir(int parent, const char* name) {
    return openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY);
}

VbError OpenError(int err, const std::string& path) {
    switch (err) {
        case ENOENT:
            return VbError::PathNotFound(path);
        case EACCES:
        case EPERM:
            return VbError::PermissionDenied(path);
        default:
            return VbError::PathFileAccess(path + ": " + std::strerror(err));
    }
}

}  // namespace

struct DirWalker::Fd {
    explicit Fd(int f) : fd(f) {}
    ~Fd() {
        if (fd >= 0) close(fd);
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int fd;
};

bool IsPseudoFileSystem(long magic) {
    switch (magic) {
        case PROC_SUPER_MAGIC:
        case SYSFS_MAGIC:
        case CGROUP_SUPER_MAGIC:
        case kCgroup2Magic:
        case DEVPTS_SUPER_MAGIC:
        case DEBUGFS_MAGIC:
        case kTracefsMagic:
        case SECURITYFS_MAGIC:
        case PSTOREFS_MAGIC:
        case kBpfMagic:
        case kConfigfsMagic:
        case kFusectlMagic:
        case kMqueueMagic:
        case HUGETLBFS_MAGIC:
        case AUTOFS_SUPER_MAGIC:
        case kBinfmtMagic:
        case EFIVARFS_MAGIC:
        case SELINUX_MAGIC:
        case SMACK_MAGIC:
        case NSFS_MAGIC:
        case kRpcPipefsMagic:
        case kNfsdMagic:
            return true;
        default:
            return false;
    }
}

int OpenDirectoryPath(const std::string& path) {
    int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOCTTY);
    if (fd >= 0 || errno != ENAMETOOLONG) return fd;
    // Too long for one call: walk it component by component.
    int cur = open(path[0] == '/' ? "/" : ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (cur < 0) return -1;
    std::size_t pos = 0;
    while (pos < path.size()) {
        std::size_t slash = path.find('/', pos);
        std::size_t end = slash == std::string::npos ? path.size() : slash;
        if (end > pos) {
            std::string comp = path.substr(pos, end - pos);
            int next = openat(cur, comp.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOCTTY);
            int saved = errno;
            close(cur);
            if (next < 0) {
                errno = saved;
                return -1;
            }
            cur = next;
        }
        pos = end + 1;
    }
    return cur;
}

std::vector<std::string> MountPoints() {
    std::vector<std::string> out;
    std::ifstream in("/proc/self/mountinfo");
    std::string line;
    while (std::getline(in, line)) {
        // id parent major:minor root mountpoint ...
        std::size_t p = 0;
        for (int field = 0; field < 4 && p != std::string::npos; ++field) {
            p = line.find(' ', p);
            if (p != std::string::npos) ++p;
        }
        if (p == std::string::npos) continue;
        std::size_t e = line.find(' ', p);
        out.push_back(UnescapeMountField(line.substr(p, e == std::string::npos ? e : e - p)));
    }
    return out;
}

DirWalker::DirWalker(unsigned threads) : threads_(threads) {
    if (threads_ == 0) threads_ = std::max(1u, std::thread::hardware_concurrency());
}

DirWalker::~DirWalker() {
    Cancel();
    Join();
}

void DirWalker::Start(const std::string& root, DirVisitor& visitor) {
    Join();
    visitor_ = &visitor;
    cancel_ = false;
    finished_ = false;
    stack_.clear();
    active_ = 0;

    rootFolder_ = root.empty() ? std::string("./") : root;
    if (rootFolder_.back() != '/') rootFolder_ += '/';
    int fd = OpenDirectoryPath(rootFolder_);
    if (fd < 0) throw OpenError(errno, root);
    auto holder = std::make_shared<Fd>(fd);
    struct statfs sfs {};
    struct stat st {};
    if (fstatfs(fd, &sfs) != 0 || fstat(fd, &st) != 0) throw OpenError(errno, root);
    if (IsPseudoFileSystem(static_cast<long>(sfs.f_type)))
        throw VbError::PathFileAccess(root + " is a system pseudo file system");
    rootDev_ = st.st_dev;
    // The files found are deleted later by their paths: only through this folder.
    RememberSearchedFolder(rootFolder_, fd);

    // Mount points below the root are skipped by name, before anything opens them
    // (opening an automount point would mount it). The device check after each
    // open stays the real guard.
    mountPoints_.clear();
    char* canon = realpath(rootFolder_.c_str(), nullptr);
    if (canon) {
        std::string base = canon;
        free(canon);
        if (base.back() != '/') base += '/';
        for (const std::string& mp : MountPoints())
            if (mp.size() > base.size() && mp.compare(0, base.size(), base) == 0)
                mountPoints_.insert(mp.substr(base.size()) + '/');
    }

    Item rootItem;
    rootItem.parent = holder;  // the root item carries its own descriptor
    rootItem.folder = rootFolder_;
    rootItem.nameLen = 0;
    stack_.push_back(std::move(rootItem));
    visitor.Start(threads_);
    running_ = threads_;
    workers_.reserve(threads_);
    for (unsigned i = 0; i < threads_; ++i) workers_.emplace_back(&DirWalker::Worker, this, i);
}

void DirWalker::Cancel() {
    cancel_.store(true, std::memory_order_relaxed);
    std::lock_guard lock(mutex_);
    cv_.notify_all();
}

void DirWalker::Join() {
    for (auto& t : workers_)
        if (t.joinable()) t.join();
    workers_.clear();
    stack_.clear();
}

bool DirWalker::IsMountPoint(const std::string& folder) const {
    if (mountPoints_.empty()) return false;
    return mountPoints_.count(folder.substr(rootFolder_.size())) != 0;
}

void DirWalker::Worker(unsigned index) {
    std::vector<char> buffer(kDirBufferSize);
    for (;;) {
        Item item;
        {
            std::unique_lock lock(mutex_);
            cv_.wait(lock, [&] { return !stack_.empty() || active_ == 0 || Cancelled(); });
            if (Cancelled() || stack_.empty()) break;
            item = std::move(stack_.back());
            stack_.pop_back();
            ++active_;
        }
        ProcessFolder(index, std::move(item), buffer);
        {
            std::lock_guard lock(mutex_);
            --active_;
            if (active_ == 0 && stack_.empty()) cv_.notify_all();
        }
    }
    bool last = false;
    {
        std::lock_guard lock(mutex_);
        cv_.notify_all();
        if (--running_ == 0) {
            stack_.clear();  // drops descriptors of folders left by a cancel
            last = true;
        }
    }
    if (last) {
        finished_.store(true, std::memory_order_release);
        visitor_->Finished();
    }
}

void DirWalker::ProcessFolder(unsigned worker, Item item, std::vector<char>& buffer) {
    std::shared_ptr<Fd> self;
    if (item.nameLen == 0) {
        self = std::move(item.parent);  // the root, opened by Start
    } else {
        std::string name = item.folder.substr(item.folder.size() - 1 - item.nameLen, item.nameLen);
        int fd = OpenChildDir(item.parent->fd, name.c_str());
        item.parent.reset();
        if (fd < 0) {
            // Vanished, or replaced by a link or a file since it was listed: skip.
            if (errno != ENOENT && errno != ENOTDIR && errno != ELOOP)
                visitor_->Unreadable(worker, item.folder, errno);
            return;
        }
        self = std::make_shared<Fd>(fd);
        struct stat st {};
        if (fstat(fd, &st) != 0 || st.st_dev != rootDev_) return;  // another file system
    }

    visitor_->BeginFolder(worker, item.folder);
    std::vector<Item> children;
    for (;;) {
        if (Cancelled()) break;
        long n = syscall(SYS_getdents64, self->fd, buffer.data(), buffer.size());
        if (n < 0) {
            if (errno == EINTR) continue;
            visitor_->Unreadable(worker, item.folder, errno);
            break;
        }
        if (n == 0) break;
        for (long off = 0; off < n;) {
            auto* d = reinterpret_cast<LinuxDirent64*>(buffer.data() + off);
            off += d->d_reclen;
            const char* nm = d->d_name;
            if (nm[0] == '.' && (nm[1] == '\0' || (nm[1] == '.' && nm[2] == '\0'))) continue;
            std::string_view name(nm);
            unsigned char type = d->d_type;
            int selection = -1;
            struct stat st {};
            bool haveStat = false;
            if (type == DT_UNKNOWN) {
                // File systems without types in their listings: ask once.
                if (fstatat(self->fd, nm, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
                haveStat = true;
                type = S_ISDIR(st.st_mode) ? DT_DIR : S_ISREG(st.st_mode) ? DT_REG : DT_LNK;
            }
            if (type == DT_DIR) {
                Item child;
                child.parent = self;
                child.folder.reserve(item.folder.size() + name.size() + 1);
                child.folder.append(item.folder).append(name).push_back('/');
                child.nameLen = name.size();
                if (IsMountPoint(child.folder)) continue;
                children.push_back(std::move(child));
            } else if (type == DT_REG) {
                selection = visitor_->Select(worker, item.folder, name);
                if (selection < 0) continue;
                if (!haveStat && fstatat(self->fd, nm, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
                if (!S_ISREG(st.st_mode)) continue;  // replaced since the listing
                visitor_->File(worker, item.folder, name, selection,
                               static_cast<std::uint64_t>(st.st_size));
            }
        }
        if (!children.empty()) {
            // Hand sub-folders out at once so idle threads get work in wide trees.
            std::lock_guard lock(mutex_);
            for (auto& c : children) stack_.push_back(std::move(c));
            cv_.notify_all();
            children.clear();
        }
    }
    visitor_->EndFolder(worker, item.folder);
}

}  // namespace velloran::linuxfs
