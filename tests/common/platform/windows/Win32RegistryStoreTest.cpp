// The live registry as the store. The tests work in a key of their own: it
// stands for HKEY_CURRENT_USER and HKEY_LOCAL_MACHINE while they run
// (RegOverridePredefKey) and is removed afterwards, as a temporary folder is.
#include "common/platform/windows/Win32RegistryStore.hpp"

#include <gtest/gtest.h>

#include "common/platform/windows/Win32.hpp"

#include <string>

#include "common/VbError.hpp"
#include "common/registry/KelRegistry.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {
namespace {

class Win32RegistryStoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        scratch = L"Software\\Velloran tests\\" + std::to_wstring(GetCurrentProcessId());
        ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, (scratch + L"\\user").c_str(), 0, nullptr, 0,
                                  KEY_ALL_ACCESS, nullptr, &user, nullptr),
                  ERROR_SUCCESS);
        ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, (scratch + L"\\machine").c_str(), 0, nullptr,
                                  0, KEY_ALL_ACCESS, nullptr, &machine, nullptr),
                  ERROR_SUCCESS);
        RegOverridePredefKey(HKEY_CURRENT_USER, user);
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine);
    }
    void TearDown() override {
        RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
        RegCloseKey(user);
        RegCloseKey(machine);
        RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Velloran tests");
    }
    // The value as the system itself reads it.
    std::wstring SystemString(HKEY root, const wchar_t* key, const wchar_t* name) {
        wchar_t buffer[256] = {};
        DWORD size = sizeof buffer;
        if (RegGetValueW(root, key, name, RRF_RT_REG_SZ, nullptr, buffer, &size) != ERROR_SUCCESS)
            return L"<missing>";
        return buffer;
    }
    std::wstring scratch;
    HKEY user = nullptr;
    HKEY machine = nullptr;
    Win32RegistryStore store;
};

TEST_F(Win32RegistryStoreTest, ValuesGoThroughByteForByte) {
    const std::string key = "Software\\Caf\xC3\xA9\\RunMRU";
    EXPECT_FALSE(store.KeyExists(kHKeyCurrentUser, key));
    store.WriteValue(kHKeyCurrentUser, key, "a",
                     RegValue::String("notepad \xE6\x97\xA5\xE6\x9C\xAC"));
    store.WriteValue(kHKeyCurrentUser, key, "MRUList", RegValue::String("a"));
    store.WriteValue(kHKeyCurrentUser, key, "Count", RegValue::Dword(42));
    store.WriteValue(kHKeyCurrentUser, key, "Blob", RegValue::Binary({1, 2, 0, 255}));
    store.WriteValue(kHKeyCurrentUser, key, "List", RegValue::MultiString({"one", "two"}));
    store.WriteValue(kHKeyCurrentUser, key, "", RegValue::String("default"));
    EXPECT_TRUE(store.KeyExists(kHKeyCurrentUser, key));
    EXPECT_TRUE(store.KeyExists(kHKeyCurrentUser, "software\\CAF\xC3\x89")) << "case is ignored";

    // What the system holds is what was written, UTF-16 and all.
    EXPECT_EQ(SystemString(HKEY_CURRENT_USER, L"Software\\Caf\u00E9\\RunMRU", L"a"),
              L"notepad \u65E5\u672C");
    EXPECT_EQ(store.ReadValue(kHKeyCurrentUser, key, "count"), RegValue::Dword(42));
    EXPECT_EQ(store.ReadValue(kHKeyCurrentUser, key, "Blob"), RegValue::Binary({1, 2, 0, 255}));
    EXPECT_EQ(store.ReadValue(kHKeyCurrentUser, key, "List")->AsStrings(),
              (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(store.ReadValue(kHKeyCurrentUser, key, "absent"), std::nullopt);

    std::vector<std::string> names;
    for (const RegValueEntry& e : store.EnumerateValues(kHKeyCurrentUser, key))
        names.push_back(e.name);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"", "Blob", "Count", "List", "MRUList", "a"}));

    // The registry object on top: the default value is "(Default)"; deletions happen at once.
    KelRegistry reg(store);
    reg.RootKey(kHKeyCurrentUser);
    reg.KeyPath("Software\\Caf\xC3\xA9");
    reg.SubKey("RunMRU");
    ASSERT_TRUE(reg.KeyExists());
    bool sawDefault = false;
    for (const auto& [name, data] : reg.EnumerateValues(kHKeyCurrentUser, reg.CurrentKey()))
        sawDefault |= name == "(Default)";
    EXPECT_TRUE(sawDefault);
    EXPECT_TRUE(reg.DeleteValue("a"));
    EXPECT_FALSE(reg.DeleteValue("a"));
    EXPECT_EQ(SystemString(HKEY_CURRENT_USER, L"Software\\Caf\u00E9\\RunMRU", L"a"), L"<missing>");
    EXPECT_EQ(SystemString(HKEY_CURRENT_USER, L"Software\\Caf\u00E9\\RunMRU", L"MRUList"), L"a")
        << "the neighbours stay";
    EXPECT_FALSE(store.IsDirty()) << "nothing waits for a save";
}

