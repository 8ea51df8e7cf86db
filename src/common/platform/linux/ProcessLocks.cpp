// Whether another program holds a file lock or a lock link: how browsers mark a
// profile in use.
#include <fcntl.h>
#include <ifaddrs.h>
#include <netdb.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <string>

#include "common/platform/linux/LinuxPlatform.hpp"
#include "common/platform/linux/UniqueFd.hpp"

namespace velloran {

namespace {

std::string ThisHostName() {
    char name[HOST_NAME_MAX + 1] = {};
    if (gethostname(name, sizeof name - 1) != 0) return {};
    return name;
}

// The numeric form of every address of this machine's interfaces.
bool IsLocalAddress(const std::string& host) {
    if (host == "127.0.0.1" || host == "::1") return true;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return false;
    bool found = false;
    for (ifaddrs* a = list; a && !found; a = a->ifa_next) {
        if (!a->ifa_addr) continue;
        const int family = a->ifa_addr->sa_family;
        if (family != AF_INET && family != AF_INET6) continue;
        char text[NI_MAXHOST] = {};
        const socklen_t len = family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
        if (getnameinfo(a->ifa_addr, len, text, sizeof text, nullptr, 0, NI_NUMERICHOST) == 0)
            found = host == text;
    }
    freeifaddrs(list);
    return found;
}

}  // namespace

bool LinuxPlatform::FileLockHeld(const std::string& path) {
    linuxfs::UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!fd) return false;
    // F_GETLK asks whether a write lock could be taken, without taking one.
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (fcntl(fd.get(), F_GETLK, &lock) != 0) return false;
    return lock.l_type != F_UNLCK;
}

std::optional<std::string> LinuxPlatform::ReadLink(const std::string& path) {
    std::error_code ec;
    std::filesystem::path target = std::filesystem::read_symlink(path, ec);
    if (ec) return std::nullopt;
    return target.string();
}

bool LinuxPlatform::ProcessAliveOnThisHost(const std::string& host, long pid) {
    if (pid <= 0 || pid > INT_MAX) return false;
    if (host != ThisHostName() && !IsLocalAddress(host)) return false;
    // EPERM: the process exists but belongs to someone else.
    return kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM;
}

}  // namespace velloran
