#include "common/platform/Autostart.hpp"

#include "common/platform/linux/Autostart.hpp"

#include <filesystem>
#include <string_view>

#include "common/platform/Platform.hpp"
#include "common/platform/UserFolders.hpp"

namespace velloran {

std::string StartupDeleteListPath() {
    return (XdgStateHome() / "velloran" / "delstart.dat").string();
}

std::string AutostartEntryPath() {
    return (XdgConfigHome() / "autostart" / "velloran-delstart.desktop").string();
}

std::string DesktopExecArgument(const std::string& arg) {
    constexpr std::string_view reserved = " \t\n\"'\\><~|&;$*?#()`";
    const bool quote = arg.empty() || arg.find_first_of(reserved) != std::string::npos;
    std::string out;
    if (quote) out += '"';
    for (char c : arg) {
        if (c == '%') {
            out += "%%";
            continue;
        }
        if (quote && (c == '"' || c == '`' || c == '$' || c == '\\')) out += '\\';
        out += c;
    }
    if (quote) out += '"';
    return out;
}

std::string DesktopStringValue(const std::string& value) {
    std::string out;
    for (char c : value) {
        switch (c) {
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                out += c;
        }
    }
    return out;
}

std::string AutostartEntryText(const std::string& execLine) {
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=Velloran start-up deletion\n"
           "Comment=Deletes what the last clean could not delete while it was in use\n"
           "Exec=" +
           DesktopStringValue(execLine) +
           "\n"
           "Terminal=false\n";
}

void SetLoginStart(Platform& platform, RegistryStore& /*registry*/, const std::string& program,
                   const std::string& argument) {
    const std::string entry = AutostartEntryPath();
    // A fresh desktop often has no autostart folder yet; the entry needs one.
    platform.CreateDirectories(std::filesystem::path(entry).parent_path().string());
    // An old entry, a link included, is replaced rather than written through.
    platform.RemoveFile(entry);
    platform.WriteTextFile(entry,
                           AutostartEntryText(DesktopExecArgument(program) + " " + argument));
}

void RemoveLoginStart(Platform& platform, RegistryStore& /*registry*/) {
    platform.RemoveFile(AutostartEntryPath());
}

}  // namespace velloran
