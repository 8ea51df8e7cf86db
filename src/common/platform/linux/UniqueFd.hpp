#pragma once
// The one owner of a file descriptor: closed when it goes out of scope.
#include <unistd.h>

namespace velloran::linuxfs {

class UniqueFd {
public:
    explicit UniqueFd(int fd = -1) : fd_(fd) {}
    ~UniqueFd() { Reset(); }
    UniqueFd(UniqueFd&& o) noexcept : fd_(o.fd_) { o.fd_ = -1; }
    UniqueFd& operator=(UniqueFd&& o) noexcept {
        if (this != &o) {
            Reset();
            fd_ = o.fd_;
            o.fd_ = -1;
        }
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    // Gives the descriptor up without closing it.
    int release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }

private:
    void Reset() {
        if (fd_ >= 0) ::close(fd_);
        fd_ = -1;
    }
    int fd_;
};

}  // namespace velloran::linuxfs
