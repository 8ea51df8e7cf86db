#pragma once
// One console run: the target environment, its platform and registry, and the
// application on the console host. With `preview` the run works on the recording
// layers, so nothing is changed.
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "app/Application.hpp"
#include "app/ConsoleHost.hpp"
#include "app/FrmMain.hpp"
#include "cleaning/Preview.hpp"
#include "common/Target.hpp"
#include "common/platform/SystemPlatform.hpp"

namespace velloran {

class ConsoleSession {
public:
    struct Options {
        std::optional<std::filesystem::path> prefix;
        bool answerNo = false;
        bool preview = false;
        // Messages on standard error, so that standard output holds only data (--json).
        bool quiet = false;
        std::string commandLine;
        Options() = default;
        explicit Options(const RunSwitches& run) : answerNo(run.answerNo), preview(run.preview) {}
    };
    explicit ConsoleSession(const Options& options);

    // False, with the reason printed, when the target's registry cannot be read. A
    // prefix's files are read when a task first needs them, and refused there.
    bool Ready() const { return app_ != nullptr; }
    Application& App() { return *app_; }
    const PreviewSummary& Summary() const { return summary_; }
    // What a start prepares without the main window: the Windows version for the
    // run header and the reports.
    void Start();
    // The main window, initialised and loaded as at a start (may end the program).
    FrmMain& LoadMain();
    // Runs a command's work and makes its exit status: the work's own when not 0;
    // else the program's end code, or 1 when something was left undone. A
    // preview's summary is printed after work that ended well.
    int Run(const std::function<int()>& work);

private:
    bool preview_;
    Target target_;
    std::unique_ptr<Platform> platform_;
    ConsoleHost host_;
    std::unique_ptr<RegistryStore> store_;
    std::unique_ptr<RegistryStore> settingsStore_;  // null: the target's store
    PreviewSummary summary_;
    std::unique_ptr<PreviewStore> previewStore_;
    std::unique_ptr<PreviewStore> previewSettings_;
    std::unique_ptr<PreviewPlatform> previewPlatform_;
    std::unique_ptr<Application> app_;
};

// The start-up deletion alone, with no window and no display: what "-delstart"
// starts in either program. Returns the exit status.
int RunStartupDelete();

}  // namespace velloran
