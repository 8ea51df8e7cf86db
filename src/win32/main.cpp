// velloran.exe: the Win32 front end.
#include "win32/Gui.hpp"

#include <objbase.h>

#include <iostream>
#include <memory>

#include "app/Application.hpp"
#include "app/ConsoleSession.hpp"
#include "app/FrmMain.hpp"
#include "app/Version.hpp"
#include "cleaning/StartupDelete.hpp"
#include "common/Target.hpp"
#include "common/VbError.hpp"
#include "common/platform/SystemPlatform.hpp"
#include "common/platform/Terminal.hpp"
#include "common/registry/OpenStore.hpp"
#include "win32/Dispatch.hpp"
#include "win32/MainView.hpp"
#include "win32/Win32Host.hpp"

namespace {

std::string Joined(const std::vector<std::string>& args) {
    std::string out;
    for (const auto& a : args) out += (out.empty() ? "" : " ") + a;
    return out;
}

void StartCommonControls() {
    INITCOMMONCONTROLSEX controls{};
    controls.dwSize = sizeof controls;
    controls.dwICC = ICC_STANDARD_CLASSES | ICC_WIN95_CLASSES | ICC_TAB_CLASSES |
                     ICC_LISTVIEW_CLASSES | ICC_TREEVIEW_CLASSES | ICC_BAR_CLASSES;
    InitCommonControlsEx(&controls);
}

}  // namespace

int main(int argc, char** argv) {
    using namespace velloran;
    using namespace velloran::win32;

    const std::vector<std::string> args = CommandLineArguments(argc, argv);
    // The autostart entry's work needs no window.
    if (args.size() == 1 && args[0] == kStartupDeleteSwitch) return RunStartupDelete();
    if (args.size() == 1 && args[0] == "--version") {
        std::cout << VersionLine("velloran") << '\n';
        return 0;
    }

    EnablePerMonitorDpi();
    StartCommonControls();
    // The folder browser's new dialog style needs a single-threaded apartment.
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);

    const Target target = SelectTarget();
    std::unique_ptr<RegistryStore> store, settings;
    try {
        store = OpenRegistryStore(target);
        settings = OpenSettingsStore(target);
    } catch (const VbError& e) {
        MessageBoxW(
            nullptr,
            Wide("The registry of " + target.Describe() + " cannot be read:\r\n" + e.Description())
                .c_str(),
            L"Velloran", MB_ICONERROR | MB_OK);
        return 1;
    }
    const std::unique_ptr<Platform> platform = MakeSystemPlatform(target);
    Win32Host host;
    Application app(host, *platform);
    app.SetRegistry(store.get());
    app.SetSettingsRegistry(settings.get());
    app.CommandLine = Joined(args);
    app.TargetDescription = target.Describe();

    FrmMain& main = app.Main();
    MainView view(main);
    host.SetMainView(main, &view);
    Dispatch([&main] {
        main.Form_Initialize();
        main.Load();
    });
    if (!Ending()) {
        ShowWindow(view.Hwnd(), SW_SHOW);
        UpdateWindow(view.Hwnd());
        MSG msg;
        while (GetMessageW(&msg, nullptr, 0, 0) > 0) PumpOne(msg);
    }
    CoUninitialize();
    return Ending() ? EndCode() : 0;
}
