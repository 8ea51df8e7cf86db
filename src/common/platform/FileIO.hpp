#pragma once
// Whole-file reads and atomic replacement, for the files the registry store keeps.
// Failures are VbErrors that name the file ("Cannot read ...", "Cannot save ...").
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "common/platform/FileText.hpp"

namespace velloran {

// Makes room for a file text of `size` bytes without filling it. A large text is
// backed by huge pages where the system allows it: faulting 50 MB in 4 KiB pages
// costs as much as reading them.
void ReserveFileText(std::string& text, size_t size);

// What a file was when it was read. A save compares it with what the name holds
// then: another writer replaces the file or changes its size or time.
struct FileStamp {
    bool exists = false;
    bool link = false;  // the name is a symbolic link
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t modifiedNs = 0;
    bool operator==(const FileStamp&) const = default;
};
// The stamp of the entry `file` names now; a link is stamped as a link.
FileStamp StampOf(const std::filesystem::path& file);

// Reads all of `file` into `out`; false when it does not exist. `stamp` (when
// given) gets what the file was as it was opened, before a byte was read.
bool ReadWholeFile(const std::filesystem::path& file, std::string& out, FileStamp* stamp = nullptr);

// Reads `file` into `out` the way a large text that is read through once and
// then mostly left alone is best read: where fresh memory is dear, `out` is
// filled from the open file only where it is needed after the first reading
// (see FileText), and the file is read through by `TextSource` windows. False
// when the file does not exist. `stamp` as for ReadWholeFile.
bool ReadFileText(const std::filesystem::path& file, FileText& out, FileStamp* stamp);

// Writes `text` to `file` atomically: a crash at any moment leaves the old file or
// the new one, whole. Owner and mode of an existing file are kept; a new file is
// made readable by its owner alone. A symbolic link is never written through: the
// save is refused. Throws VbError.
void WriteFileAtomically(const std::filesystem::path& file, const std::string& text);
// The same for a text in pieces, written one after the other. With `expected`, the
// file is replaced only while its name still holds that very file (checked once
// the new text is on the disk, just before it takes the name); false, with nothing
// changed, when another writer replaced or changed it meanwhile. `written` gets the
// stamp of the new file. `asRead` (with `expected`) is the text of the file
// `expected` describes, as a FileText view: pieces that are runs of it are taken
// from the file itself, never from memory, which may not hold them (a lazy
// FileText); on Windows the text is always whole and written from memory.
bool WriteFileAtomically(const std::filesystem::path& file,
                         const std::vector<std::string_view>& pieces,
                         const FileStamp* expected = nullptr, FileStamp* written = nullptr,
                         std::string_view asRead = {});

// Creates `folder` and its missing parents, each readable by its owner alone
// (whatever the process's file mode mask); folders that exist stay as they are.
// Throws VbError.
void CreateOwnFolders(const std::filesystem::path& folder);

// Holds an exclusive lock on a folder that every Velloran process takes before it
// changes a file of its own there, so that two processes' edits of the same file
// come one after the other instead of one undoing the other. Waits for the lock.
class FolderLock {
public:
    explicit FolderLock(const std::filesystem::path& folder);  // throws VbError
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

private:
    std::intptr_t handle_ = -1;
};

// The error for a failed file operation `what` ("Cannot create") on `file`.
[[noreturn]] void ThrowFileError(const std::error_code& ec, const std::string& what,
                                 const std::filesystem::path& file);

// The temporary name a save of `file` by process `pid` uses (attempt `n`).
std::string AtomicTemporaryName(const std::filesystem::path& file, long pid, int n);

}  // namespace velloran
