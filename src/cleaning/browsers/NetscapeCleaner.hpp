#pragma once
// Where the Netscape-family browsers keep their profiles, on the desktop and
// inside the target Windows environment.
#include <string>

#include "common/platform/Platform.hpp"

namespace velloran {

class NetscapeCleaner {
public:
    explicit NetscapeCleaner(Platform& platform) : platform_(platform) {}
    // True when a Mozilla-family profile exists: Firefox or SeaMonkey on the
    // desktop, a legacy Netscape/Mozilla profile (<name>/<8 chars>.slt), or the
    // Windows environment's Mozilla\Profiles.
    bool IsInstalled() const;

private:
    Platform& platform_;
};

}  // namespace velloran
