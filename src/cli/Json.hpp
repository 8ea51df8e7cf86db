#pragma once
// Just enough JSON for the console's --json output: escaped strings, and the
// run's outcome as an object.
#include <string>
#include <string_view>

namespace velloran {

struct RunOutcome;

// `text` as a JSON string literal, quotes included.
std::string JsonString(std::string_view text);
// {"removed":{...},"skipped":[...],"failed":[...],"pending":[...],"tasks":[...]}
std::string OutcomeJson(const RunOutcome& outcome);

}  // namespace velloran
