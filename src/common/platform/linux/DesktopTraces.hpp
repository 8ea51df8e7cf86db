#pragma once
// The desktop's own traces: the X11 clipboard and the freedesktop recently-used list.
#include <cstdint>
#include <filesystem>

namespace velloran::linuxfs {

// Empties the X11 CLIPBOARD selection: Velloran takes it over and lets it go, so no
// program owns it any more. False when there is no display to talk to.
bool ClearX11Clipboard();

// What a clear would remove: entries and bytes.
struct TraceCount {
    std::int64_t items = 0;
    std::int64_t bytes = 0;
    TraceCount& operator+=(const TraceCount& o) {
        items += o.items;
        bytes += o.bytes;
        return *this;
    }
};

// Bookmarks in a recently-used.xbel file (0 when it is missing).
TraceCount CountRecentlyUsed(const std::filesystem::path& xbel);
// Replaces the file by an empty list, atomically and keeping its mode; a missing
// file stays missing. False when the list is no regular file (a link is never
// written through). Throws VbError when it cannot be written.
bool ClearRecentlyUsed(const std::filesystem::path& xbel);

// Regular files directly inside a folder (the Windows Recent folder holds links).
TraceCount CountFolderFiles(const std::filesystem::path& dir);
// Removes them; never follows a symbolic link and leaves subfolders alone.
void RemoveFolderFiles(const std::filesystem::path& dir);

}  // namespace velloran::linuxfs
