// Reads every source file under src/ and checks that includes only point down
// the layers, that the core stays free of Qt and that each system's headers stay
// in its platform folder. docs/ARCHITECTURE.md draws the layers.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct Include {
    std::string file;    // relative to src/, forward slashes
    std::string target;  // as written between the brackets or quotes
    bool angled;
};

// Folders each layer must not reach into. A folder's rule covers everything
// below it unless a longer prefix has its own row.
struct LayerRule {
    const char* layer;
    std::vector<const char*> forbidden;
};

const std::vector<LayerRule> kLayerRules = {
    {"common/", {"app/", "cleaning/", "about/", "traces/", "tools/", "qt/", "cli/", "win32/"}},
    {"traces/", {"app/", "cleaning/", "about/", "qt/", "cli/", "win32/"}},
    {"tools/", {"app/", "cleaning/", "about/", "qt/", "cli/", "win32/"}},
    {"cleaning/", {"app/", "about/", "qt/", "cli/", "win32/"}},
    {"app/", {"qt/", "cli/", "win32/"}},
    {"about/", {"qt/", "cli/", "win32/"}},
    {"qt/", {"cli/", "win32/"}},
    {"cli/", {"qt/", "win32/"}},
    {"win32/", {"qt/", "cli/"}},
};

const char* const kLinuxDir = "common/platform/linux/";
const char* const kWindowsDir = "common/platform/windows/";

// Operating-system and desktop headers; each platform folder wraps its own.
const std::regex kSystemHeader(
    R"(^(unistd|fcntl|dirent|pwd|grp|spawn|poll|termios|dlfcn|mntent|glob|fnmatch)\.h$)"
    R"(|^(sys|linux|xcb|X11|systemd|dbus)/)");
const std::regex kWindowsHeader(
    R"(^(windows|win[a-z0-9]*|shlobj|shellapi|shlwapi|lmcons|objbase|ole2|commctrl|knownfolders)"
    R"(|shobjidl|commdlg|uxtheme|bcrypt|ntstatus|tlhelp32|psapi|io|direct|process)\.h$)",
    std::regex::icase);

const std::regex kQtHeader(R"(^(Q[A-Z]\w*|Qt\w*/.*|qt\w*/.*|Qt\w+)$)");

fs::path SourceRoot() {
    return fs::path(VELLORAN_TEST_DATADIR).parent_path().parent_path() / "src";
}

bool StartsWith(const std::string& s, const char* prefix) { return s.rfind(prefix, 0) == 0; }

bool IsSource(const fs::path& p) {
    const auto ext = p.extension().string();
    return ext == ".cpp" || ext == ".hpp" || ext == ".h";
}

std::vector<Include> ScanIncludes(const fs::path& root) {
    static const std::regex kLine(R"(^\s*#\s*include\s*([<"])([^>"]+)[>"])");
    std::vector<Include> out;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        if (!entry.is_regular_file() || !IsSource(entry.path())) continue;
        const std::string rel = entry.path().lexically_relative(root).generic_string();
        std::ifstream in(entry.path());
        std::string line;
        std::smatch m;
        while (std::getline(in, line))
            if (std::regex_search(line, m, kLine))
                out.push_back({rel, m[2].str(), m[1].str() == "<"});
    }
    return out;
}

bool IsFrontEnd(const std::string& file) {
    return StartsWith(file, "qt/") || StartsWith(file, "cli/") || StartsWith(file, "win32/");
}

// Why an include breaks the layers, or empty when it is fine.
std::string Violation(const Include& inc) {
    if (inc.angled) {
        if (!StartsWith(inc.file, kLinuxDir) && std::regex_search(inc.target, kSystemHeader))
            return "system header outside " + std::string(kLinuxDir);
        // The Win32 front end draws its windows with the system's own headers.
        if (!StartsWith(inc.file, kWindowsDir) && !StartsWith(inc.file, "win32/") &&
            std::regex_match(inc.target, kWindowsHeader))
            return "Windows header outside " + std::string(kWindowsDir) + " and win32/";
        if (!StartsWith(inc.file, "qt/") && std::regex_match(inc.target, kQtHeader))
            return "Qt header outside qt/";
        return {};
    }
    // Only the front ends pick a platform; the rest sees Platform.hpp and the free
    // functions beside it.
    for (const char* dir : {kLinuxDir, kWindowsDir})
        if (StartsWith(inc.target, dir) && !StartsWith(inc.file, dir) && !IsFrontEnd(inc.file))
            return "reaches past the platform interface";
    for (const auto& rule : kLayerRules) {
        if (!StartsWith(inc.file, rule.layer)) continue;
        for (const char* dir : rule.forbidden)
            if (StartsWith(inc.target, dir)) return std::string(rule.layer) + " includes " + dir;
    }
    return {};
}

TEST(LayersTest, IncludesPointDownAndSystemHeadersStayInThePlatform) {
    const fs::path root = SourceRoot();
    ASSERT_TRUE(fs::is_directory(root / "common/platform/linux")) << root;
    ASSERT_TRUE(fs::is_directory(root / "common/platform/windows")) << root;
    const auto includes = ScanIncludes(root);
    ASSERT_GT(includes.size(), 100u) << "the scan found almost nothing under " << root;

    for (const auto& inc : includes) {
        const std::string why = Violation(inc);
        EXPECT_TRUE(why.empty()) << inc.file << " includes " << inc.target << ": " << why;
    }
}

