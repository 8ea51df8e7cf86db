#pragma once
// A Firefox ESR profile in a test home, made of the Gecko fixture databases.
#include <filesystem>
#include <fstream>
#include <initializer_list>

namespace velloran::test {

// Copies the fixture databases `databases` (e.g. "cookies.sqlite") into
// HOME/.mozilla/firefox/abc.default-esr, lists it in profiles.ini and returns it.
inline std::filesystem::path MakeFirefoxProfile(const std::filesystem::path& home,
                                                std::initializer_list<const char*> databases) {
    namespace fs = std::filesystem;
    const fs::path profile = home / ".mozilla/firefox/abc.default-esr";
    fs::create_directories(profile);
    for (const char* db : databases)
        fs::copy_file(fs::path(VELLORAN_TEST_DATADIR) / "browsers/gecko" / db, profile / db);
    std::ofstream(home / ".mozilla/firefox/profiles.ini")
        << "[Profile0]\nName=default-esr\nIsRelative=1\nPath=abc.default-esr\n";
    return profile;
}

}  // namespace velloran::test
