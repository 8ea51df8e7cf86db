#include "common/platform/linux/DesktopTraces.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "common/VbError.hpp"
#include "common/platform/linux/FsUtil.hpp"

#ifdef VELLORAN_HAVE_XCB
#include <xcb/xcb.h>
#endif

namespace velloran::linuxfs {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kEmptyXbel =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<xbel version=\"1.0\"\n"
    "      xmlns:bookmark=\"http://www.freedesktop.org/standards/desktop-bookmarks\"\n"
    "      xmlns:mime=\"http://www.freedesktop.org/standards/shared-mime-info\"\n"
    ">\n"
    "</xbel>\n";

VbError IoError(const std::string& what, const fs::path& path, int err) {
    return ErrnoError(err, what + " " + path.string());
}

}  // namespace

bool ClearX11Clipboard() {
#ifdef VELLORAN_HAVE_XCB
    const char* display = std::getenv("DISPLAY");
    if (!display || !*display) return false;
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (!c || xcb_connection_has_error(c)) {
        if (c) xcb_disconnect(c);
        return false;
    }
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const char name[] = "CLIPBOARD";
    auto cookie = xcb_intern_atom(c, 0, sizeof name - 1, name);
    xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(c, cookie, nullptr);
    if (reply && screen) {
        // Take the selection, then give it up: the previous owner loses it and
        // nobody holds it afterwards.
        xcb_window_t w = xcb_generate_id(c);
        xcb_create_window(c, XCB_COPY_FROM_PARENT, w, screen->root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, screen->root_visual, 0, nullptr);
        xcb_set_selection_owner(c, w, reply->atom, XCB_CURRENT_TIME);
        xcb_set_selection_owner(c, XCB_NONE, reply->atom, XCB_CURRENT_TIME);
        xcb_destroy_window(c, w);
        free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));  // round trip
    }
    free(reply);
    xcb_disconnect(c);
    return true;
#else
    return false;
#endif
}

TraceCount CountRecentlyUsed(const fs::path& xbel) {
    TraceCount n;
    std::ifstream in(xbel, std::ios::binary);
    if (!in) return n;
    std::stringstream ss;
    ss << in.rdbuf();
    const std::string text = ss.str();
    for (std::size_t at = text.find("<bookmark "); at != std::string::npos;
         at = text.find("<bookmark ", at + 1))
        ++n.items;
    n.bytes = static_cast<std::int64_t>(text.size());
    return n;
}

bool ClearRecentlyUsed(const fs::path& xbel) {
    struct stat st {};
    if (::lstat(xbel.c_str(), &st) != 0) return true;  // nothing recorded
    if (!S_ISREG(st.st_mode)) return false;
    const fs::path tmp = xbel.string() + ".velloran-tmp";
    int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC,
                    st.st_mode & 07777);
    if (fd < 0) throw IoError("Cannot write", tmp, errno);
    const bool ok = ::write(fd, kEmptyXbel.data(), kEmptyXbel.size()) ==
                        static_cast<ssize_t>(kEmptyXbel.size()) &&
                    ::fsync(fd) == 0;
    const int err = errno;
    ::close(fd);
    if (!ok || ::rename(tmp.c_str(), xbel.c_str()) != 0) {
        const int e = ok ? errno : err;
        ::unlink(tmp.c_str());
        throw IoError("Cannot write", xbel, e);
    }
    return true;
}

TraceCount CountFolderFiles(const fs::path& dir) {
    TraceCount n;
    int dfd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (dfd < 0) return n;
    DIR* d = ::fdopendir(dfd);
    if (!d) {
        ::close(dfd);
        return n;
    }
    while (dirent* e = ::readdir(d)) {
        struct stat st {};
        if (::fstatat(dfd, e->d_name, &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(st.st_mode)) {
            ++n.items;
            n.bytes += st.st_size;
        }
    }
    ::closedir(d);
    return n;
}

void RemoveFolderFiles(const fs::path& dir) {
    int dfd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (dfd < 0) return;
    DIR* d = ::fdopendir(dfd);
    if (!d) {
        ::close(dfd);
        return;
    }
    int failed = 0;
    while (dirent* e = ::readdir(d)) {
        struct stat st {};
        if (::fstatat(dfd, e->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
        if ((S_ISREG(st.st_mode) || S_ISLNK(st.st_mode)) && ::unlinkat(dfd, e->d_name, 0) != 0)
            failed = errno;
    }
    ::closedir(d);
    if (failed) throw IoError("Cannot remove a file in", dir, failed);
}

}  // namespace velloran::linuxfs
