#pragma once
// The file finder the eradicator and the cookie manager share: every regular file
// of a folder (and of its subfolders) whose name matches a DOS mask, reported
// through FoundFile on the calling thread before Search returns. Links are never
// followed and the walk never enters another mount.
#include <string>

#include "common/Vb.hpp"
#include "common/controls/Signal.hpp"

namespace velloran {

class Platform;

class FileFinder {
public:
    explicit FileFinder(Platform& platform) : platform_(platform) {}

    // Written True to stop a search in progress before its next file.
    VbBool Cancel = vbFalse;
    // Folder and name of each file found.
    Signal<const std::string&, const std::string&> FoundFile;

    // "*.*" matches every name; `recursive` false keeps to the folder itself.
    void Search(const std::string& folder, const std::string& mask, bool recursive = true);

private:
    Platform& platform_;
};

}  // namespace velloran
