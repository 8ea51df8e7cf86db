#pragma once
// The program-wide context: the host and platform every window works through,
// the module-level state the windows share, and the windows themselves.
#include <functional>
#include <memory>
#include <string>

#include "common/Host.hpp"
#include "common/Vb.hpp"
#include "common/platform/Platform.hpp"
#include "common/registry/KelRegistry.hpp"

namespace velloran {

class FrmMain;
class FrmCleaner;
class frmAbout;
class FrmJunk;
class frmErad;
class FrmCookies;
class ClsClean;
class Form;

class Application {
public:
    Application(Host& host, Platform& platform);
    ~Application();
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    Host& GetHost() const { return host_; }
    Platform& GetPlatform() const { return platform_; }

    // App object properties.
    std::string Title = "Velloran";
    std::string ProductName = "Velloran";
    int Major = VELLORAN_VERSION_MAJOR;
    int Minor = VELLORAN_VERSION_MINOR;
    int Revision = VELLORAN_VERSION_PATCH;
    std::string HelpFile;
    std::string CommandLine;
    // Which Windows environment the program works on, for the status bar.
    std::string TargetDescription;
    // Major, minor and revision joined with ".".
    std::string VersionText() const;

    // Module-level state shared by the windows and the run.
    Int16 TaskIndex;
    VbBool StopRequested = vbFalse;
    std::string WinVersion;
    // Set while an error is being reported; the program ends after it.
    bool Reporting = false;
    // Things the user asked for that could not be done (each told in its own line);
    // the console's exit status reports them.
    std::int64_t LeftUndone = 0;

    // The registry every task works on, chosen once at start; error 91 without one.
    RegistryStore& Registry() const;
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

    // The windows, created on first use and kept for the program's life; unloading
    // resets a window, as reloading would.
    FrmMain& Main();
    FrmCleaner& Cleaner();
    frmAbout& About();
    FrmJunk& Junk();
    frmErad& Erad();
    FrmCookies& Cookies();
    bool CleanerLoaded() const;
    // Every secondary window that exists, in the order the main window unloads them.
    std::vector<Form*> SecondaryForms();

    // The release routine: sets the stop flag and releases the shared objects.
    // Closes and saves nothing, and may run any number of times.
    void ReleaseShared();

    // Shortcut for a message box under the application title.
    int MsgBox(const std::string& text, int style) { return host_.MsgBox(text, style, Title); }

private:
    Host& host_;
    Platform& platform_;
    RegistryStore* registry_ = nullptr;
    RegistryStore* settings_ = nullptr;
    std::unique_ptr<FrmMain> main_;
    std::unique_ptr<FrmCleaner> cleaner_;
    std::unique_ptr<frmAbout> about_;
    std::unique_ptr<FrmJunk> junk_;
    std::unique_ptr<frmErad> erad_;
    std::unique_ptr<FrmCookies> cookies_;
};

}  // namespace velloran
