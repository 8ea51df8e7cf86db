#pragma once
// The calendar time of a moment in the user's time zone (localtime_r, localtime_s).
#include <ctime>

namespace velloran {

std::tm LocalTime(std::time_t moment);

}  // namespace velloran