TEST_F(Win32RegistryStoreTest, KeysAreListedAndDeletedAsAsked) {
    store.CreateKey(kHKeyCurrentUser, "Software\\App\\Recent\\Sub");
    store.CreateKey(kHKeyCurrentUser, "Software\\App\\Other");
    std::vector<std::string> keys = store.EnumerateKeys(kHKeyCurrentUser, "Software\\App");
    std::sort(keys.begin(), keys.end());
    EXPECT_EQ(keys, (std::vector<std::string>{"Other", "Recent"}));
    EXPECT_TRUE(store.EnumerateValues(kHKeyCurrentUser, "Software\\App\\Other").empty());

    try {
        store.DeleteKey(kHKeyCurrentUser, "Software\\App\\Recent", false);
        FAIL() << "a key with subkeys went without being asked to";
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrPermissionDenied);
    }
    EXPECT_TRUE(store.DeleteKey(kHKeyCurrentUser, "Software\\App\\Recent", true));
    EXPECT_FALSE(store.KeyExists(kHKeyCurrentUser, "Software\\App\\Recent"));
    EXPECT_TRUE(store.KeyExists(kHKeyCurrentUser, "Software\\App\\Other"));
    EXPECT_FALSE(store.DeleteKey(kHKeyCurrentUser, "Software\\App\\Recent", true));

    // A missing key is an error for what works on it, never for the existence test.
    for (auto attempt :
         {+[](Win32RegistryStore& s) { s.EnumerateKeys(kHKeyCurrentUser, "No\\Key"); },
          +[](Win32RegistryStore& s) { s.EnumerateValues(kHKeyCurrentUser, "No\\Key"); },
          +[](Win32RegistryStore& s) { s.ReadValue(kHKeyCurrentUser, "No\\Key", "v"); },
          +[](Win32RegistryStore& s) { s.DeleteValue(kHKeyCurrentUser, "No\\Key", "v"); }}) {
        try {
            attempt(store);
            FAIL() << "a missing key was used";
        } catch (const VbError& e) {
            EXPECT_NE(e.Description().find("Registry key not found: HKEY_CURRENT_USER\\No\\Key"),
                      std::string::npos)
                << e.Description();
        }
    }

    // HKEY_LOCAL_MACHINE is a root of its own.
    store.WriteValue(kHKeyLocalMachine, "SYSTEM\\Memory Management", "clearpagefileatshutdown",
                     RegValue::String("1"));
    EXPECT_FALSE(store.KeyExists(kHKeyCurrentUser, "SYSTEM\\Memory Management"));
    EXPECT_EQ(
        store.ReadValue(kHKeyLocalMachine, "SYSTEM\\Memory Management", "ClearPageFileAtShutdown"),
        RegValue::String("1"));
}

}  // namespace
}  // namespace velloran::test
