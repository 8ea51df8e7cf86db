// KelRegistry over the memory store and over real Wine files: the calling pattern
// of the cleaning tasks and the settings, data conversions, links.
#include "common/registry/KelRegistry.hpp"

#include <gtest/gtest.h>

#include "common/Vb.hpp"
#include "common/VbError.hpp"
#include "common/registry/RegTestUtil.hpp"
#include "common/registry/RegistryTree.hpp"
#include "common/registry/WinePrefixStore.hpp"

namespace velloran {
namespace {

using regtest::DataFile;
using regtest::ReadBytes;
using regtest::ScratchDir;
using regtest::WriteBytes;

const std::string kExplorer = "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer";

template <class F>
int ErrorNumber(F&& f) {
    try {
        f();
    } catch (const VbError& e) {
        return e.Number();
    }
    return 0;
}

TEST(KelRegistry, ListProcedureClearsValuesButKeepsTheKey) {
    MemoryStore store;
    store.WriteValue(kHKeyCurrentUser, kExplorer + "\\RunMRU", "", RegValue::String("ignored"));
    store.WriteValue(kHKeyCurrentUser, kExplorer + "\\RunMRU", "a", RegValue::String("cmd\\1"));
    store.WriteValue(kHKeyCurrentUser, kExplorer + "\\RunMRU", "MRUList", RegValue::String("a"));
    store.WriteValue(kHKeyCurrentUser, kExplorer + "\\RunMRU\\Sub", "x", RegValue::Dword(1));

    KelRegistry reg(store);
    reg.RootKey(kHKeyCurrentUser);
    reg.KeyPath(kExplorer);
    reg.SubKey("RunMRU");
    ASSERT_TRUE(reg.KeyExists());
    auto values = reg.EnumerateValues(reg.RootKey(), reg.KeyPath() + "\\" + reg.SubKey());
    ASSERT_EQ(values.size(), 3u);
    EXPECT_EQ(values[0].first, "(Default)");
    EXPECT_EQ(values[0].second, RegData("ignored"));
    int deleted = 0;
    for (const auto& [name, data] : values)
        if (name != "(Default)") deleted += reg.DeleteValue(name);
    EXPECT_EQ(deleted, 2);
    EXPECT_TRUE(reg.KeyExists());
    values = reg.EnumerateValues(kHKeyCurrentUser, kExplorer + "\\runmru");
    ASSERT_EQ(values.size(), 1u);
    EXPECT_EQ(values[0].first, "(Default)");
    // Subkeys are not touched by clearing values.
    EXPECT_EQ(reg.EnumerateKeys(kHKeyCurrentUser, kExplorer + "\\RunMRU"),
              std::vector<std::string>{"Sub"});

    // Missing key: no error for the existence test, an error for the enumeration.
    reg.SubKey("StreamMRU");
    EXPECT_FALSE(reg.KeyExists());
    EXPECT_EQ(
        ErrorNumber([&] { reg.EnumerateValues(kHKeyCurrentUser, kExplorer + "\\StreamMRU"); }),
        vbErrInvalidCall);
    EXPECT_EQ(ErrorNumber([&] { reg.DeleteValue("a"); }), vbErrInvalidCall);
    // A key without values enumerates as an empty list.
    store.CreateKey(kHKeyCurrentUser, kExplorer + "\\StreamMRU");
    EXPECT_TRUE(reg.EnumerateValues(kHKeyCurrentUser, kExplorer + "\\StreamMRU").empty());
    EXPECT_FALSE(reg.DeleteValue("not there"));
    reg.RootKey(0x80000005u);
    EXPECT_EQ(ErrorNumber([&] { reg.KeyExists(); }), vbErrInvalidCall);
}

TEST(KelRegistry, SubkeyProcedureDeletesWholeSubkeys) {
    MemoryStore store;
    const std::string list = kExplorer + "\\ComDlg32\\OpenSaveMRU";
    store.WriteValue(kHKeyCurrentUser, list + "\\txt", "a", RegValue::String("x.txt"));
    store.WriteValue(kHKeyCurrentUser, list + "\\doc", "a", RegValue::String("y.doc"));
    store.WriteValue(kHKeyCurrentUser, list + "\\*\\deeper", "a", RegValue::String("z"));

    KelRegistry reg(store);
    reg.KeyPath(list);
    auto names = reg.EnumerateKeys(kHKeyCurrentUser, list);
    EXPECT_EQ(names, (std::vector<std::string>{"*", "doc", "txt"}));
    for (const auto& n : names) EXPECT_TRUE(reg.DeleteKey(n));
    EXPECT_TRUE(reg.EnumerateKeys(kHKeyCurrentUser, list).empty());
    EXPECT_FALSE(reg.DeleteKey("txt"));
    EXPECT_TRUE(store.KeyExists(kHKeyCurrentUser, list));

    // The store itself refuses a non-recursive delete of a key with subkeys.
    store.CreateKey(kHKeyCurrentUser, list + "\\a\\b");
    EXPECT_EQ(ErrorNumber([&] { store.DeleteKey(kHKeyCurrentUser, list + "\\a", false); }),
              vbErrPermissionDenied);
    EXPECT_TRUE(store.KeyExists(kHKeyCurrentUser, list + "\\a\\b"));
    EXPECT_EQ(ErrorNumber([&] { store.DeleteKey(kHKeyCurrentUser, "", true); }),
              vbErrPermissionDenied);
}

TEST(KelRegistry, SettingsRoundTripThroughTheCurrentKey) {
    MemoryStore store;
    KelRegistry reg(store);
    reg.RootKey(kHKeyCurrentUser);
    reg.KeyPath("Software\\Velloran");
    reg.SubKey("settings");
    EXPECT_FALSE(reg.KeyExists());
    // Reading with a default works without the key.
    EXPECT_EQ(reg.ReadValue("set1", RegData("0")).ToInt16(), 0);
    EXPECT_EQ(ErrorNumber([&] { reg.ReadValue("set1"); }), vbErrInvalidCall);
    reg.CreateKey();
    EXPECT_TRUE(reg.KeyExists());
    EXPECT_TRUE(store.KeyExists(kHKeyCurrentUser, "SOFTWARE\\VELLORAN\\SETTINGS"));

    reg.WriteValue("set1", std::int16_t{1}, kRegSz);
    reg.WriteValue("set3", 2, kRegDword);
    reg.WriteValue("set5", Int16(0), kRegSz);  // the settings' own 16-bit type
    EXPECT_EQ(reg.ReadValue("set1", RegData("0")).ToInt16(), 1);
    EXPECT_EQ(reg.ReadValue("SET3", RegData("0")).ToInt16(), 2);
    EXPECT_EQ(reg.ReadValue("set5").ToInt16(), 0);
    EXPECT_EQ(reg.ReadValue("set6", RegData("0")).ToInt16(), 0);
    EXPECT_EQ(ErrorNumber([&] { reg.ReadValue("set6"); }), vbErrInvalidCall);
    // Type 1 with a number stores the number's text as a string value.
    EXPECT_EQ(store.ReadValue(kHKeyCurrentUser, "Software\\Velloran\\settings", "set1"),
              RegValue::String("1"));
    EXPECT_EQ(store.ReadValue(kHKeyCurrentUser, "Software\\Velloran\\settings", "set3"),
              RegValue::Dword(2));

    // Names keep their first spelling; a later write in other case replaces the data.
    reg.KeyPath("SOFTWARE\\Microsoft\\Windows\\CurrentVersion");
    reg.SubKey("Run");
    reg.WriteValue("Velloran", "/opt/velloran -delstart", kRegSz);
    reg.WriteValue("VELLORAN", "/usr/bin/velloran -delstart", kRegSz);
    auto values = reg.EnumerateValues(kHKeyCurrentUser, reg.CurrentKey());
    ASSERT_EQ(values.size(), 1u);
    EXPECT_EQ(values[0].first, "Velloran");
    EXPECT_EQ(values[0].second.ToString(), "/usr/bin/velloran -delstart");
    EXPECT_EQ(store.EnumerateKeys(kHKeyCurrentUser, ""), std::vector<std::string>{"Software"});

    // Page-file flag: type 1 even where the value is normally a number.
    reg.RootKey(kHKeyLocalMachine);
    reg.KeyPath("SYSTEM\\CurrentControlSet\\Control\\Session Manager");
    reg.SubKey("Memory Management");
    reg.WriteValue("clearpagefileatshutdown", "1", kRegSz);
    EXPECT_EQ(reg.ReadValue("ClearPageFileAtShutdown").ToString(), "1");
    EXPECT_TRUE(store.IsDirty());
    store.Save();
    EXPECT_FALSE(store.IsDirty());
}

TEST(KelRegistry, DataConvertsLikeVisualBasic) {
    EXPECT_EQ(RegData(" 12 ").ToInt16(), 12);
    EXPECT_EQ(RegData("-32768").ToInt16(), -32768);
    EXPECT_EQ(RegData("2.5").ToInt16(), 2);  // half to even
    EXPECT_EQ(RegData("3.5").ToInt16(), 4);
    EXPECT_EQ(RegData("&HFFFF").ToInt16(), -1);
    EXPECT_EQ(RegData().ToInt16(), 0);
    EXPECT_EQ(RegData(std::int32_t{7}).ToString(), "7");
    EXPECT_EQ(RegData(std::int64_t{-5}).ToString(), "-5");
    EXPECT_EQ(ErrorNumber([] { RegData("abc").ToInt16(); }), vbErrTypeMismatch);
    EXPECT_EQ(ErrorNumber([] { RegData("").ToInt16(); }), vbErrTypeMismatch);
    EXPECT_EQ(ErrorNumber([] { RegData("32768").ToInt16(); }), vbErrOverflow);
    EXPECT_EQ(ErrorNumber([] { RegData(std::int32_t{40000}).ToInt16(); }), vbErrOverflow);
    EXPECT_EQ(ErrorNumber([] { RegData(RegData::Strings{"a"}).ToString(); }), vbErrTypeMismatch);

    // Stored values as callers see them, and back.
    EXPECT_EQ(RegData::FromValue(RegValue::Dword(0xFFFFFFFFu)), RegData(std::int32_t{-1}));
    EXPECT_EQ(RegData::FromValue(RegValue::Qword(1ULL << 40)), RegData(std::int64_t{1} << 40));
    EXPECT_EQ(RegData::FromValue(RegValue::MultiString({"a", "b"})),
              RegData(RegData::Strings{"a", "b"}));
    EXPECT_EQ(RegData::FromValue(RegValue::String("x\xC3\xA9", kRegExpandSz)),
              RegData("x\xC3\xA9"));
    // A DWORD of the wrong size is handed over as its bytes.
    EXPECT_EQ(RegData::FromValue(RegValue::Binary({1, 2}, kRegDword)), RegData(RegBytes{1, 2}));
    // Strings stop at their first NUL, as the API hands them over.
    RegValue embedded = RegValue::String("ab");
    embedded.data.insert(embedded.data.begin() + 2, {0, 0});
    EXPECT_EQ(RegData::FromValue(embedded).ToString(), "a");

    EXPECT_EQ(RegData("42").ToValue(kRegDword), RegValue::Dword(42));
    EXPECT_EQ(RegData(std::int32_t{-1}).ToValue(kRegDword), RegValue::Dword(0xFFFFFFFFu));
    EXPECT_EQ(RegData("one").ToValue(kRegMultiSz), RegValue::MultiString({"one"}));
    EXPECT_EQ(RegData(RegBytes{9, 8}).ToValue(kRegBinary), RegValue::Binary({9, 8}));
    EXPECT_EQ(ErrorNumber([] { RegData("x").ToValue(kRegDword); }), vbErrTypeMismatch);
}

TEST(KelRegistry, LinkKeysAreOpenedThroughLikeWineDoes) {
    ScratchDir dir;
    WriteBytes(dir / "system.reg", ReadBytes(DataFile("wine8-system-fragment.reg")));
    WinePrefixStore store(dir.Path());
    KelRegistry reg(store);
    const std::string link = "Software\\Microsoft\\Windows\\CurrentVersion\\Time Zones";
    const std::string target = "Software\\Microsoft\\Windows NT\\CurrentVersion\\Time Zones";

    auto viaLink = reg.EnumerateKeys(kHKeyLocalMachine, link);
    EXPECT_EQ(viaLink, reg.EnumerateKeys(kHKeyLocalMachine, target));
    EXPECT_NE(std::find(viaLink.begin(), viaLink.end(), "UTC"), viaLink.end());
    reg.RootKey(kHKeyLocalMachine);
    reg.KeyPath(link);
    reg.SubKey("UTC");
    EXPECT_TRUE(reg.KeyExists());
    EXPECT_EQ(reg.ReadValue("Std").ToString(),
              store.ReadValue(kHKeyLocalMachine, target + "\\UTC", "Std")->AsString());
    // A link whose target is missing opens nothing.
    EXPECT_FALSE(store.KeyExists(kHKeyLocalMachine, "Software\\Classes\\Wow6432Node\\AppId"));

    // Writes through the link land in the target; the link itself is unchanged.
    reg.WriteValue("Probe", "through", kRegSz);
    EXPECT_EQ(store.ReadValue(kHKeyLocalMachine, target + "\\UTC", "Probe"),
              RegValue::String("through"));
    store.Save();
    const std::string saved = ReadBytes(dir / "system.reg");
    const std::string original = ReadBytes(DataFile("wine8-system-fragment.reg"));
    EXPECT_EQ(regtest::Section(
                  saved, "[Software\\\\Microsoft\\\\Windows\\\\CurrentVersion\\\\Time Zones]"),
              regtest::Section(
                  original, "[Software\\\\Microsoft\\\\Windows\\\\CurrentVersion\\\\Time Zones]"));

    // Deleting a link removes the link, never what it points to.
    reg.KeyPath("Software\\Microsoft\\Windows\\CurrentVersion");
    EXPECT_TRUE(reg.DeleteKey("Time Zones"));
    EXPECT_FALSE(store.KeyExists(kHKeyLocalMachine, link));
    EXPECT_TRUE(store.KeyExists(kHKeyLocalMachine, target + "\\UTC"));
}

}  // namespace
}  // namespace velloran
