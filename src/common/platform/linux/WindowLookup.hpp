#pragma once
// Finding another program's top-level window by the Windows window class its
// browser would register: X11 windows by WM_CLASS when a display is there, and
// the process table when no window matched (Wayland, headless, no display).
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velloran::linuxfs {

// What a Windows window class looks like on this desktop.
struct WindowClassRule {
    std::string_view windowClass;             // "IEFrame", "MozillaWindowClass", "OpWindow"
    std::vector<std::string_view> x11Names;   // WM_CLASS instance or class, lower case
    std::vector<std::string_view> processes;  // process names, lower case
};

// The rule for a window class; nullptr for a class no browser here registers.
const WindowClassRule* RuleForWindowClass(std::string_view windowClass);

// True when a WM_CLASS pair (instance, class) belongs to the rule.
bool MatchesX11Class(const WindowClassRule& rule, std::string_view instance,
                     std::string_view klass);
// True when a process name (as /proc/PID/comm gives it, at most 15 characters)
// or the last component of its first argument belongs to the rule.
bool MatchesProcess(const WindowClassRule& rule, std::string_view comm, std::string_view argv0);

// The title of a matching X11 top-level window; `close` asks the window manager to
// close it. nullopt without a display or without a match.
std::optional<std::string> FindX11Window(const WindowClassRule& rule, bool close);

// The name of a running process of this user that matches; nullopt when none.
std::optional<std::string> FindProcess(const WindowClassRule& rule, const std::string& procRoot);

}  // namespace velloran::linuxfs
