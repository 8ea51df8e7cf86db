#include "common/platform/Paths.hpp"

namespace velloran {

const char kPathSeparator = '\\';
const std::string_view kPathSeparators = "\\/";

}  // namespace velloran
