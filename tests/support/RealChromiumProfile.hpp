#pragma once
// The Chromium profile that the real browser made (tests/data/chromium/real-profile,
// see make-real-profile.py), put where a browser row keeps its profiles: the
// databases built from their SQL text, the other files copied.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>

#include <string>
#include "common/platform/Paths.hpp"

#include "support/TestProcess.hpp"

namespace velloran::test {

inline std::filesystem::path RealChromiumProfileData() {
    return std::filesystem::path(VELLORAN_TEST_DATADIR) / "chromium" / "real-profile";
}

// Copies `from` into `to`, making a database of each "<name>.sql".
inline void CopyRealProfileTree(const std::filesystem::path& from,
                                const std::filesystem::path& to) {
    namespace fs = std::filesystem;
    for (const fs::directory_entry& e : fs::recursive_directory_iterator(from)) {
        const fs::path rel = e.path().lexically_relative(from);
        if (e.is_directory()) {
            fs::create_directories(to / rel);
            continue;
        }
        fs::create_directories((to / rel).parent_path());
        if (rel.extension() != ".sql") {
            fs::copy_file(e.path(), to / rel, fs::copy_options::overwrite_existing);
            continue;
        }
        const fs::path db = to / rel.parent_path() / rel.stem();
        fs::remove(db);
        sqlite3* handle = nullptr;
        ASSERT_EQ(sqlite3_open(Utf8FromPath(db).c_str(), &handle), SQLITE_OK);
        char* error = nullptr;
        const int rc = sqlite3_exec(handle, ("PRAGMA synchronous=OFF;" + ReadAll(e.path())).c_str(),
                                    nullptr, nullptr, &error);
        EXPECT_EQ(rc, SQLITE_OK) << db << ": " << (error ? error : "");
        sqlite3_free(error);
        sqlite3_close(handle);
    }
}

// The profile `Default` in `userData` (with `Local State`), its disk caches in
// `cache`, or inside the profile when `cache` is empty (the Windows layout).
inline void MakeRealChromiumProfile(const std::filesystem::path& userData,
                                    const std::filesystem::path& cache) {
    CopyRealProfileTree(RealChromiumProfileData() / "config", userData);
    CopyRealProfileTree(RealChromiumProfileData() / "cache", cache.empty() ? userData : cache);
}

}  // namespace velloran::test
