// 'velloran-cli junk' as a user runs it, on a real folder.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <stdlib.h>
#include <sys/wait.h>
#include "cli/CliProcess.hpp"
#include "support/TempDir.hpp"
#include "support/TestProcess.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

namespace fs = std::filesystem;

using velloran::test::CliResult;

class JunkCommandTest : public ::testing::Test {
protected:
    void SetUp() override {
        root = velloran::test::MakeTempDir("velloran-junkcli");
        tree = root / "tree";
        Write(tree / "a.tmp", 3);
        Write(tree / "odd" / "line\nbreak\\back.tmp", 5);
        Write(tree / "keep.txt", 7);
        env = "HOME='" + (root / "home").string() + "' XDG_CONFIG_HOME='" +
              (root / "config").string() + "' XDG_DATA_HOME='" + (root / "data").string() +
              "' XDG_STATE_HOME='" + (root / "state").string() + "' WINEPREFIX=";
    }
    void TearDown() override { fs::remove_all(root); }

    static void Write(const fs::path& p, std::size_t size) {
        fs::create_directories(p.parent_path());
        std::ofstream(p, std::ios::binary) << std::string(size, 'x');
    }
    CliResult Cli(const std::string& args) const { return velloran::test::RunCli(env, args); }
    // Output lines, the per-file ones sorted (the walk's order is not fixed).
    static std::vector<std::string> Lines(const std::string& out, std::size_t sortedCount) {
        std::vector<std::string> lines;
        std::istringstream in(out);
        for (std::string l; std::getline(in, l);) lines.push_back(l);
        std::sort(lines.begin(),
                  lines.begin() + static_cast<long>(std::min(sortedCount, lines.size())));
        return lines;
    }

    fs::path root, tree;
    std::string env;
};

TEST_F(JunkCommandTest, ScanPrintsSizeAndEscapedPathPerFileThenTheSummary) {
    const CliResult r =
        Cli("junk scan --drive '" + tree.string() + "' --filter '*.tmp;Temporary;temp'");
    ASSERT_EQ(r.code, 0) << r.out;
    const std::vector<std::string> expected = {
        "3\t" + (tree / "a.tmp").string(),
        "5\t" + (tree / "odd").string() + "/line\\nbreak\\\\back.tmp",
        "[64] Garbage Scanning completed successfully!",
        std::string(55, '-'),
        "2 Junk Files Found.",
        "You will save: 8 Bytes"};
    EXPECT_EQ(Lines(r.out, 2), expected);
    EXPECT_TRUE(fs::exists(tree / "a.tmp"));

    // Without --filter the shipped filters apply: *.tmp is one of them, keep.txt is not.
    const CliResult all = Cli("junk scan --drive '" + tree.string() + "'");
    EXPECT_EQ(all.code, 0);
    EXPECT_NE(all.out.find("3\t" + (tree / "a.tmp").string() + "\n"), std::string::npos);
    EXPECT_EQ(all.out.find("keep.txt"), std::string::npos);

    // --json: the files alone on standard output, as one JSON array.
    const CliResult json =
        Cli("junk scan --json --drive '" + tree.string() + "' --filter '*.tmp;Temporary;temp'");
    EXPECT_EQ(json.code, 0);
    EXPECT_EQ(velloran::test::ParseJson(json.out), "ok") << json.out;
    EXPECT_NE(json.out.find("\"path\":\"" + (tree / "odd").string() +
                            "/line\\nbreak\\\\back.tmp\",\"size\":5"),
              std::string::npos)
        << json.out;
    EXPECT_EQ(json.out.find("[64]"), std::string::npos) << "messages go to standard error";
    EXPECT_EQ(Cli("junk delete --json --drive '" + tree.string() + "'").code, 2);

    EXPECT_EQ(Cli("junk scan --drive '" + (root / "missing").string() + "'").code, 2);
    EXPECT_EQ(Cli("junk").code, 2);
    EXPECT_EQ(Cli("junk scan --bogus").code, 2);
}

TEST_F(JunkCommandTest, DeleteRemovesWhatTheScanFoundTheWayTheSettingsSay) {
    ASSERT_EQ(Cli("settings set1=1").code, 0);  // to the trash
    const CliResult r =
        Cli("junk delete --drive '" + tree.string() + "' --filter '*.tmp;Temporary;temp'");
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("deleted\t" + (tree / "a.tmp").string() + "\n"), std::string::npos);
    EXPECT_NE(r.out.find("[64] Selected Task(s) Completed Successfully!\n"), std::string::npos);
    EXPECT_FALSE(fs::exists(tree / "a.tmp"));
    EXPECT_FALSE(fs::exists(tree / "odd" / "line\nbreak\\back.tmp"));
    EXPECT_TRUE(fs::exists(tree / "keep.txt"));
    EXPECT_TRUE(fs::exists(root / "data" / "Trash" / "files" / "a.tmp"));
}

