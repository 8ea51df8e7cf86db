#pragma once
// File operations the shell layer needs: small text files the program keeps, and
// deleting what the user asked for without ever following a link out of it.
#include <sys/stat.h>

#include <functional>
#include <optional>
#include <string>

namespace velloran::linuxfs {

// Removes a file, a link (not its target) or a folder with everything in it. Walks
// relative to each opened parent, never follows links, never crosses into another
// file system, and re-checks each folder's identity after opening it. Goes on past
// entries it cannot remove and then throws VbError for the first of them: 53 when
// the path does not exist, 70 when it may not be removed, 75 otherwise.
void RemovePath(const std::string& path);

// Removes one file or link, never a folder; the folder is opened without following
// links. Throws VbError (75 for a folder).
void RemoveFileEntry(const std::string& path);

// Every regular file in `folder` (below it too when `recursive`): never through a
// link, never into another mount; `found` (folder, name) returns false to stop.
void ForEachFile(const std::string& folder, bool recursive,
                 const std::function<bool(const std::string&, const std::string&)>& found);

// Replaces a file's contents through a temporary file and a rename, synced, since
// a power-off may follow at once: a reader finds the old text or the new, and a
// full disk leaves the old. A new file is readable by its owner alone; an existing
// one keeps its mode and owner. Refuses a symbolic link. Throws VbError.
void WriteFileText(const std::string& path, const std::string& text);
std::optional<std::string> ReadFileText(const std::string& path);
// Changes a file under the lock of its folder (FolderLock), so that other Velloran
// processes editing it wait: `edit` gets the text as it is now (nullopt when the
// file is missing) and returns the new one, written as WriteFileText writes.
void EditFileText(const std::string& path,
                  const std::function<std::string(const std::optional<std::string>&)>& edit);
// The text of a file only when it is the user's own: a regular file (not a link)
// owned by the user running the program, with no other name, that nobody else
// may write. nullopt otherwise.
std::optional<std::string> ReadPrivateFileText(const std::string& path);

// Writes `text` to a new file in the same folder, with the old file's permissions,
// syncs it and renames it over `path`. The old file must be a regular file its
// owner may write; otherwise, and on any failure, `path` is left as it was.
void ReplaceFileContent(const std::string& path, const std::string& text);
// The old file's status when ReplaceFileContent may replace it; throws VbError if not.
struct stat ReplaceableFile(const std::string& path);

// The running program's absolute path (/proc/self/exe); empty when unknown.
std::string SelfExecutable();

}  // namespace velloran::linuxfs
