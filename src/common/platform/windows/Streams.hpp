#pragma once
// The named data streams of an NTFS file ("report.doc:Zone.Identifier"): data
// that a plain overwrite of the file never reaches.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/platform/windows/Win32.hpp"

namespace velloran {

struct NamedStream {
    std::wstring name;  // as FindFirstStreamW gives it: ":Zone.Identifier:$DATA"
    std::uint64_t size = 0;
};

// How the streams of a file are found and opened: the system's calls, or a test's
// own (Wine's file systems keep no streams).
struct StreamAccess {
    // The named streams of `file` (a "\\?\" path), never the unnamed main one.
    std::function<std::vector<NamedStream>(const std::wstring& file)> list;
    // One of them opened for reading and writing; an empty handle when it cannot be.
    std::function<win::Handle(const std::wstring& file, const NamedStream& stream)> open;
};

// FindFirstStreamW / FindNextStreamW, and CreateFileW on "file:name:$DATA".
StreamAccess SystemStreams();

}  // namespace velloran
