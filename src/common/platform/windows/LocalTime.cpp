#include "common/platform/LocalTime.hpp"

namespace velloran {

std::tm LocalTime(std::time_t moment) {
    std::tm tm{};
    localtime_s(&tm, &moment);
    return tm;
}

}  // namespace velloran
