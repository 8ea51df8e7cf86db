#include "cleaning/ReportError.hpp"

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "cleaning/Shell.hpp"
#include "common/Target.hpp"
#include "common/controls/Form.hpp"
#include "common/platform/LocalTime.hpp"

namespace velloran {

namespace fs = std::filesystem;

std::string ErrorMessageText(long number, const std::string& description, const std::string& source,
                             const std::string& location) {
    return "Error Number: " + std::to_string(number) + "\r\n" +
           "Error Description: " + description + "\r\n" + "Error Location: " + source + " " +
           location;
}

std::string ErrorReport::Text() const {
    std::string t;
    auto line = [&t](const char* label, const std::string& value) {
        t += label;
        t += value;
        t += '\n';
    };
    line("Description: ", description);
    line("Source: ", source);
    line("Version: ", version);
    line("Number: ", std::to_string(number));
    line("Operating system: ", operatingSystem);
    line("Location: ", location);
    line("Application version: ", appVersion);
    line("Product: ", productName);
    line("Port: ", port);
    line("Error page: ", errorPage);
    line("Web service: ", servicePath);
    line("Service description: ", serviceDescription);
    line("Support server: ", server.empty() ? std::string("(none configured)") : server);
    return t;
}

namespace {

// Reports are kept so that a user can send one by hand; a failure to write one
// must not stop the program from ending cleanly.
std::string SaveReport(const std::string& text) {
    std::error_code ec;
    fs::path dir = XdgStateHome() / "velloran" / "error-reports";
    fs::create_directories(dir, ec);
    if (ec) return {};
    std::time_t now = std::time(nullptr);
    char stamp[32];
    const std::tm tm = LocalTime(now);
    std::strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%S", &tm);
    fs::path file = dir / ("error-" + std::string(stamp) + ".txt");
    for (int n = 1; fs::exists(file, ec); ++n)
        file = dir / ("error-" + std::string(stamp) + "-" + std::to_string(n) + ".txt");
    std::ofstream out(file);
    out << text;
    return out ? file.string() : std::string();
}

}  // namespace

void SaveBeforeTheEnd(ProgramShell& app) {
    try {
        app.Registry().Save();
    } catch (const std::exception&) {
        // The program is ending; the failure that ends it is the one reported.
    }
}

void ReportError(ProgramShell& app, const VbError& error, const std::string& location,
                 const ReportOptions& options) {
    // Unloading below saves the settings, which may fail for the same reason: one
    // report is enough, the program is ending anyway.
    if (app.Reporting) EndProgram(1);
    app.Reporting = true;
    Host& host = app.GetHost();
    if (options.showMessage)
        host.MsgBox(ErrorMessageText(error.Number(), error.Description(), error.Source(), location),
                    options.style, app.Title);

    ErrorReport report;
    report.description = error.Description();
    report.source = error.Source();
    report.version = options.version.empty() ? app.VersionText() : options.version;
    report.number = error.Number();
    report.operatingSystem = "Windows " + app.WinVersion;
    report.location = location;
    report.appVersion = app.VersionText();
    report.productName = app.ProductName;
    const std::string text = report.Text();
    host.ShowErrorReport(text, SaveReport(text));

    // What the run changed before the failure is kept, as a finished task's would be.
    SaveBeforeTheEnd(app);

    // The common unload: the main window takes every other window with it.
    try {
        app.MainForm().Unload(vbFormCode);
    } catch (const ProgramEnd&) {
    } catch (const std::exception&) {
        // Already reporting; a second failure must not hide the first.
    }
    EndProgram(1);
}

}  // namespace velloran
