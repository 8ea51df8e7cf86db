#pragma once
// The one error reporter: every handled failure ends here, is written down as an
// error report, and ends the program.
#include <string>
#include <string_view>

#include "common/Host.hpp"
#include "common/VbError.hpp"

namespace velloran {

class Application;

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

// Never returns: unloads every window and ends the program (exit code 1).
[[noreturn]] void ReportError(Application& app, long number, const std::string& description,
                              const std::string& source, bool showMessage,
                              const std::string& location, const std::string& version, long style);

// The handler every procedure installs: a failure in `body` is reported with the
// procedure's location. Ending the program passes straight through.
template <class F>
void WithErrorHandler(Application& app, const std::string& location, F&& body);

}  // namespace velloran

#include "app/Application.hpp"

namespace velloran {

template <class F>
void WithErrorHandler(Application& app, const std::string& location, F&& body) {
    try {
        body();
    } catch (const ProgramEnd&) {
        throw;
    } catch (const VbError& e) {
        ReportError(app, e.Number(), e.Description(), e.Source(), false, location,
                    app.VersionText(), 16);
    } catch (const std::exception& e) {
        ReportError(app, 51, e.what(), app.Title, false, location, app.VersionText(), 16);
    }
}

}  // namespace velloran
