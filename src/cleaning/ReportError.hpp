#pragma once
// The one error reporter: every handled failure ends here, is written down as an
// error report, and ends the program. The handler that leads here is in
// common/ErrorHandler.hpp; the application's context routes to this.
#include <string>
#include <string_view>

#include "common/ErrorHandler.hpp"
#include "common/VbError.hpp"
#include "common/WorkContext.hpp"

namespace velloran {

class ProgramShell;

// What the error report holds, in the order it is filled.
struct ErrorReport {
    std::string description;
    std::string source;
    std::string version;
    long number = 0;
    std::string operatingSystem;
    std::string location;
    std::string appVersion;
    std::string productName;
    std::string port = "80";
    std::string errorPage = "products/services/techsupport/err.asp";
    std::string servicePath = "products/services/techsupport/techsupport.asmx";
    std::string serviceDescription = "products/services/techsupport/techsupport.asmx?wsdl";
    std::string server;  // empty: nothing is ever sent

    std::string Text() const;
};

// The message box text shown when `showMessage` is set.
std::string ErrorMessageText(long number, const std::string& description, const std::string& source,
                             const std::string& location);

// Saves the registry's changes when the program ends some other way than at the
// end of a run; a failure to save is not reported then.
void SaveBeforeTheEnd(ProgramShell& app);

// Never returns: shows the message when asked, writes the report, unloads every
// window and ends the program (exit code 1).
[[noreturn]] void ReportError(ProgramShell& app, const VbError& error, const std::string& location,
                              const ReportOptions& options = {});

}  // namespace velloran
