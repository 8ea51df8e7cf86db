// The console's status line: what reaches standard error and when.
#include <gtest/gtest.h>

#include <sstream>

#include "cli/ConsoleProgress.hpp"
#include "common/controls/Controls.hpp"

namespace velloran {
namespace {

using std::chrono::hours;

TEST(ConsoleProgressTest, FollowsControlsAndClearsAtTheEnd) {
    std::ostringstream err;
    Label where{"lblloc"};
    Label found{"lblfound"};
    {
        ConsoleProgress progress(err, true, 40, {});
        progress.Follow({&where, &found}, [&] { return where.Caption() + "  " + found.Caption(); });
        where.SetCaption("/home/u/Downloads");
        found.SetCaption("Files Found: 3");
        // A line too long for the terminal is cut to one column less than its width;
        // control characters of a file name never reach the terminal.
        where.SetCaption("/a/very/long/folder/name/that/goes\non/and/on/and/on");
    }
    EXPECT_EQ(err.str(),
              "\r/home/u/Downloads  \x1b[K"
              "\r/home/u/Downloads  Files Found: 3\x1b[K"
              "\r/a/very/long/folder/name/that/goeson/an\x1b[K"
              "\r\x1b[K");
    // Once the printer is gone its controls no longer reach it.
    where.SetCaption("later");
    EXPECT_EQ(err.str().find("later"), std::string::npos);
}

TEST(ConsoleProgressTest, NothingWhenNotATerminal) {
    std::ostringstream err;
    ProgressBar bar{"pbar"};
    {
        ConsoleProgress progress(err, false, 80, {}, true);
        progress.Follow({&bar}, [&] { return bar.Caption(); });
        bar.SetCaption("Deleting a.tmp ...");
        progress.Show("x");
        progress.MakeRoomForOutput();
    }
    EXPECT_EQ(err.str(), "");
}

TEST(ConsoleProgressTest, ThrottlesRedrawsButNotTheFirstAfterAClear) {
    std::ostringstream err;
    ConsoleProgress progress(err, true, 80, hours(1), true);
    progress.Show("one");
    progress.Show("two");  // within the interval: skipped
    progress.MakeRoomForOutput();
    progress.Show("three");  // the line was cleared for output: drawn again at once
    EXPECT_EQ(err.str(), "\rone\x1b[K\r\x1b[K\rthree\x1b[K");

    std::ostringstream separate;
    ConsoleProgress toFile(separate, true, 80, {}, false);
    toFile.Show("a");
    toFile.MakeRoomForOutput();  // standard output elsewhere: the line stays
    EXPECT_EQ(separate.str(), "\ra\x1b[K");
}

TEST(ConsoleProgressTest, PercentOfTheBar) {
    EXPECT_EQ(ConsoleProgress::Percent(0, 10, "Deleting a ..."), "[  0%] Deleting a ...");
    EXPECT_EQ(ConsoleProgress::Percent(3, 7, "x"), "[ 42%] x");
    EXPECT_EQ(ConsoleProgress::Percent(7, 7, "x"), "[100%] x");
    EXPECT_EQ(ConsoleProgress::Percent(9, 7, "x"), "[100%] x");
    EXPECT_EQ(ConsoleProgress::Percent(1, 0, "x"), "[  0%] x");
}

TEST(ConsoleProgressTest, CutsAtCharacterBoundaries) {
    std::ostringstream err;
    ConsoleProgress progress(err, true, 5, {});
    progress.Show("\xc3\xa4\xc3\xb6\xc3\xbc\xc3\x9f\xc3\xa9\xc3\xa8");  // six two-byte letters
    EXPECT_EQ(err.str(), "\r\xc3\xa4\xc3\xb6\xc3\xbc\xc3\x9f\x1b[K");
}

}  // namespace
}  // namespace velloran
