#include "common/platform/Paths.hpp"

namespace velloran {

const char kPathSeparator = '/';
const std::string_view kPathSeparators = "/";

std::string PathKey(std::string_view path) { return std::string(path); }

}  // namespace velloran
