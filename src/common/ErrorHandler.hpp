#pragma once
// The handler every procedure installs: a failure in its body is reported with the
// procedure's location, and the report ends the program. Ending the program passes
// straight through.
#include <exception>
#include <string>

#include "common/Host.hpp"
#include "common/VbError.hpp"
#include "common/WorkContext.hpp"

namespace velloran {

template <class F>
void WithErrorHandler(WorkContext& context, const std::string& location, F&& body) {
    try {
        body();
    } catch (const ProgramEnd&) {
        throw;
    } catch (const VbError& e) {
        context.ReportError(e, location);
    } catch (const std::exception& e) {
        context.ReportError(VbError(vbErrInternal, e.what(), context.Title), location);
    }
}

}  // namespace velloran
