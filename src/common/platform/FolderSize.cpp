#include "common/platform/FolderSize.hpp"

#include "common/Text.hpp"
#include "common/platform/Paths.hpp"
#include "common/platform/Platform.hpp"

namespace velloran {

FolderSize MeasureFolder(Platform& platform, const std::string& folder) {
    FolderSize size;
    platform.ForEachFile(folder, true, [&](const std::string& dir, const std::string& name) {
        ++size.files;
        size.bytes += static_cast<std::int64_t>(platform.FileSize(JoinPath(dir, name)).value_or(0));
        return true;
    });
    return size;
}

}  // namespace velloran
