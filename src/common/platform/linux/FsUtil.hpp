#pragma once
// Small helpers every Linux file operation shares.
#include <string>
#include <utility>

#include "common/VbError.hpp"

namespace velloran::linuxfs {

// An errno as the error a user reads: 53 not found, 70 permission denied, 61 disk
// full, 57 device I/O error, 75 for anything else (with the system's own words).
VbError ErrnoError(int err, const std::string& what);

// Folder and name of a path, trailing slashes ignored: "/a/b/" gives {"/a", "b"}.
std::pair<std::string, std::string> SplitPath(std::string path);

// A mount table field with its octal escapes (space, tab, newline, backslash) undone.
std::string UnescapeMountField(const std::string& s);

// True when the open folder `child`, entered from the open folder `parent`, is the
// root of another mount. Bind mounts of the same file system count: their device
// is the parent's, so the mount id (or the mount-root attribute) decides.
bool IsMountRoot(int parent, int child);

// Remembers the folder `given` (open as `fd`) as one a search or a wipe starts
// from, as it is now: the files found below it are deleted later by their paths,
// and those paths must lead to what was found. Called by the walks.
void RememberSearchedFolder(const std::string& given, int fd);

// Opens the folder `path` for deleting something in it that the user picked
// earlier, so that a folder swapped for a symbolic link since then can never
// redirect the deletion: every component is opened without following links.
// Below a folder a walk started from (RememberSearchedFolder), that folder is
// reached as it was resolved then and must still be the same folder (device,
// inode), and no link below it is followed, whoever owns it. Elsewhere only links
// that belong to the system's own layout are followed (owned by root, in a folder
// only root may change, such as /home -> /var/home). Returns the descriptor, or -1
// with errno set (ELOOP for a link that is not followed, ESTALE for a searched
// folder that is no longer the one searched).
int OpenFolderForDeletion(const std::string& path);

}  // namespace velloran::linuxfs
