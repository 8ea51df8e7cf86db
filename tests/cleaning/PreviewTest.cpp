// The recording layers a preview runs on.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "cleaning/Preview.hpp"
#include "common/registry/RegistryTree.hpp"
#include "support/FakePlatform.hpp"

namespace velloran::test {

namespace fs = std::filesystem;

TEST(Preview, CountsWhatARunWouldRemoveAndChangesNothing) {
    MemoryStore inner;
    inner.WriteValue(kHKeyCurrentUser, "Software\\A", "", RegValue::String("default"));
    inner.WriteValue(kHKeyCurrentUser, "Software\\A", "x", RegValue::String("1"));
    inner.WriteValue(kHKeyCurrentUser, "Software\\A\\B", "y", RegValue::String("2"));
    inner.WriteValue(kHKeyCurrentUser, "Software\\A\\B\\C", "z", RegValue::String("3"));
    PreviewSummary summary;
    PreviewStore store(inner, summary);
    EXPECT_TRUE(store.DeleteValue(kHKeyCurrentUser, "Software\\A", "x"));
    EXPECT_FALSE(store.DeleteValue(kHKeyCurrentUser, "Software\\A", "x"));
    EXPECT_TRUE(store.DeleteKey(kHKeyCurrentUser, "Software\\A\\B", true));
    store.Save();
    EXPECT_EQ(summary.registryValues, 3);
    EXPECT_EQ(summary.registryKeys, 2);

    FakePlatform real;
    PreviewPlatform platform(real, summary);
    platform.EmptyRecycleBin(7);
    platform.ClearRecentDocs();
    platform.EmptyClipboard();
    EXPECT_TRUE(real.calls.empty()) << "nothing reaches the real platform";
    EXPECT_EQ(summary.files, 5);
    EXPECT_EQ(summary.bytes, 320);
    EXPECT_EQ(summary.Text(),
              "Preview: nothing was changed. A real run would remove 3 registry value(s) and 2 "
              "registry key(s), 5 file(s) (320 bytes), and empty the clipboard.");
}

}  // namespace velloran::test
