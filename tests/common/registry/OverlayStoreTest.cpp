// Changes held in memory over a store that is only read: what a preview sees is
// the registry as a real run would leave it, and the store itself stays as it was.
#include "common/registry/OverlayStore.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include "common/VbError.hpp"
#include "common/registry/RegistryTree.hpp"

namespace velloran {
namespace {

constexpr std::uint32_t kU = kHKeyCurrentUser;

std::vector<std::string> Sorted(std::vector<std::string> v) {
    std::sort(v.begin(), v.end());
    return v;
}

std::vector<std::string> ValueNames(const RegistryStore& s, std::string_view key) {
    std::vector<std::string> names;
    for (const RegValueEntry& e : s.EnumerateValues(kU, key)) names.push_back(e.name);
    return Sorted(names);
}

class OverlayStoreTest : public ::testing::Test {
protected:
    OverlayStoreTest() {
        below.WriteValue(kU, "Software\\App\\RunMRU", "a", RegValue::String("notepad"));
        below.WriteValue(kU, "Software\\App\\RunMRU", "MRUList", RegValue::String("a"));
        below.WriteValue(kU, "Software\\App\\Recent\\Docs", "0", RegValue::Binary({1}));
        below.WriteValue(kU, "Software\\App", "Keep", RegValue::Dword(7));
        below.Save();
        before = Snapshot();
    }
    // The store's values of the list, as text.
    std::vector<std::string> Snapshot() const {
        std::vector<std::string> out;
        for (const RegValueEntry& e : below.EnumerateValues(kU, "Software\\App\\RunMRU"))
            out.push_back(e.name + "=" + e.value.AsString());
        return out;
    }
    MemoryStore below;
    std::vector<std::string> before;
};

TEST_F(OverlayStoreTest, ValuesChangeInTheOverlayOnly) {
    OverlayStore overlay(below);
    EXPECT_TRUE(overlay.DeleteValue(kU, "SOFTWARE\\app\\runmru", "A")) << "names ignore case";
    EXPECT_FALSE(overlay.DeleteValue(kU, "Software\\App\\RunMRU", "a")) << "gone already";
    overlay.WriteValue(kU, "Software\\App\\RunMRU", "MRUList", RegValue::String(""));
    overlay.WriteValue(kU, "Software\\App\\RunMRU", "b", RegValue::String("cmd"));
    EXPECT_EQ(ValueNames(overlay, "Software\\App\\RunMRU"),
              (std::vector<std::string>{"MRUList", "b"}));
    EXPECT_EQ(overlay.ReadValue(kU, "Software\\App\\RunMRU", "mrulist"), RegValue::String(""));
    EXPECT_EQ(overlay.ReadValue(kU, "Software\\App\\RunMRU", "a"), std::nullopt);
    EXPECT_EQ(overlay.ReadValue(kU, "Software\\App", "Keep"), RegValue::Dword(7));

    // A new key, with its parents, exists only in the overlay.
    overlay.WriteValue(kU, "Software\\New\\Deep", "v", RegValue::Dword(1));
    EXPECT_TRUE(overlay.KeyExists(kU, "software\\new"));
    EXPECT_EQ(Sorted(overlay.EnumerateKeys(kU, "Software")),
              (std::vector<std::string>{"App", "New"}));

    EXPECT_EQ(Snapshot(), before);
    EXPECT_FALSE(below.KeyExists(kU, "Software\\New"));
    EXPECT_FALSE(below.IsDirty());
    overlay.Save();
    EXPECT_FALSE(below.KeyExists(kU, "Software\\New")) << "saving keeps the changes in memory";
}

TEST_F(OverlayStoreTest, DeletedKeysHideWhatWasBelowThemEvenWhenMadeAgain) {
    OverlayStore overlay(below);
    try {
        overlay.DeleteKey(kU, "Software\\App\\Recent", false);
        FAIL() << "a key with subkeys went without being asked to";
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrPermissionDenied);
    }
    overlay.WriteValue(kU, "Software\\App\\Recent\\Docs", "1", RegValue::Binary({2}));
    EXPECT_TRUE(overlay.DeleteKey(kU, "Software\\App\\Recent", true));
    EXPECT_FALSE(overlay.DeleteKey(kU, "Software\\App\\Recent", true));
    EXPECT_FALSE(overlay.KeyExists(kU, "Software\\App\\Recent\\Docs"));
    EXPECT_EQ(overlay.EnumerateKeys(kU, "Software\\App"), std::vector<std::string>{"RunMRU"});
    try {
        overlay.EnumerateValues(kU, "Software\\App\\Recent\\Docs");
        FAIL() << "a deleted key was listed";
    } catch (const VbError& e) {
        EXPECT_EQ(e.Description(),
                  "Registry key not found: HKEY_CURRENT_USER\\Software\\App\\Recent\\Docs");
    }

    // Made again after the deletion: empty, with none of its old values or subkeys.
    overlay.CreateKey(kU, "Software\\App\\Recent\\Other");
    EXPECT_EQ(overlay.EnumerateKeys(kU, "Software\\App\\Recent"),
              std::vector<std::string>{"Other"});
    EXPECT_FALSE(overlay.KeyExists(kU, "Software\\App\\Recent\\Docs"));
    EXPECT_TRUE(overlay.EnumerateValues(kU, "Software\\App\\Recent").empty());

    EXPECT_TRUE(below.KeyExists(kU, "Software\\App\\Recent\\Docs"));
    EXPECT_EQ(below.EnumerateKeys(kU, "Software\\App\\Recent"), std::vector<std::string>{"Docs"});
    EXPECT_THROW(overlay.DeleteKey(kU, "", true), VbError) << "a root is never deleted";
}

}  // namespace
}  // namespace velloran
