#pragma once
// Where the Opera browser keeps its profile, on the desktop and inside the target
// Windows environment.
#include <string>

#include "common/platform/Platform.hpp"

namespace velloran {

class OperaCleaner {
public:
    explicit OperaCleaner(Platform& platform) : platform_(platform) {}
    // The Opera profile folder, "" when Opera has none.
    std::string ProfileFolder() const;

private:
    Platform& platform_;
};

}  // namespace velloran
