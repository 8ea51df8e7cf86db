// The stored options as values: loading applies them as clicks would, and a save
// by one process keeps what another stored in the meantime.
#include "cleaning/Settings.hpp"

#include <gtest/gtest.h>

#include "common/WorkContext.hpp"
#include "common/registry/WinePrefixStore.hpp"
#include "support/FakePlatform.hpp"
#include "support/ScriptedHost.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {

namespace {

// A context over one settings store, as a console run has.
class StoreContext : public WorkContext {
public:
    StoreContext(Host& host, Platform& platform, RegistryStore& store)
        : WorkContext(host, platform) {
        SetRegistry(&store);
        SetSettingsRegistry(&store);
    }
    void ReportError(const VbError& error, const std::string&, const ReportOptions&) override {
        throw error;
    }
};

WinePrefixStore OwnStore(const std::filesystem::path& folder) {
    WinePrefixStore::Options options;
    options.isPrefix = false;
    return WinePrefixStore(folder, options);
}

}  // namespace

TEST(StoredOptions, LoadRunsTheRulesAndASaveKeepsAnotherProcesssChange) {
    const std::filesystem::path dir = MakeTempDir("velloran-settings");
    ScriptedHost host;
    FakePlatform platform;

    {
        // Options stored earlier: do not notify.
        WinePrefixStore first = OwnStore(dir);
        StoreContext earlier(host, platform, first);
        Options o;
        o.SetByClick(3, 1);
        WriteStoredOptions(earlier, o);
    }
    // A clean starts: it reads the options.
    WinePrefixStore cleanStore = OwnStore(dir);
    StoreContext clean(host, platform, cleanStore);
    Options atStart = StoredOptionsValue(clean);
    const Options loaded = atStart;
    EXPECT_EQ(atStart.Value(Option::NoNotify), 1);

    // Meanwhile the console stores secure deletion with Zero And Delete, through the
    // rules: ticking secure delete clears the recycle bin.
    {
        WinePrefixStore consoleStore = OwnStore(dir);
        StoreContext console(host, platform, consoleStore);
        Options changed = StoredOptionsValue(console);
        changed.SetByClick(0, 1);
        changed.SetByClick(1, 1);
        changed.deleteMethod = 2;
        EXPECT_EQ(changed.Value(Option::RecycleBin), 0);
        EXPECT_EQ(changed.Value(Option::SecureDelete), 1);
        WriteStoredOptions(console, changed);
    }

    // The clean ends and stores its own change, exit when done, on top of that.
    atStart.SetByClick(4, 1);
    WriteStoredOptions(clean, atStart, &loaded);

    WinePrefixStore reread = OwnStore(dir);
    StoreContext next(host, platform, reread);
    const Options stored = StoredOptionsValue(next);
    EXPECT_EQ(stored.Value(Option::SecureDelete), 1) << "the console's change was kept";
    EXPECT_EQ(stored.deleteMethod, 2);
    EXPECT_EQ(stored.Value(Option::ExitWhenDone), 1) << "and the clean's own change";
    std::filesystem::remove_all(dir);
}

}  // namespace velloran::test