// The classifier itself, on includes that do not exist in the tree today.
TEST(LayersTest, ClassifierCatchesEachKindOfWrongInclude) {
    EXPECT_NE(Violation({"common/Vb.hpp", "QString", true}), "");
    EXPECT_NE(Violation({"app/FrmMain.cpp", "QtCore/QObject", true}), "");
    EXPECT_NE(Violation({"cleaning/ClsClean.cpp", "qt/MainView.hpp", false}), "");
    EXPECT_NE(Violation({"traces/Worker.cpp", "cleaning/ClsClean.hpp", false}), "");
    EXPECT_NE(Violation({"cleaning/ClsClean.cpp", "app/FrmMain.hpp", false}), "");
    EXPECT_NE(Violation({"traces/windows/ClsWindows.cpp", "app/Application.hpp", false}), "");
    EXPECT_NE(Violation({"tools/junk/JunkSearch.cpp", "unistd.h", true}), "");
    EXPECT_NE(Violation({"common/registry/KelRegistry.cpp", "traces/Worker.hpp", false}), "");
    EXPECT_NE(Violation({"tools/eradicator/SecureDeleter.cpp", "unistd.h", true}), "");
    EXPECT_NE(Violation({"common/controls/Form.cpp", "sys/stat.h", true}), "");
    EXPECT_NE(Violation({"qt/MainView.cpp", "linux/magic.h", true}), "");
    EXPECT_NE(Violation({"cli/main.cpp", "qt/QtHost.hpp", false}), "");
    EXPECT_NE(Violation({"qt/MainView.cpp", "win32/MainView.hpp", false}), "");
    EXPECT_NE(Violation({"win32/MainView.cpp", "qt/Mirror.hpp", false}), "");
    EXPECT_NE(Violation({"app/FrmMain.cpp", "win32/Win32Host.hpp", false}), "");
    EXPECT_NE(Violation({"qt/QtHost.cpp", "commctrl.h", true}), "");
    EXPECT_NE(Violation({"cleaning/Preview.cpp", "common/platform/linux/Trash.hpp", false}), "");
    EXPECT_NE(Violation({"common/registry/KelRegistry.cpp", "windows.h", true}), "");
    EXPECT_NE(Violation({"common/platform/linux/Trash.cpp", "shlobj.h", true}), "");
    EXPECT_NE(Violation({"common/platform/windows/WindowsFiles.cpp", "unistd.h", true}), "");
    EXPECT_NE(Violation({"app/StartupDelete.cpp", "common/platform/windows/Win32.hpp", false}), "");
    EXPECT_NE(
        Violation({"common/platform/linux/Target.cpp", "common/platform/windows/Win32.hpp", false}),
        "");

    EXPECT_EQ(Violation({"common/platform/linux/FileOps.cpp", "unistd.h", true}), "");
    EXPECT_EQ(Violation({"common/platform/windows/Overwrite.cpp", "WinIoCtl.h", true}), "");
    EXPECT_EQ(
        Violation({"common/platform/windows/Win32.hpp", "common/platform/Platform.hpp", false}),
        "");
    EXPECT_EQ(Violation({"qt/MainView.cpp", "QWidget", true}), "");
    EXPECT_EQ(Violation({"win32/View.cpp", "commctrl.h", true}), "");
    EXPECT_EQ(Violation({"win32/Gui.hpp", "common/platform/windows/Win32.hpp", false}), "");
    EXPECT_EQ(Violation({"cli/main.cpp", "common/platform/linux/LinuxPlatform.hpp", false}), "");
    EXPECT_EQ(Violation({"app/FrmMain.cpp", "cleaning/ClsClean.hpp", false}), "");
    EXPECT_EQ(Violation({"app/FrmJunk.cpp", "tools/eradicator/SecureDeleter.hpp", false}), "");
    EXPECT_EQ(Violation({"traces/Worker.cpp", "common/registry/KelRegistry.hpp", false}), "");
    EXPECT_EQ(Violation({"common/Vb.hpp", "string", true}), "");
    EXPECT_EQ(Violation({"common/Vb.hpp", "cstdint", true}), "");
}

// The tests keep Windows' headers in folders named windows/ too (the Windows
// platform's tests and tests/support/windows/, the system calls they share), so
// that the Linux build never meets one.
TEST(LayersTest, WindowsHeadersInTestsStayInWindowsFolders) {
    const fs::path tests = fs::path(VELLORAN_TEST_DATADIR).parent_path();
    for (const auto& inc : ScanIncludes(tests)) {
        if (!inc.angled || !std::regex_match(inc.target, kWindowsHeader)) continue;
        EXPECT_TRUE(("/" + inc.file).find("/windows/") != std::string::npos ||
                    ("/" + inc.file).find("/win32/") != std::string::npos)
            << inc.file << " includes " << inc.target;
    }
}

}  // namespace
