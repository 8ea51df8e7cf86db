#include "common/platform/SystemPlatform.hpp"

#include "common/platform/linux/LinuxPlatform.hpp"

namespace velloran {

std::unique_ptr<Platform> MakeSystemPlatform(const Target& target) {
    return std::make_unique<LinuxPlatform>(target);
}

}  // namespace velloran
