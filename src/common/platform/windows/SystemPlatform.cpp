#include "common/platform/SystemPlatform.hpp"

#include "common/platform/windows/WindowsPlatform.hpp"

namespace velloran {

std::unique_ptr<Platform> MakeSystemPlatform(const Target& /*target*/) {
    return std::make_unique<WindowsPlatform>();
}

}  // namespace velloran
