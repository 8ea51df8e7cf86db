#pragma once
// FindAnyWindow belongs to the shared helper module ModFunctions (its error location
// says so); it lives beside the run because it reports through the error reporter.
#include <string>

#include "common/Vb.hpp"

namespace velloran {

class WorkContext;

// True when a top-level window of `className` is open; `title` then receives at most
// its first 29 characters (a 30-character read with its terminating NUL) and,
// when `closeIt` is True, the window is asked to close. `title` is left as it was
// when no window is found.
VbBool FindAnyWindow(WorkContext& app, const std::string& className, std::string& title,
                     VbBool closeIt);

// The first `count` characters of a UTF-8 text, never cutting one in two.
std::string Utf8Left(const std::string& text, std::size_t count);

}  // namespace velloran
