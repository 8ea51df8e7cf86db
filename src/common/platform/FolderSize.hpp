#pragma once
// How many regular files a folder holds and their bytes, counted through the
// platform's walk: never through a link, never into another mount.
#include <cstdint>
#include <string>

namespace velloran {

class Platform;

struct FolderSize {
    std::int64_t files = 0;
    std::int64_t bytes = 0;
};

FolderSize MeasureFolder(Platform& platform, const std::string& folder);

}  // namespace velloran
