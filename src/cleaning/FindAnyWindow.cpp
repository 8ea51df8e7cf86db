// The open-browser check. Its error location names "ModFunctions", the module
// reports list it under.
#include "cleaning/FindAnyWindow.hpp"

#include "common/ErrorHandler.hpp"
#include "common/WorkContext.hpp"

namespace velloran {

namespace {
// The count GetWindowTextA was given; it includes the terminating NUL.
constexpr std::size_t kMaxCount = 30;
}  // namespace

std::string Utf8Left(const std::string& text, std::size_t count) {
    std::size_t end = 0;
    for (std::size_t chars = 0; end < text.size() && chars < count; ++chars) {
        ++end;
        while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) ++end;
    }
    return text.substr(0, end);
}

VbBool FindAnyWindow(WorkContext& app, const std::string& className, std::string& title,
                     VbBool closeIt) {
    VbBool found = vbFalse;
    WithErrorHandler(app, "ModFunctions:FindAnyWindow", [&] {
        const auto windowText = app.GetPlatform().FindTopLevelWindow(className, IsTrue(closeIt));
        if (!windowText) return;
        // The read stops at the count less its terminating NUL, and a title with a
        // NUL of its own ends there.
        const std::string read = Utf8Left(*windowText, kMaxCount - 1);
        title = read.substr(0, read.find('\0'));
        found = vbTrue;
    });
    return found;
}

}  // namespace velloran
