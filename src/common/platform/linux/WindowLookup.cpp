#include "common/platform/linux/WindowLookup.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "common/Text.hpp"
#include "common/platform/linux/FileOps.hpp"

#ifdef VELLORAN_HAVE_XCB
#include <xcb/xcb.h>
#endif

namespace velloran::linuxfs {

namespace fs = std::filesystem;

namespace {

// Every Gecko-family browser registers "MozillaWindowClass" on Windows; on X11 they
// share the instance name "Navigator" and differ in the class.
const std::array<WindowClassRule, 4> kRules{{
    {"IEFrame", {"iexplore.exe"}, {"iexplore.exe"}},
    {"MozillaWindowClass",
     {"navigator", "firefox", "firefox-esr", "librewolf", "waterfox", "seamonkey", "pale moon",
      "palemoon", "netscape", "mozilla"},
     {"firefox", "firefox-esr", "firefox-bin", "librewolf", "waterfox", "seamonkey", "palemoon",
      "netscape", "mozilla", "mozilla-bin", "firefox.exe", "seamonkey.exe", "netscp.exe",
      "netscp6.exe", "mozilla.exe", "waterfox.exe", "palemoon.exe", "librewolf.exe"}},
    {"OpWindow",
     {"opera", "opera-beta", "opera-developer"},
     {"opera", "opera-beta", "opera-developer", "opera.exe"}},
    // Chromium-based browsers share one class on Windows; on X11 the class names the
    // browser and its channel.
    {"Chrome_WidgetWin_1",
     {"google-chrome", "google-chrome-beta", "google-chrome-unstable", "chromium",
      "chromium-browser", "microsoft-edge", "microsoft-edge-beta", "microsoft-edge-dev",
      "brave-browser", "brave-browser-beta", "brave-browser-nightly", "vivaldi-stable",
      "vivaldi-snapshot"},
     {"chrome", "chromium", "chromium-browser", "msedge", "brave", "vivaldi-bin", "chrome.exe",
      "msedge.exe", "brave.exe", "vivaldi.exe"}},
}};

bool Listed(const std::vector<std::string_view>& names, std::string_view value) {
    const std::string v = AsciiLower(value);
    return std::any_of(names.begin(), names.end(), [&](std::string_view n) { return n == v; });
}

}  // namespace

const WindowClassRule* RuleForWindowClass(std::string_view windowClass) {
    for (const WindowClassRule& rule : kRules)
        if (rule.windowClass == windowClass) return &rule;
    return nullptr;
}

bool MatchesX11Class(const WindowClassRule& rule, std::string_view instance,
                     std::string_view klass) {
    // "Navigator" alone would also match other Gecko programs' browser windows,
    // which is what FindWindowA did with the shared class name.
    return Listed(rule.x11Names, instance) || Listed(rule.x11Names, klass);
}

bool MatchesProcess(const WindowClassRule& rule, std::string_view comm, std::string_view argv0) {
    // The kernel keeps 15 characters of a process name.
    constexpr std::size_t kCommLength = 15;
    const std::string name = AsciiLower(comm);
    for (std::string_view wanted : rule.processes) {
        if (name == wanted) return true;
        if (name.size() == kCommLength && wanted.substr(0, kCommLength) == name) return true;
    }
    // Wine's processes show C:\...\iexplore.exe as their first argument.
    std::string_view base = argv0;
    if (auto cut = base.find_last_of("/\\"); cut != std::string_view::npos)
        base = base.substr(cut + 1);
    return base.size() > 4 && AsciiLower(base.substr(base.size() - 4)) == ".exe" &&
           Listed(rule.processes, base);
}

std::optional<std::string> FindProcess(const WindowClassRule& rule, const std::string& procRoot) {
    std::error_code ec;
    const uid_t me = ::getuid();
    for (const fs::directory_entry& entry : fs::directory_iterator(procRoot, ec)) {
        const std::string pid = entry.path().filename().string();
        if (pid.empty() || !std::all_of(pid.begin(), pid.end(), ::isdigit)) continue;
        struct stat st {};
        if (::stat(entry.path().c_str(), &st) != 0 || st.st_uid != me) continue;
        std::string comm = ReadFileText((entry.path() / "comm").string()).value_or("");
        if (!comm.empty() && comm.back() == '\n') comm.pop_back();
        const std::string cmdline = ReadFileText((entry.path() / "cmdline").string()).value_or("");
        const std::string argv0 = cmdline.substr(0, cmdline.find('\0'));
        if (MatchesProcess(rule, comm, argv0)) return comm;
    }
    return std::nullopt;
}

#ifdef VELLORAN_HAVE_XCB
namespace {

struct XcbFree {
    void operator()(void* p) const { std::free(p); }
};
template <class T>
using XcbReply = std::unique_ptr<T, XcbFree>;

xcb_atom_t Atom(xcb_connection_t* c, const char* name) {
    XcbReply<xcb_intern_atom_reply_t> r(
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, std::strlen(name), name), nullptr));
    return r ? r->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

std::optional<std::string> Property(xcb_connection_t* c, xcb_window_t w, xcb_atom_t property,
                                    xcb_atom_t type) {
    XcbReply<xcb_get_property_reply_t> r(
        xcb_get_property_reply(c, xcb_get_property(c, 0, w, property, type, 0, 1024), nullptr));
    if (!r || r->type == XCB_ATOM_NONE) return std::nullopt;
    const char* data = static_cast<const char*>(xcb_get_property_value(r.get()));
    return std::string(data, static_cast<std::size_t>(xcb_get_property_value_length(r.get())));
}

std::vector<xcb_window_t> Children(xcb_connection_t* c, xcb_window_t w) {
    XcbReply<xcb_query_tree_reply_t> r(xcb_query_tree_reply(c, xcb_query_tree(c, w), nullptr));
    if (!r) return {};
    const xcb_window_t* kids = xcb_query_tree_children(r.get());
    return {kids, kids + xcb_query_tree_children_length(r.get())};
}

// Top-level client windows: the window manager's list when it keeps one, else
// the root's children and their children (frames of reparenting managers).
std::vector<xcb_window_t> ClientWindows(xcb_connection_t* c, xcb_window_t root) {
    if (auto list = Property(c, root, Atom(c, "_NET_CLIENT_LIST"), XCB_ATOM_WINDOW)) {
        std::vector<xcb_window_t> out(list->size() / sizeof(xcb_window_t));
        std::memcpy(out.data(), list->data(), out.size() * sizeof(xcb_window_t));
        if (!out.empty()) return out;
    }
    std::vector<xcb_window_t> out;
    for (xcb_window_t w : Children(c, root)) {
        out.push_back(w);
        for (xcb_window_t inner : Children(c, w)) out.push_back(inner);
    }
    return out;
}

bool WindowMatches(xcb_connection_t* c, xcb_window_t w, const WindowClassRule& rule) {
    const auto wmClass = Property(c, w, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING);
    if (!wmClass) return false;
    // Two NUL-terminated strings: instance, then class.
    const std::string instance = wmClass->substr(0, wmClass->find('\0'));
    std::string klass;
    if (instance.size() + 1 < wmClass->size()) klass = wmClass->substr(instance.size() + 1);
    if (auto end = klass.find('\0'); end != std::string::npos) klass.resize(end);
    return MatchesX11Class(rule, instance, klass);
}

std::string Title(xcb_connection_t* c, xcb_window_t w) {
    if (auto t = Property(c, w, Atom(c, "_NET_WM_NAME"), Atom(c, "UTF8_STRING"))) return *t;
    return Property(c, w, XCB_ATOM_WM_NAME, XCB_ATOM_STRING).value_or("");
}

bool Viewable(xcb_connection_t* c, xcb_window_t w) {
    XcbReply<xcb_get_window_attributes_reply_t> r(
        xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, w), nullptr));
    return r && r->map_state == XCB_MAP_STATE_VIEWABLE;
}

