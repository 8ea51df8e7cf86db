#pragma once
// An application on a scripted host and a fake platform, main window loaded.
#include <gtest/gtest.h>

#include "app/Application.hpp"
#include "app/FrmMain.hpp"
#include "common/registry/RegistryTree.hpp"
#include "support/FakePlatform.hpp"
#include "support/ScriptedHost.hpp"

namespace velloran::test {

// What the program's outcome holds as not done: failed and deferred items.
inline std::int64_t LeftCount(const ProgramShell& shell) {
    return static_cast<std::int64_t>(shell.Outcome.total.failed.size() +
                                     shell.Outcome.total.pending.size());
}

class AppFixture : public ::testing::Test {
protected:
    void LoadMain() {
        main().Form_Initialize();
        main().Load();
    }
    FrmMain& main() { return app.Main(); }
    // Runs `body`, expecting it to end the program.
    template <class F>
    int ExpectProgramEnd(F&& body) {
        try {
            body();
        } catch (const ProgramEnd& e) {
            return e.code;
        }
        ADD_FAILURE() << "the program did not end";
        return -1;
    }

    AppFixture() {
        app.SetRegistry(&registry);
        app.TargetDescription = "Wine prefix /prefix";
    }

    ScriptedHost host;
    FakePlatform platform;
    MemoryStore registry;
    Application app{host, platform};
};

}  // namespace velloran::test
