#include "common/platform/LocalTime.hpp"

namespace velloran {

std::tm LocalTime(std::time_t moment) {
    std::tm tm{};
    localtime_r(&moment, &tm);
    return tm;
}

}  // namespace velloran