void AskToClose(xcb_connection_t* c, xcb_window_t root, xcb_window_t w) {
    xcb_client_message_event_t ev{};
    ev.response_type = XCB_CLIENT_MESSAGE;
    ev.format = 32;
    ev.window = w;
    ev.type = Atom(c, "_NET_CLOSE_WINDOW");
    xcb_send_event(c, 0, root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&ev));
    xcb_flush(c);
}

}  // namespace

std::optional<std::string> FindX11Window(const WindowClassRule& rule, bool close) {
    const char* display = std::getenv("DISPLAY");
    if (!display || !*display) return std::nullopt;
    std::unique_ptr<xcb_connection_t, void (*)(xcb_connection_t*)> c(xcb_connect(nullptr, nullptr),
                                                                     xcb_disconnect);
    if (!c || xcb_connection_has_error(c.get())) return std::nullopt;
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c.get())).data;
    if (!screen) return std::nullopt;
    // A program's visible window with a title first: Wine also gives each program
    // hidden helper windows (an input method's, 1x1) of the same class.
    std::vector<xcb_window_t> matches;
    for (xcb_window_t w : ClientWindows(c.get(), screen->root))
        if (WindowMatches(c.get(), w, rule)) matches.push_back(w);
    if (matches.empty()) return std::nullopt;
    xcb_window_t chosen = matches.front();
    for (xcb_window_t w : matches) {
        if (Viewable(c.get(), w) && !Title(c.get(), w).empty()) {
            chosen = w;
            break;
        }
    }
    if (close) AskToClose(c.get(), screen->root, chosen);
    return Title(c.get(), chosen);
}
#else
std::optional<std::string> FindX11Window(const WindowClassRule&, bool) { return std::nullopt; }
#endif

}  // namespace velloran::linuxfs
