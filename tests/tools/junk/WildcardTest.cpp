#include "tools/junk/Wildcard.hpp"

#include <gtest/gtest.h>

namespace velloran {
namespace {

struct Case {
    const char* pattern;
    const char* name;
    bool match;
};

TEST(Wildcard, FollowsWindowsDirectorySearchRules) {
    const Case cases[] = {
        // "*.*" and "*" take every name, with or without a dot.
        {"*.*", "README", true},
        {"*.*", ".bashrc", true},
        {"*.*", "a.b.c", true},
        {"*", "", true},
        // Extension patterns: the last dot decides, decoys stay out.
        {"*.tmp", "x.tmp", true},
        {"*.tmp", "X.TMP", true},
        {"*.tmp", ".tmp", true},
        {"*.tmp", "a.tmp.tmp", true},
        {"*.tmp", "x.tmpl", false},
        {"*.tmp", "x.tmp.txt", false},
        {"*.tmp", "xtmp", false},
        {"*.bak", "f.bakery", false},
        {"*.$$$", "F.$$$", true},
        // "*." means no extension; a trailing dot in a literal is optional.
        {"*.", "Makefile", true},
        {"*.", "a.c", false},
        {"foo.", "foo", true},
        {"foo.", "FOO.", true},
        // "?" takes one character but may also match nothing before a dot or the end.
        {"a?", "ab", true},
        {"a?", "a", true},
        {"a?", "abc", false},
        {"file?.txt", "file1.txt", true},
        {"file?.txt", "file.txt", true},
        {"a?c", "a.c", false},
        {"???.log", "ab.log", true},
        // "*" elsewhere is a plain any-run.
        {"*~", "notes.txt~", true},
        {"*~", "notes.txt", false},
        {"~$*", "~$report.docx", true},
        {"~*.*", "~f001.doc", true},
        {"~*.*", "~lock", true},
        {"~*.*", "f~.doc", false},
        {"*.~*", "unit1.~pas", true},
        {"*.~*", "unit1.pas", false},
        {"hs_err_pid*.log", "hs_err_pid4711.log", true},
        {"hs_err_pid*.log", "hs_err_pid4711.log.gz", false},
        {".*.swp", ".notes.txt.swp", true},
        {".*.swp", "notes.swp", false},
        // Literals compare without regard to ASCII case; other bytes as they are.
        {"Thumbs.db", "THUMBS.DB", true},
        {"Thumbs.db", "Thumbs.db.bak", false},
        {"caf\xc3\xa9.tmp", "CAF\xc3\xa9.TMP", true},
        {"*.tmp", "bad\xff\xfe.tmp", true},
        {"*.tmp", "new\nline.tmp", true},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Wildcard(c.pattern).Matches(c.name), c.match) << c.pattern << " vs " << c.name;
    EXPECT_TRUE(WildcardMatch("*.*", "anything"));
    EXPECT_TRUE(Wildcard("*.*").MatchesEverything());
    EXPECT_FALSE(Wildcard("*.tmp").MatchesEverything());
}

TEST(Wildcard, LongNamesDoNotBlowUp) {
    // Many stars against a long name that fails at the very end: matching stays
    // linear instead of backtracking exponentially.
    std::string name(5000, 'a');
    name += 'b';
    EXPECT_FALSE(Wildcard("*a*a*a*a*a*a*a*a*a*a*c").Matches(name));
    EXPECT_TRUE(Wildcard("*a*a*a*a*a*a*a*a*a*a*b").Matches(name));
}

}  // namespace
}  // namespace velloran
