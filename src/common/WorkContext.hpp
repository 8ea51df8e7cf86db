#pragma once
// What the trace workers, the tool engines and the error handler need of the
// running program, and no more: the host and platform, the registry a run cleans,
// the version text for reports, the state the windows and workers share, and the
// way to report an error. The application is the real one; it adds the windows.
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/Host.hpp"
#include "common/Vb.hpp"
#include "common/VbError.hpp"
#include "common/platform/Platform.hpp"
#include "common/registry/KelRegistry.hpp"

namespace velloran {

// How an error report is made beyond the error and its location.
struct ReportOptions {
    bool showMessage = false;  // a message box before the report
    std::string version;       // the reporter's version text; empty: the program's
    int style = vbCritical;    // the message box's style
};

class WorkContext {
public:
    WorkContext(Host& host, Platform& platform) : host_(host), platform_(platform) {}
    virtual ~WorkContext() = default;
    WorkContext(const WorkContext&) = delete;
    WorkContext& operator=(const WorkContext&) = delete;

    Host& GetHost() const { return host_; }
    Platform& GetPlatform() const { return platform_; }

    // App object properties.
    std::string Title = "Velloran";
    std::string ProductName = "Velloran";
    int Major = VELLORAN_VERSION_MAJOR;
    int Minor = VELLORAN_VERSION_MINOR;
    int Revision = VELLORAN_VERSION_PATCH;
    // Major, minor and revision joined with ".".
    std::string VersionText() const {
        return std::to_string(Major) + "." + std::to_string(Minor) + "." + std::to_string(Revision);
    }

    // Module-level state shared by the windows, the run and the workers.
    Int16 TaskIndex;
    VbBool StopRequested = vbFalse;
    std::string WinVersion;

    // The registry every task works on, chosen once at start; error 91 without one.
    RegistryStore& Registry() const {
        if (!registry_) throw VbError::ObjectNotSet();
        return *registry_;
    }
    void SetRegistry(RegistryStore* store) { registry_ = store; }
    // Where Velloran keeps its own options: its own store, never a target prefix
    // (cleaning a prefix must not add anything to it). Without a store of its own
    // set, the target's registry is that store.
    RegistryStore& SettingsRegistry() const { return settings_ ? *settings_ : Registry(); }
    void SetSettingsRegistry(RegistryStore* store) { settings_ = store; }

    // The registry object and the list of the trace task in progress, shared by
    // the trace workers and released by their terminate step and ReleaseShared.
    std::shared_ptr<KelRegistry> SharedRegistry;
    std::vector<std::pair<std::string, RegData>> SharedList;

    // The release routine: sets the stop flag and releases the shared objects.
    // Closes and saves nothing, and may run any number of times.
    void ReleaseShared() {
        StopRequested = vbTrue;
        SharedRegistry.reset();
        SharedList.clear();
    }

    // Writes the error report and ends the program; never returns.
    [[noreturn]] virtual void ReportError(const VbError& error, const std::string& location,
                                          const ReportOptions& options = {}) = 0;

private:
    Host& host_;
    Platform& platform_;
    RegistryStore* registry_ = nullptr;
    RegistryStore* settings_ = nullptr;
};

}  // namespace velloran