TEST_F(JunkCommandTest, PreviewsOfJunkDeletionAndErasingChangeNothing) {
    ASSERT_EQ(Cli("settings set2=1 set3=2").code, 0);
    const CliResult junk = Cli("junk delete --preview --drive '" + tree.string() +
                               "' --filter '*.tmp;Temporary;temp'");
    EXPECT_EQ(junk.code, 0) << junk.out;
    EXPECT_NE(junk.out.find("A real run would remove 0 registry value(s) and 0 registry key(s), "
                            "2 file(s) (8 bytes)"),
              std::string::npos)
        << junk.out;
    const CliResult erase = Cli("erase --preview '" + (tree / "keep.txt").string() + "' '" +
                                (tree / "odd").string() + "'");
    EXPECT_EQ(erase.code, 0) << erase.out;
    EXPECT_NE(erase.out.find("1 file(s) eradicated.\n"), std::string::npos) << erase.out;
    EXPECT_NE(erase.out.find("1 folder(s) eradicated.\n"), std::string::npos) << erase.out;
    EXPECT_NE(erase.out.find("2 file(s) (12 bytes), and delete " + (tree / "odd").string()),
              std::string::npos)
        << erase.out;
    for (const char* f : {"a.tmp", "keep.txt", "odd/line\nbreak\\back.tmp"})
        EXPECT_TRUE(fs::exists(tree / f)) << f;

    // The real thing: both gone, and a "no" to the question keeps everything.
    EXPECT_EQ(Cli("erase --no '" + (tree / "keep.txt").string() + "'").code, 0);
    EXPECT_TRUE(fs::exists(tree / "keep.txt"));
    const CliResult real =
        Cli("erase '" + (tree / "keep.txt").string() + "' '" + (tree / "odd").string() + "'");
    EXPECT_EQ(real.code, 0) << real.out;
    EXPECT_FALSE(fs::exists(tree / "keep.txt"));
    EXPECT_FALSE(fs::exists(tree / "odd"));
    EXPECT_TRUE(fs::exists(tree / "a.tmp"));
    EXPECT_EQ(Cli("erase").code, 2);
}

TEST_F(JunkCommandTest, EraseRefusesAPathThatIsNotThereOrIsNoFileOrFolderBeforeItStarts) {
    ASSERT_EQ(::mkfifo((tree / "pipe").c_str(), 0600), 0);
    const std::string keep = (tree / "keep.txt").string();
    struct Bad {
        fs::path path;
        std::string why;
    };
    for (const Bad& bad : {Bad{tree / "nonexistent", "does not exist"},
                           Bad{tree / "pipe", "is neither a regular file nor a folder"},
                           Bad{"/dev/null", "is neither a regular file nor a folder"}}) {
        // Standard error too: the refusal is said there.
        const CliResult r = Cli("erase '" + keep + "' '" + bad.path.string() + "' 2>&1 #");
        EXPECT_EQ(r.code, 2) << bad.path;
        EXPECT_NE(r.out.find("'" + bad.path.string() + "' " + bad.why), std::string::npos) << r.out;
        EXPECT_EQ(r.out.find("eradicated"), std::string::npos) << "no run started: " << r.out;
        EXPECT_TRUE(fs::exists(tree / "keep.txt"));
    }
}

TEST_F(JunkCommandTest, FilesLeftOrNotOverwrittenAreNamedAndTheExitStatusSaysSo) {
    // Zero and delete: a file with another hard link loses this name only, its data
    // is not overwritten (that would destroy the other name's file).
    ASSERT_EQ(Cli("settings set2=1 set3=2").code, 0);
    fs::create_hard_link(tree / "a.tmp", tree / "keep.txt.other-name");
    const CliResult r =
        Cli("junk delete --drive '" + tree.string() + "' --filter '*.tmp;Temporary;temp'");
    EXPECT_EQ(r.code, 1) << r.out;
    EXPECT_NE(r.out.find("not overwritten\t" + (tree / "a.tmp").string() + "\n"), std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("[48] Some files were not deleted or not fully overwritten:\n" +
                         (tree / "a.tmp").string() + ": has 1 other hard link(s)"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("[64] Selected Task(s) Completed Successfully!\n"), std::string::npos);
    EXPECT_TRUE(fs::exists(tree / "keep.txt.other-name"));
}

}  // namespace
