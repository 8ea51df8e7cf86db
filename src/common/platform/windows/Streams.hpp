#pragma once
// The named data streams of an NTFS file ("report.doc:Zone.Identifier"): data
// that a plain overwrite of the file never reaches.
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velloran {

struct NamedStream {
    std::wstring name;  // as FindFirstStreamW gives it: ":Zone.Identifier:$DATA"
    std::uint64_t size = 0;
};

// The named streams of `file` (a "\\?\" path), never the unnamed main one.
using StreamLister = std::function<std::vector<NamedStream>(const std::wstring& file)>;

// FindFirstStreamW / FindNextStreamW; empty where the file system keeps none.
std::vector<NamedStream> SystemStreams(const std::wstring& file);

}  // namespace velloran
