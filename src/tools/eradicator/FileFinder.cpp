#include "tools/eradicator/FileFinder.hpp"

#include "common/platform/Platform.hpp"
#include "tools/junk/Wildcard.hpp"

namespace velloran {

void FileFinder::Search(const std::string& folder, const std::string& mask, bool recursive) {
    const Wildcard wanted(mask);
    platform_.ForEachFile(folder, recursive, [&](const std::string& dir, const std::string& name) {
        if (IsTrue(Cancel)) return false;
        if (wanted.Matches(name)) FoundFile(dir, name);
        return !IsTrue(Cancel);
    });
}

}  // namespace velloran
