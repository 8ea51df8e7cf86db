#pragma once
// The platform of the system the program runs on, for the code that starts a
// program (the front ends and the console session) without naming the system.
#include <memory>

#include "common/Target.hpp"
#include "common/platform/Platform.hpp"

namespace velloran {

std::unique_ptr<Platform> MakeSystemPlatform(const Target& target);

}  // namespace velloran
