#pragma once
// Whole-file reads and atomic replacement, for the files the registry store keeps.
// Failures are VbErrors that name the file ("Cannot read ...", "Cannot save ...").
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace velloran {

// Makes room for a file text of `size` bytes without filling it. A large text is
// backed by huge pages where the system allows it: faulting 50 MB in 4 KiB pages
// costs as much as reading them.
void ReserveFileText(std::string& text, size_t size);

// Reads all of `file` into `out`; false when it does not exist.
bool ReadWholeFile(const std::filesystem::path& file, std::string& out);

// Writes `text` to `file` atomically: a crash at any moment leaves the old file or
// the new one, whole. Owner and mode of an existing file are kept; through a link,
// the file it points to is replaced.
void WriteFileAtomically(const std::filesystem::path& file, const std::string& text);
// The same for a text in pieces, written one after the other.
void WriteFileAtomically(const std::filesystem::path& file,
                         const std::vector<std::string_view>& pieces);

// The error for a failed file operation `what` ("Cannot create") on `file`.
[[noreturn]] void ThrowFileError(const std::error_code& ec, const std::string& what,
                                 const std::filesystem::path& file);

// The temporary name a save of `file` by process `pid` uses (attempt `n`).
std::string AtomicTemporaryName(const std::filesystem::path& file, long pid, int n);

}  // namespace velloran
