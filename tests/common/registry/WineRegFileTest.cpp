// Wine's registry text format: byte-exact round trips on files Wine wrote, the
// writer against Wine's own output, and refusal of malformed files.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>

#include "common/VbError.hpp"
#include "common/registry/RegRoundTrip.hpp"
#include "common/registry/RegTestUtil.hpp"
#include "common/registry/WinePrefixStore.hpp"
#include "common/registry/WineRegFile.hpp"

namespace velloran {
namespace {

using regtest::DataFile;
using regtest::ReadBytes;
using regtest::ScratchDir;
using regtest::Section;
using regtest::WriteBytes;

constexpr const char* kHeader =
    "WINE REGISTRY Version 2\n;; All keys relative to REGISTRY\\\\User\\\\S-1-5-21-0-0-0-1000\n\n"
    "#arch=win64\n";

std::string Render(const std::string& text, WineBranch branch = WineBranch::User) {
    RegHive hive;
    ReadWineRegistry(hive, text, "test.reg");
    EXPECT_FALSE(hive.dirty);
    return RenderWineRegistry(hive, branch, "win64");
}

// A prefix folder holding `user` as user.reg.
std::unique_ptr<WinePrefixStore> StoreWith(const ScratchDir& dir, const std::string& user) {
    WriteBytes(dir / "user.reg", user);
    return std::make_unique<WinePrefixStore>(dir.Path());
}

// Seconds since 1970 in a "[key] <seconds>" line.
long long SectionSeconds(const std::string& section) {
    size_t p = section.find("] ");
    return std::stoll(section.substr(p + 2));
}

long long NowSeconds() {
    using namespace std::chrono;
    return duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
}

TEST(WineRegFile, UnchangedFilesComeBackByteForByte) {
    for (const char* name : {"wine8-user.reg", "wine8-userdef.reg", "wine8-system-fragment.reg"}) {
        std::string original = ReadBytes(DataFile(name));
        ASSERT_GT(original.size(), 1000u) << name;
        EXPECT_EQ(Render(original), original) << name;
    }
    // Hand-edited forms wineserver accepts: CRLF, comments, sections out of order
    // and repeated, indentation, spaces around "=", no newline at the end.
    const std::string irregular =
        "WINE REGISTRY Version 2\r\n"
        "; comment in the header\r\n"
        "#some-option\r\n"
        "[Zeta] 1700000000\r\n"
        "  \"b\" = dword:00000001\r\n"
        "; between\r\n"
        "\r\n"
        "\r\n"
        "[alpha\\\\Beta]\r\n"
        "#time=1da1747c66d0000\r\n"
        "#class=\"cls\"\r\n"
        "@=\"x\"\r\n"
        "[Zeta] 1700000001\n"
        "\"a\"=hex:01,02,\\\n"
        "    03\n"
        "\"c\"=str:\"plain\"";
    EXPECT_EQ(Render(irregular), irregular);
    const std::string headerOnly = "WINE REGISTRY Version 2\n;; All keys relative to \\\\Machine\n";
    EXPECT_EQ(Render(headerOnly, WineBranch::Machine), headerOnly);
}

TEST(WineRegFile, ReadsEveryValueTypeWineWrote) {
    ScratchDir dir;
    auto store = StoreWith(dir, ReadBytes(DataFile("wine8-user.reg")));
    const std::string key = "Software\\VelloranFixture";
    auto read = [&](const std::string& name) {
        auto v = store->ReadValue(kHKeyCurrentUser, key, name);
        EXPECT_TRUE(v) << name;
        return v.value_or(RegValue{});
    };
    EXPECT_EQ(read(""), RegValue::String("default"));
    EXPECT_EQ(read("Name"), RegValue::String("caf\xC3\xA9 bar"));
    EXPECT_EQ(read("\xC3\x9Cn\xC3\xAF"
                   "c\xC3\xB6"
                   "d\xC3\xA9 \xE5\x90\x8D\xE5\x89\x8D"),
              RegValue::String("Gr\xC3\xBC\xC3\x9F"
                               "e, \xE4\xB8\x96\xE7\x95\x8C \xF0\x9F\x98\x80 "
                               "\"quoted\" back\\slash"));
    EXPECT_EQ(read("Path"), RegValue::String("%USERPROFILE%\\AppData", kRegExpandSz));
    EXPECT_EQ(read("List"), RegValue::MultiString({"one", "two"}));
    EXPECT_EQ(read("Count"), RegValue::Dword(42));
    EXPECT_EQ(read("Big"), RegValue::Qword(0x123456789abcdef0ULL));
    EXPECT_EQ(read("Blob"),
              RegValue::Binary({0x00, 0x01, 0x02, 0xff, 0xfe, 0x0a, 0x0d, 0x5c, 0x22}));
    EXPECT_EQ(read("Empty"), RegValue::Binary({}));
    EXPECT_EQ(read("Nothing"), RegValue::Binary({0, 0}, kRegNone));
    RegValue longBin = read("LongBin");
    ASSERT_EQ(longBin.data.size(), 200u);
    EXPECT_EQ(longBin.data[199], 199);
    EXPECT_EQ(store->ReadValue(kHKeyCurrentUser, key + "\\Sub\\Deeper", "x"),
              RegValue::String("tab\there"));
    EXPECT_EQ(store->ReadValue(kHKeyCurrentUser, key + "\\[brackets]", "a\"b"),
              RegValue::String("x"));

    // Wine's order: "[" sorts before letters, case is ignored, shorter names first.
    EXPECT_EQ(store->EnumerateKeys(kHKeyCurrentUser, key),
              (std::vector<std::string>{"[brackets]", "A", "b", "Sub", "\xC3\x89mile"}));
    auto values = store->EnumerateValues(kHKeyCurrentUser, key);
    ASSERT_FALSE(values.empty());
    EXPECT_TRUE(values.front().IsDefault());
    // Surrogate pairs in key names, and case folding beyond ASCII.
    EXPECT_TRUE(store->KeyExists(kHKeyCurrentUser,
                                 "Control Panel\\International\\\xF0\x9F\x8C\x8E\xF0\x9F\x8C\x8F"
                                 "\xF0\x9F\x8C\x8D"));
    EXPECT_TRUE(store->KeyExists(kHKeyCurrentUser, "SOFTWARE\\vellORANfixture\\\xC3\xA9MILE"));
}

TEST(WineRegFile, ChangedKeysAreWrittenExactlyAsWineWritesThem) {
    // Touching a key makes us write its whole section ourselves; apart from the
    // timestamps it must equal what Wine wrote: every type, escape and 76-column wrap.
    ScratchDir dir;
    const std::string original = ReadBytes(DataFile("wine8-user.reg"));
    auto store = StoreWith(dir, original);
    const std::vector<std::pair<std::string, std::string>> keys = {
        {"Software\\VelloranFixture", "[Software\\\\VelloranFixture]"},
        {"Control Panel\\Desktop\\WindowMetrics", "[Control Panel\\\\Desktop\\\\WindowMetrics]"},
        {"Software\\VelloranFixture\\[brackets]",
         "[Software\\\\VelloranFixture\\\\\\[brackets\\]]"},
    };
    for (const auto& [path, head] : keys) {
        store->WriteValue(kHKeyCurrentUser, path, "velloran-probe", RegValue::Dword(1));
        store->DeleteValue(kHKeyCurrentUser, path, "velloran-probe");
    }
    long long before = NowSeconds();
    store->Save();
    const std::string saved = ReadBytes(dir / "user.reg");

    std::string restored = saved;
    for (const auto& [path, head] : keys) {
        std::string mine = Section(saved, head);
        std::string wine = Section(original, head);
        ASSERT_FALSE(mine.empty()) << head;
        ASSERT_FALSE(wine.empty()) << head;
        auto afterTime = [](const std::string& s) {
            return s.substr(s.find('\n', s.find("#time=")) + 1);
        };
        EXPECT_EQ(afterTime(mine), afterTime(wine)) << head;
        EXPECT_GE(SectionSeconds(mine), before - 1);
        EXPECT_LE(SectionSeconds(mine), NowSeconds() + 1);
        // #time= is the same moment as a FILETIME.
        std::string timeHex = mine.substr(mine.find("#time=") + 6);
        timeHex = timeHex.substr(0, timeHex.find('\n'));
        unsigned long long ft = std::stoull(timeHex, nullptr, 16);
        EXPECT_EQ(static_cast<long long>((ft - 116444736000000000ULL) / 10000000ULL),
                  SectionSeconds(mine));
        restored.replace(restored.find(mine), mine.size(), wine);
    }
    // Everything else kept its bytes.
    EXPECT_EQ(restored, original);
}

TEST(WineRegFile, RewritingEveryKeyReproducesWinesFile) {
    // With each key's own timestamps, our writer must give Wine's file back whole:
    // order, implied keys, links, every value.
    for (const char* name : {"wine8-user.reg", "wine8-userdef.reg", "wine8-system-fragment.reg"}) {
        const std::string original = ReadBytes(DataFile(name));
        RegHive hive;
        ReadWineRegistry(hive, original, name);
        std::vector<RegKeyNode*> stack{hive.root.get()};
        while (!stack.empty()) {
            RegKeyNode* k = stack.back();
            stack.pop_back();
            k->touched = true;
            for (auto& sub : k->subkeys) stack.push_back(sub.get());
        }
        hive.Chunks().clear();
        EXPECT_EQ(RenderWineRegistry(hive, WineBranch::User, "win64"), original) << name;
    }
}

TEST(WineRegFile, NewAndDeletedKeysGoWhereWineWouldPutThem) {
    ScratchDir dir;
    const std::string original = ReadBytes(DataFile("wine8-user.reg"));
    const std::string fixture = "Software\\VelloranFixture";
    {
        auto store = StoreWith(dir, original);
        store->WriteValue(kHKeyCurrentUser, fixture + "\\B2", "v", RegValue::String("new"));
        store->Save();
        std::string saved = ReadBytes(dir / "user.reg");
        size_t b = saved.find("\n[Software\\\\VelloranFixture\\\\b] ");
        size_t b2 = saved.find("\n[Software\\\\VelloranFixture\\\\B2] ");
        size_t sub = saved.find("\n[Software\\\\VelloranFixture\\\\Sub\\\\Deeper] ");
        ASSERT_NE(b2, std::string::npos);
        EXPECT_LT(b, b2);
        EXPECT_LT(b2, sub);
        std::string section = Section(saved, "[Software\\\\VelloranFixture\\\\B2]");
        EXPECT_NE(section.find("\n\"v\"=\"new\"\n"), std::string::npos) << section;
        // Creating B2 changed its parent (new subkey) and nothing else.
        std::string restored = saved;
        restored.erase(restored.find(section) - 1, section.size() + 1);
        std::string parent = Section(saved, "[Software\\\\VelloranFixture]");
        restored.replace(restored.find(parent), parent.size(),
                         Section(original, "[Software\\\\VelloranFixture]"));
        EXPECT_EQ(restored, original);
    }
    {
        // Deleting the whole subtree removes exactly its sections; "Software" keeps
        // other subkeys, so it stays implied and gets no section.
        auto store = StoreWith(dir, original);
        ASSERT_TRUE(store->DeleteKey(kHKeyCurrentUser, fixture, true));
        EXPECT_FALSE(store->DeleteKey(kHKeyCurrentUser, fixture, true));
        store->Save();
        std::string expected = original;
        size_t from = expected.find("\n[Software\\\\VelloranFixture] ");
        size_t to = expected.find("\n[Software\\\\Wine\\\\AppDefaults] ");
        expected.erase(from, to - from);
        EXPECT_EQ(ReadBytes(dir / "user.reg"), expected);
    }
    {
        // A key left without values and subkeys gets its own section again, and a
        // file whose last section went away still ends on its last value line.
        const std::string text = std::string(kHeader) +
                                 "\n[A] 1700000000\n#time=1da1747c66d0000\n\"x\"=\"1\"\n"
                                 "\n[A\\\\Child] 1700000000\n#time=1da1747c66d0000\n\"y\"=\"2\"\n";
        auto store = StoreWith(dir, text);
        store->DeleteKey(kHKeyCurrentUser, "A\\Child", false);
        store->DeleteValue(kHKeyCurrentUser, "A", "x");
        store->Save();
        std::string saved = ReadBytes(dir / "user.reg");
        EXPECT_EQ(saved.substr(0, std::string(kHeader).size() + 5),
                  std::string(kHeader) + "\n[A] ");
        EXPECT_EQ(saved.find("Child"), std::string::npos);
        EXPECT_EQ(saved.back(), '\n');
        EXPECT_NE(saved.substr(saved.size() - 2), "\n\n");
        std::string lastLine = saved.substr(saved.rfind('\n', saved.size() - 2) + 1);
        EXPECT_EQ(lastLine.rfind("#time=", 0), 0u) << saved;
    }
}

TEST(WineRegFile, CommentsAndLayoutOfUntouchedPartsSurviveEdits) {
    ScratchDir dir;
    const std::string text = std::string(kHeader) +
                             "\n[A] 1700000000\n\"x\"=\"1\"\n"
                             "\n; about B\n  [B] 1700000000\n  \"y\" = \"2\"\n"
                             "\n[C] 1700000000\n\"z\"=\"3\"\n";
    auto store = StoreWith(dir, text);
    store->WriteValue(kHKeyCurrentUser, "A", "x", RegValue::String("changed"));
    store->DeleteKey(kHKeyCurrentUser, "C", false);
    store->Save();
    std::string saved = ReadBytes(dir / "user.reg");
    EXPECT_NE(saved.find("\"x\"=\"changed\"\n\n; about B\n  [B] 1700000000\n  \"y\" = \"2\"\n"),
              std::string::npos)
        << saved;
    EXPECT_EQ(saved.find("[C]"), std::string::npos);
    const std::string lastLine = "\n  \"y\" = \"2\"\n";
    EXPECT_EQ(saved.substr(saved.size() - lastLine.size()), lastLine);

    // A second round of edits starts from what the first one wrote.
    store->WriteValue(kHKeyCurrentUser, "B", "w", RegValue::Dword(7));
    store->Save();
    std::string again = ReadBytes(dir / "user.reg");
    EXPECT_EQ(Section(again, "[A]"), Section(saved, "[A]"));
    EXPECT_NE(Section(again, "[B]").find("\"w\"=dword:00000007\n\"y\"=\"2\"\n"), std::string::npos)
        << again;
    // The blanks before "[B]" went with its line: the comment before it stays whole.
    EXPECT_NE(again.find("; about B\n[B] "), std::string::npos) << again;
}

TEST(WineRegFile, EscapesFollowWinesRules) {
    struct Case {
        std::u16string units;
        std::string text;
        const char* delims;
    };
    const std::vector<Case> cases = {
        {u"caf\u00e9 bar", "caf\\xe9 bar", "\"\""},
        // Four digits when an ASCII hex digit follows.
        {u"\u00dcn\u00efc\u00f6d", "\\xdcn\\x00efc\\x00f6d", "\"\""},
        {u"\xd83d\xde00!", "\\xd83d\\xde00!", "\"\""},
        {u"a\a\b\t\n\v\f\r\x1b"
         u"z",
         "a\\a\\b\\t\\n\\v\\f\\r\\ez", "\"\""},
        // Octal, with three digits when an octal digit follows.
        {std::u16string(u"a\0b", 3), "a\\0b", "\"\""},
        {std::u16string(u"a\0"
                        u"1",
                        3),
         "a\\0001", "\"\""},
        {u"\x1f"
         u"8",
         "\\378", "\"\""},
        {u"q\"b\\s", "q\\\"b\\\\s", "\"\""},
        {u"[k]\"", "\\[k\\]\"", "[]"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(EscapeWineString(c.units, c.delims), c.text);
        std::u16string back;
        std::string quoted = c.text + c.delims[1];
        EXPECT_EQ(UnescapeWineString(quoted, c.delims[1], back), quoted.size()) << c.text;
        EXPECT_EQ(back, c.units) << c.text;
    }
    // The NUL that ends a string is not written.
    EXPECT_EQ(EscapeWineString(std::u16string(u"ab\0", 3), "\"\"", true), "ab");

    auto parse = [](const std::string& s) {
        std::u16string out;
        size_t r = UnescapeWineString(s, '"', out);
        return r == std::string::npos ? std::u16string(u"<none>") : out;
    };
    EXPECT_EQ(parse("\\x41424344\""),
              u"\x4142"
              u"4344");
    EXPECT_EQ(parse("\\xg\""), u"xg");
    EXPECT_EQ(parse("\\q\\101\""), u"qA");
    EXPECT_EQ(parse("caf\xC3\xA9\""), u"caf\u00e9");
    EXPECT_EQ(parse("\xF0\x9F\x98\x80\""), u"\xd83d\xde00");
    EXPECT_EQ(parse("a\xFF"
                    "b\""),
              u"ab");  // invalid UTF-8 is dropped
    EXPECT_EQ(parse("no end"), u"<none>");
    EXPECT_EQ(parse("ends in escape\\"), u"<none>");
}

TEST(WineRegFile, MalformedFilesAreRefusedWithFileAndLine) {
    const std::string h = "WINE REGISTRY Version 2\n;; All keys relative to \\\\User\\\\S-1\n";
    const std::vector<std::pair<std::string, int>> cases = {
        {"", 1},
        {"WINE REGISTRY Version 1\n[A]\n", 1},
        {"\xEF\xBB\xBFWINE REGISTRY Version 2\n", 1},
        {h + "\"x\"=\"value before any key\"\n", 3},
        {h + "\n[A] 1\n\"x\"=\"1\"\nnot a registry line\n", 6},
        {h + "[A\n", 3},
        {h + "[A]\n\"x\"=\"no closing quote\n", 4},
        {h + "[A]\n\"x\"=\"a\" trailing\n", 4},
        {h + "[A]\n\"x\" \"y\"\n", 4},
        {h + "[A]\n\"x\"=hex:01,02,\\\n  03,\\\n", 5},
        {h + "[A]\n\"x\"=hex:01,zz\n", 4},
        {h + "[A]\n\"x\"=hex:1ff\n", 4},
        {h + "[A]\n\"x\"=dword:\n", 4},
        {h + "[A]\n\"x\"=dword:12 34\n", 4},
        {h + "[A]\n\"x\"=str(3):\"a\"\n", 4},
        {h + "[A]\n\"x\"=hex(:00\n", 4},
        {h + "\n#arch=win16\n", 4},
        {h + "[\\\\A]\n", 3},
    };
    for (const auto& [text, line] : cases) {
        ScratchDir dir;
        WriteBytes(dir / "user.reg", text);
        try {
            WinePrefixStore store(dir.Path());
            ADD_FAILURE() << "accepted: " << text;
        } catch (const VbError& e) {
            EXPECT_EQ(e.Number(), vbErrBadFileFormat);
            std::string expected =
                (dir / "user.reg").string() + ", line " + std::to_string(line) + ":";
            EXPECT_NE(e.Description().find(expected), std::string::npos)
                << e.Description() << "\nfor: " << text;
        }
        EXPECT_EQ(ReadBytes(dir / "user.reg"), text);
    }

    // system.reg decides the architecture; a user.reg that disagrees is refused.
    ScratchDir dir;
    WriteBytes(dir / "system.reg", "WINE REGISTRY Version 2\n\n#arch=win64\n");
    WriteBytes(dir / "user.reg", "WINE REGISTRY Version 2\n;; x\n\n#arch=win32\n");
    try {
        WinePrefixStore store(dir.Path());
        ADD_FAILURE() << "mismatched architectures accepted";
    } catch (const VbError& e) {
        EXPECT_NE(e.Description().find("user.reg, line 4:"), std::string::npos) << e.Description();
    }
}

}  // namespace
}  // namespace velloran

namespace velloran {
namespace {

std::string RefusalOf(const std::string& text) {
    RegHive hive;
    try {
        ReadWineRegistry(hive, text, "x.reg");
    } catch (const VbError& e) {
        EXPECT_EQ(e.Number(), vbErrBadFileFormat);
        return e.Description();
    }
    return {};
}

TEST(WineRegFile, NamesSurviveExactlyOrTheFileIsRefused) {
    const std::string h = "WINE REGISTRY Version 2\n;; All keys relative to \\\\User\\\\S-1\n";
    // A key and a value whose names end in a NUL of their own stay apart from the
    // ones without it, through a rewrite of every key.
    const std::string nul =
        h + "\n[A\\\\k\\0] 1\n\"v\\0\"=\"1\"\n\"v\"=\"2\"\n\n[A\\\\k] 1\n\"v\"=\"3\"\n";
    EXPECT_EQ(regtest::CheckRoundTrip(nul), "");
    RegHive hive;
    ReadWineRegistry(hive, nul, "x.reg");
    ASSERT_EQ(hive.root->subkeys[0]->subkeys.size(), 2u);
    EXPECT_EQ(hive.root->subkeys[0]->subkeys[1]->values.size(), 2u);

    // Wine drops invalid UTF-8, so two such names could become one: refused.
    EXPECT_NE(RefusalOf(h + "[A]\n\"v\\xff\"=\"1\"\n").find(""), std::string::npos);
    EXPECT_NE(RefusalOf(h + "[A]\n\"v\xff\"=\"1\"\n\"v\xfe\"=\"2\"\n").find("x.reg, line 4:"),
              std::string::npos);
    EXPECT_NE(RefusalOf(h + "[A\\\\k\xc3]\n").find("x.reg, line 3: key name is not valid UTF-8"),
              std::string::npos);
    // In string data the bytes are dropped exactly as Wine drops them.
    EXPECT_EQ(RefusalOf(h + "[A]\n\"v\"=\"a\xffz\"\n"), "");

    // Deeper than Windows allows: a clear refusal, never a crash.
    std::string deep = h + "[k";
    for (int i = 0; i < 100000; ++i) deep += "\\\\k";
    EXPECT_NE(RefusalOf(deep + "]\n").find("line 3: key nested deeper than 512 levels"),
              std::string::npos);
    std::string deepest = h + "[k";
    for (int i = 1; i < 512; ++i) deepest += "\\\\k";
    EXPECT_EQ(regtest::CheckRoundTrip(deepest + "] 1\n\"v\"=\"1\"\n"), "");
}

// Valid sections enough for a file of several megabytes, each with a string and a
// hex value that goes on over two lines; five lines per section.
std::string Filler(int first, int count) {
    std::string out;
    for (int i = first; i < first + count; ++i) {
        char key[32];
        std::snprintf(key, sizeof key, "[Big\\\\k%07d] 1\n", i);
        out += key;
        out += "\"a\"=\"C:\\\\users\\\\me\\\\report " + std::to_string(i) + ".doc\"\n";
        out += "\"b\"=hex:01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,\\\n";
        out += "  15,16,17,18,19,1a,1b,1c,1d,1e,1f,20,21,22,23,24,25,26,27,28,29,2a\n\n";
    }
    return out;
}

TEST(WineRegFile, LinesReadTheSameWhereverTheyFallInTheText) {
    // The reader finds quotes, backslashes and line ends 64 bytes at a time: each
    // line is tried at every offset in such a block, after a value line of the
    // right length.
    const std::string h = "WINE REGISTRY Version 2\n;; All keys relative to \\\\User\\\\S-1\n";
    const std::string part256(256, 'p');
    const std::string long150(150, 'q');
    const std::vector<std::string> valid = {
        "\"a\"=\"x\\\"y\"\n",  // an escaped quote inside
        "\"a\"=\"" + long150 + "\\\"" + long150 + "\"\n",
        "@=\"C:\\\\dir\\\\\"\n",  // ends with an escaped backslash
        "\"n\"=dword:0000ffff\n",
        "\"n\"=dword:+ff \n",
        "\"v\xc3\xa9\"=\"caf\xc3\xa9\"\n",  // a name outside ASCII
        "\"crlf\"=\"x\"\r\n",
        "\"e\"=\"\"\n",
        "\"x\\q\"=\"1\"\n",
        "#class=\"c\"\n",
        "[B\\\\" + part256 + "] 1\n",
        "[B\\\\k\\]x] 1\n",  // an escaped bracket in the name
        "[B\\\\\xc3\xa9] 1\n",
        "[B\\\\\x01] 1\n",  // control bytes and empty parts are Wine's to judge
        "[B\\\\\\\\C] 1\n",
    };
    const std::vector<std::string> refused = {
        "\"x\"=\"ab\\\"\n",  // the backslash takes the closing quote
        "\"x\"=\"" + long150 + "\\\"\n",
        "\"x\"=\"a\"b\n",
        "\"x\"=\"a\n",
        "\"x\"=dword:12g\n",
        "\"x\"=dword:\n",
        "\"x\"\n",
        "\"x\"=\n",
        "\"\xff\"=\"1\"\n",
        "[B\\\\" + part256 + "p] 1\n",
        "[B\\\\C\n",
    };
    for (int shift = 0; shift < 80; ++shift) {
        // Header, "[A] 1", then this line: the lines below start at varying offsets.
        const std::string before = h + "[A] 1\n\"pad\"=\"" + std::string(shift, 'p') + "\"\n";
        for (const std::string& line : valid) {
            const std::string text = before + line + "\"z\"=\"1\"\n";
            EXPECT_EQ(RefusalOf(text), "") << "shift " << shift << ": " << line;
            EXPECT_EQ(regtest::CheckRoundTrip(text), "") << "shift " << shift << ": " << line;
        }
        for (const std::string& line : refused)
            EXPECT_NE(RefusalOf(before + line + "\"z\"=\"1\"\n").find("x.reg, line 5:"),
                      std::string::npos)
                << "shift " << shift << ": " << line;
    }
}

TEST(WineRegFile, LargeFilesAreRefusedAtTheirFirstBadLine) {
    const std::string h = "WINE REGISTRY Version 2\n;; All keys relative to \\\\User\\\\S-1\n";
    constexpr int kSections = 40000;  // about 7 MB
    const auto lines = [](const std::string& t) {
        return static_cast<int>(std::count(t.begin(), t.end(), '\n'));
    };

    // Valid: every value reads back, the later ones included, and nothing changes.
    const std::string valid = h + Filler(0, kSections);
    ASSERT_GT(valid.size(), 6u << 20);
    EXPECT_EQ(Render(valid), valid);
    ScratchDir dir;
    auto store = StoreWith(dir, valid);
    auto last = store->ReadValue(kHKeyCurrentUser, "Big\\k0039999", "b");
    ASSERT_TRUE(last);
    ASSERT_EQ(last->data.size(), 42u);
    EXPECT_EQ(last->data.back(), 0x2a);
    EXPECT_EQ(store->ReadValue(kHKeyCurrentUser, "Big\\k0039999", "a")->AsString(),
              "C:\\users\\me\\report 39999.doc");

    // One bad section early, in the middle or near the end: the same line as in a
    // small file.
    const std::vector<std::pair<std::string, int>> bad = {
        {"[A\n", 1},
        {"[A]\n\"x\"=\"no closing quote\n", 2},
        {"[A]\n\"x\"=hex:01,02,\\\n  03,zz\n", 3},
        {"[A]\n\"x\"=dword:12 34\n", 2},
        {"[A]\n\"v\xff\"=\"1\"\n", 2},
        {"[A]\n\"x\"=\"1\"\nnot a registry line\n", 3},
        {"[\\\\A]\n", 1},
    };
    for (const auto& [body, line] : bad)
        for (int at : {10, kSections / 2, kSections - 10}) {
            const std::string before = h + Filler(0, at);
            const std::string text = before + body + Filler(at, kSections - at);
            EXPECT_NE(
                RefusalOf(text).find("x.reg, line " + std::to_string(lines(before) + line) + ":"),
                std::string::npos)
                << body << " after section " << at;
        }

    // Two faults: whichever comes first is the one named, a value's or a line's.
    const std::string valueFault = "[A]\n\"x\"=dword:\n";
    const std::string lineFault = "[B]\nnot a registry line\n";
    for (const auto& [first, second] :
         {std::pair{valueFault, lineFault}, std::pair{lineFault, valueFault}})
        for (int at : {10, kSections - 100}) {
            const std::string before = h + Filler(0, at);
            const std::string text =
                before + first + Filler(at, 50) + second + Filler(at + 50, kSections - at - 50);
            EXPECT_NE(
                RefusalOf(text).find("x.reg, line " + std::to_string(lines(before) + 2) + ":"),
                std::string::npos)
                << first << " after section " << at;
        }
}

TEST(WineRegFile, LayoutBeforeTheFirstRewrittenKeySurvivesLaterSaves) {
    const std::string text = std::string(kHeader) +
                             "\n;; kept comment\n\n[A] 1\n\"a\"=\"1\"\n; note on A\n\n"
                             "[B] 1\n\"b\"=\"1\"\n\n[C] 1\n\"c\"=\"1\"\n";
    ScratchDir dir;
    auto store = StoreWith(dir, text);
    ASSERT_TRUE(store->DeleteKey(kHKeyCurrentUser, "A", true));
    store->Save();
    std::string once = ReadBytes(dir / "user.reg");
    EXPECT_NE(once.find(";; kept comment"), std::string::npos);
    EXPECT_NE(once.find("; note on A"), std::string::npos);
    ASSERT_TRUE(store->DeleteValue(kHKeyCurrentUser, "B", "b"));
    store->Save();
    std::string twice = ReadBytes(dir / "user.reg");
    EXPECT_NE(twice.find(";; kept comment"), std::string::npos) << twice;
    EXPECT_NE(twice.find("; note on A"), std::string::npos) << twice;
    EXPECT_TRUE(twice.ends_with("\n\n[C] 1\n\"c\"=\"1\"\n")) << twice;
}

TEST(WineRegFile, NamesInAnyOrderLoadIntoWinesOrder) {
    // A file written in reverse order (and with repeated sections in another case)
    // loads into the same sorted tree as the sorted file; large sibling lists take
    // the indexed path.
    std::string sorted = std::string(kHeader), reversed = std::string(kHeader);
    std::vector<std::string> names;
    for (int i = 0; i < 3000; ++i) {
        char buf[16];
        std::snprintf(buf, sizeof buf, "k%05d", i);
        names.push_back(buf);
    }
    for (const auto& n : names) sorted += "\n[P\\\\" + n + "] 1\n\"v\"=\"" + n + "\"\n";
    for (auto it = names.rbegin(); it != names.rend(); ++it)
        reversed += "\n[p\\\\" + *it + "] 1\n\"v\"=\"" + *it + "\"\n";
    reversed += "\n[P\\\\K00007] 1\n\"w\"=\"x\"\n";
    for (int i = 200; i > 0; --i) reversed += "\"z" + std::to_string(i) + "\"=\"\"\n";
    RegHive a, b;
    ReadWineRegistry(a, sorted, "a.reg");
    ReadWineRegistry(b, reversed, "b.reg");
    ASSERT_EQ(b.root->subkeys.size(), 1u);
    const auto& subs = b.root->subkeys[0]->subkeys;
    ASSERT_EQ(subs.size(), names.size());
    for (size_t i = 0; i < names.size(); ++i) ASSERT_EQ(Utf16ToUtf8(subs[i]->name), names[i]);
    const auto& vals = subs[7]->values;
    ASSERT_EQ(vals.size(), 202u) << "the repeated section adds to the key";
    for (size_t i = 1; i < vals.size(); ++i)
        EXPECT_LT(RegCompareNames(vals[i - 1].name, vals[i].name), 0);
    EXPECT_EQ(regtest::CheckRoundTrip(reversed), "");
}

// The file's sections in reverse order: the same keys, read by the full reader.
std::string Reversed(const std::string& text) {
    std::vector<std::string> sections;
    size_t at = text.find("\n[");
    const std::string header = text.substr(0, at + 1);
    while (at != std::string::npos) {
        const size_t next = text.find("\n[", at + 1);
        sections.push_back(text.substr(at + 1, next == std::string::npos ? next : next - at));
        at = next;
    }
    std::string out = header;
    for (auto it = sections.rbegin(); it != sections.rend(); ++it)
        out += *it + (it->ends_with("\n") ? "" : "\n");
    return out;
}

TEST(WineRegFile, ASortedFileMakesOnlyTheKeysLookedAtAndTheSameTreeAsAnyOrder) {
    for (const char* name : {"wine8-user.reg", "wine8-userdef.reg", "wine8-system-fragment.reg"}) {
        const std::string original = ReadBytes(DataFile(name));
        RegHive lazy, full;
        ReadWineRegistry(lazy, original, name);
        EXPECT_TRUE(lazy.root->subkeys.Made().empty()) << name;
        ReadWineRegistry(full, Reversed(original), name);
        EXPECT_FALSE(full.root->subkeys.Made().empty()) << name;
        EXPECT_EQ(regtest::CompareTrees(*lazy.root, *full.root), "") << name;
    }
    // A file large enough to be read in two parts, one on each core.
    {
        std::string big = kHeader;
        for (int i = 0; i < 30000; ++i) {
            char key[64];
            std::snprintf(key, sizeof key, "Software\\\\Vendor %02d\\\\App %05d", i / 1000, i);
            big += std::string("\n[") + key + "] 1700000000\n#time=1d00000000000000\n" +
                   "\"Path\"=\"C:\\\\Program Files\\\\App " + std::to_string(i) + "\"\n" +
                   "\"Size\"=dword:0000" + std::to_string(1000 + i % 9000) + "\n" + "\"Note\"=\"" +
                   std::string(60, 'x') + "\"\n";
        }
        ASSERT_GT(big.size(), size_t{4} << 20);
        RegHive lazy, full;
        ReadWineRegistry(lazy, big, "big.reg");
        EXPECT_TRUE(lazy.root->subkeys.Made().empty());
        ReadWineRegistry(full, Reversed(big), "big.reg");
        EXPECT_EQ(regtest::CompareTrees(*lazy.root, *full.root), "");
        EXPECT_EQ(RenderWineRegistry(lazy, WineBranch::User, "win64"), big);
        EXPECT_EQ(lazy.Chunks().size(), 30000u);
    }
    // One key looked at: its parents' children are made, nothing below its siblings.
    const std::string text = std::string(kHeader) +
                             "\n[Soft\\\\A] 1\n\"v\"=\"1\"\n"
                             "\n[soft\\\\B\\\\C] 2\n#class=\"cls\"\n@=\"c\"\n"
                             "\n[SOFT\\\\B\\\\C\\\\D] 3\n"
                             "\n[Soft\\\\B\\\\Caf\xc3\xa9\\\\x\\]y] 6\n\"u\"=\"1\"\n"
                             "\n[Soft\\\\E] 4\n\"e\"=dword:00000005\n"
                             "\n[Zeta] 5\n#link\n";
    {
        RegHive lazy, full;
        ReadWineRegistry(lazy, text, "t.reg");
        ReadWineRegistry(full, Reversed(text), "t.reg");
        EXPECT_EQ(regtest::CompareTrees(*lazy.root, *full.root), "");
        EXPECT_EQ(regtest::CheckRoundTrip(text), "");
    }
    RegHive hive;
    ReadWineRegistry(hive, text, "t.reg");
    RegKeyNode* soft = hive.root->FindSubkey(u"SOFT");
    ASSERT_NE(soft, nullptr);
    EXPECT_EQ(Utf16ToUtf8(soft->name), "Soft") << "the first spelling names a key";
    EXPECT_TRUE(soft->subkeys.Made().empty());
    RegKeyNode* b = soft->FindSubkey(u"b");
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(soft->subkeys.Made().size(), 3u);
    EXPECT_TRUE(soft->subkeys.Made()[0]->subkeys.empty());
    EXPECT_TRUE(b->values.empty()) << "an implied key has no section of its own";
    RegKeyNode* c = b->FindSubkey(u"C");
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->keyClass, u"cls");
    EXPECT_EQ(c->values.size(), 1u);
    EXPECT_FALSE(c->subkeys.empty());
    ASSERT_NE(b->FindSubkey(u"caf\u00c9"), nullptr);
    EXPECT_NE(b->FindSubkey(u"caf\u00c9")->FindSubkey(u"X]Y"), nullptr);
    EXPECT_TRUE(c->subkeys.Made().empty());
    EXPECT_TRUE(hive.root->FindSubkey(u"zeta")->link);
    // A change to one key rewrites its section alone.
    hive.Touch(soft->FindSubkey(u"E"));
    soft->FindSubkey(u"E")->values.All().clear();
    const std::string saved = RenderWineRegistry(hive, WineBranch::User, "win64");
    EXPECT_EQ(saved.substr(0, saved.find("[Soft\\\\E]")), text.substr(0, text.find("[Soft\\\\E]")));
    EXPECT_EQ(saved.find("\"e\"="), std::string::npos);
    EXPECT_NE(saved.find("\n[Zeta] 5\n#link\n"), std::string::npos);
    // A new key puts every key in order to find its place.
    hive.Touch(soft->AddSubkey(u"Da", 0));
    const std::string grown = RenderWineRegistry(hive, WineBranch::User, "win64");
    EXPECT_LT(grown.find("[SOFT\\\\B\\\\C\\\\D]"), grown.find("[Soft\\\\Da]"));
    EXPECT_LT(grown.find("[Soft\\\\Da]"), grown.find("[Soft\\\\E]"));
}

// After each save the hive's layout must be the one a fresh read of the saved
// text gives: the next save copies its kept sections by that layout.
TEST(WineRegFile, EachSaveLeavesTheLayoutAFreshReadWouldFind) {
    const auto sameLayout = [](RegHive& adopted, const std::string& text) {
        RegHive fresh;
        ReadWineRegistry(fresh, text, "fresh.reg");
        if (adopted.headerEnd != fresh.headerEnd) return std::string("header end differs");
        const auto& freshChunks = fresh.Chunks();
        const auto& adoptedChunks = adopted.Chunks();
        if (adoptedChunks.size() != freshChunks.size()) return std::string("chunk count differs");
        for (size_t i = 0; i < freshChunks.size(); ++i) {
            const auto &a = adoptedChunks[i], &f = freshChunks[i];
            if (a.begin != f.begin || a.contentEnd != f.contentEnd || a.end != f.end)
                return "chunk " + std::to_string(i) + " differs";
        }
        return std::string();
    };
    for (const char* name : {"wine8-user.reg", "wine8-system-fragment.reg"}) {
        RegHive hive;
        std::string text = ReadBytes(DataFile(name));
        ReadWineRegistry(hive, text, name);
        // Saved as read; one value changed in the middle; a key removed; keys added
        // before the first section and among the others; then saved unchanged.
        std::vector<std::function<void()>> edits = {
            [] {},
            [&] {
                RegKeyNode* k = hive.root->subkeys[hive.root->subkeys.size() / 2].get();
                while (k->values.empty() && !k->subkeys.empty()) k = k->subkeys[0].get();
                hive.Touch(k);
                k->SetValue(u"Added by the test").value = RegValue::String("x");
            },
            [&] {
                RegKeyNode* k = hive.root->subkeys.back().get();
                while (!k->subkeys.empty()) k = k->subkeys.back().get();
                RegKeyNode* parent = k->parent;
                k->deleted = true;
                hive.removed.push_back(std::move(parent->subkeys.back()));
                parent->subkeys.erase(parent->subkeys.end() - 1);
                hive.Touch(parent);
            },
            [&] {
                hive.Touch(hive.root->AddSubkey(u"0 first", 0));
                hive.Touch(hive.root->subkeys[1]->AddSubkey(u"New below", 0));
            },
            [] {},
        };
        for (size_t step = 0; step < edits.size(); ++step) {
            edits[step]();
            const std::string saved = RenderWineRegistry(hive, WineBranch::User, "win64");
            if (step == 0) {
                EXPECT_EQ(saved, text) << name;
            }
            AdoptWineRegistry(hive, saved);
            EXPECT_EQ(sameLayout(hive, saved), "") << name << ", save " << step;
            EXPECT_EQ(RenderWineRegistry(hive, WineBranch::User, "win64"), saved)
                << name << ", save " << step;
            AdoptWineRegistry(hive, saved);
            text = saved;
        }
        EXPECT_NE(text.find("[0 first]"), std::string::npos) << name;
    }
}

TEST(WineRegFile, EveryFixtureAndFuzzFindingRoundTrips) {
    for (const char* folder : {"registry", "registry-fuzz"}) {
        for (const auto& entry : std::filesystem::directory_iterator(
                 std::filesystem::path(VELLORAN_TEST_DATADIR) / folder)) {
            EXPECT_EQ(regtest::CheckRoundTrip(ReadBytes(entry.path())), "") << entry.path();
        }
    }
}

}  // namespace
}  // namespace velloran
