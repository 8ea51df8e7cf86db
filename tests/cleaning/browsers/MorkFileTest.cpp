#include "cleaning/browsers/MorkFile.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "cleaning/browsers/GeckoTasks.hpp"

namespace velloran::test {

namespace fs = std::filesystem;

namespace {

const fs::path kData = fs::path(VELLORAN_TEST_DATADIR) / "browsers/mork";

std::string Fixture(const fs::path& file = kData / "history.dat") {
    std::ifstream in(file, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

std::string CellsText(const std::vector<MorkCell>* cells) {
    std::string out;
    if (!cells) return "(missing)";
    for (const MorkCell& c : *cells)
        out += " " + c.column + (c.value.isName ? "=name:" : "=") + c.value.text;
    return out;
}

// Everything a reader of the store sees, as text, to compare two stores.
std::string Dump(const MorkStore& store) {
    std::string out;
    for (const MorkTable& t : store.Tables()) {
        out += "table " + t.id.scope + "/" + std::to_string(t.id.id) + ":" + CellsText(&t.meta);
        if (t.metaRow) out += " meta row" + CellsText(store.Row(*t.metaRow));
        out += "\n";
        for (const MorkRowId& r : t.rows)
            out += "  " + r.scope + "/" + std::to_string(r.id) + CellsText(store.Row(r)) + "\n";
    }
    return out;
}

std::vector<std::uint64_t> RowIds(const MorkStore& store) {
    std::vector<std::uint64_t> ids;
    for (const MorkRowId& r : store.Tables().at(0).rows) ids.push_back(r.id);
    return ids;
}

std::string Utf16(const std::string& ascii) {
    std::string out;
    for (char c : ascii) out += std::string{c, '\0'};
    return out;
}

}  // namespace

TEST(MorkFile, OnlyCommittedTransactionsCountAndCutsApply) {
    const MorkStore store = MorkStore::Parse(Fixture());
    ASSERT_EQ(store.Tables().size(), 1u);
    const MorkTable& history = store.Tables()[0];
    EXPECT_EQ(history.id.scope, "ns:history:db:row:scope:history:all");
    EXPECT_EQ(history.meta.at(0),
              (MorkCell{"k", MorkValue{"ns:history:db:table:kind:history", true}}));
    // Cut C, aborted E and unfinished F are not there; D came with transaction 1.
    EXPECT_EQ(RowIds(store), (std::vector<std::uint64_t>{8, 9, 0xA, 0xB, 0xD}));

    const auto row = [&](std::uint64_t id) { return *store.Row({history.id.scope, id}); };
    EXPECT_EQ(MorkStore::Value(row(8), "Name"), Utf16("Visited"));
    EXPECT_EQ(MorkStore::Value(row(8), "VisitCount"), "2") << "rewritten by [-8 ...]";
    EXPECT_EQ(MorkStore::Value(row(8), "LastVisitDate"), "1098300900000000");
    EXPECT_EQ(MorkStore::Value(row(0xA), "Typed"), "1") << "typed later";
    EXPECT_EQ(MorkStore::Value(row(0xA), "URL"), "http://mixed.test/") << "other cells stay";
    EXPECT_EQ(MorkStore::Value(row(0xB), "Typed"), std::nullopt) << "cell cut";
    EXPECT_EQ(MorkStore::Value(row(0xD), "Name"),
              "a long title that goes on past the end of the line");
    EXPECT_EQ(MorkStore::Value(*store.Row(*history.metaRow), "ByteOrder"), "LE");

    std::vector<bool> typed;
    for (const MorkRowId& r : history.rows) typed.push_back(IsTypedHistoryRow(*store.Row(r)));
    EXPECT_EQ(typed, (std::vector<bool>{false, true, true, false, true}));
    // A row cut and added again moves to the end; a table emptied by "{-" refills.
    const MorkStore moved = MorkStore::Parse(
        "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n{1:r [1][2][3]}{2:r [1]}\n"
        "@$${1{@{1:r -1 -[2] [1]}{-2:r [3]}@$$}1}@");
    EXPECT_EQ(RowIds(moved), (std::vector<std::uint64_t>{3, 1}));
    EXPECT_EQ(moved.Tables()[1].rows, (std::vector<MorkRowId>{{"r", 3}}));
    EXPECT_FALSE(IsTypedHistoryRow({{"Typed", {"0"}}}));
    EXPECT_FALSE(IsTypedHistoryRow({{"Typed", {""}}}));
}

// Files Thunderbird wrote with the Mork code the old browsers shared: row updates
// outside any table, a scope per table, multi-line rows, empty transactions.
TEST(MorkFile, ReadsWhatMozillasOwnWriterWrote) {
    for (const char* folder : {"Trash", "Unsent Messages"}) {
        const MorkStore store =
            MorkStore::Parse(Fixture(kData / "thunderbird" / (std::string(folder) + ".msf")));
        ASSERT_EQ(store.Tables().size(), 3u) << folder;
        const MorkTable& info = store.Tables()[2];
        EXPECT_EQ(info.id.scope, "ns:msg:db:row:scope:dbfolderinfo:all");
        EXPECT_EQ(info.meta.at(1), (MorkCell{"s", MorkValue{"9u"}}));
        ASSERT_EQ(info.rows.size(), 1u);
        const std::vector<MorkCell>& row = *store.Row(info.rows[0]);
        EXPECT_EQ(MorkStore::Value(row, "mailboxName"), folder);
        EXPECT_EQ(MorkStore::Value(row, "version"), "1");
        EXPECT_EQ(store.Tables()[1].id.id, 0xFFFFFFFDu);
        EXPECT_EQ(Dump(MorkStore::Parse(store.Write())), Dump(store)) << folder;
    }
    // Thunderbird opened the file this writer made, kept it and appended to it,
    // numbering its new column names after the ones written here.
    const std::string ours = MorkStore::Parse(Fixture(kData / "thunderbird/Trash.msf")).Write();
    const std::string reopened = Fixture(kData / "thunderbird/Trash-reopened.msf");
    EXPECT_TRUE(reopened.starts_with(ours));
    EXPECT_NE(reopened.find("@$${1{@", ours.size()), std::string::npos);
    const MorkStore after = MorkStore::Parse(reopened);
    EXPECT_EQ(MorkStore::Value(*after.Row(after.Tables()[2].rows.at(0)), "mailboxName"), "Trash");
}

TEST(MorkFile, RewrittenFileHoldsTheFinalStateAndNothingRemoved) {
    MorkStore store = MorkStore::Parse(Fixture());
    EXPECT_EQ(store.RemoveRows(IsTypedHistoryRow), 3u);
    EXPECT_EQ(RowIds(store), (std::vector<std::uint64_t>{8, 0xB}));
    const std::string text = store.Write();

    // Read back, the new file is the same store, and writing it again changes nothing.
    const MorkStore again = MorkStore::Parse(text);
    EXPECT_EQ(Dump(again), Dump(store));
    EXPECT_EQ(again.Write(), text);

    for (const char* gone : {"typed-only", "mixed.test", "new-typed", "expired", "aborted",
                             "unfinished", "a long title", "T$00y$00p$00e$00d", "@$$", "Typed"})
        EXPECT_EQ(text.find(gone), std::string::npos) << gone << " in\n" << text;
    for (const char* kept : {"http://visited.test/page", "http://untyped.test/",
                             "http://linked.test/", "V$00i$00s$00i$00t", "(k^81:c)"})
        EXPECT_NE(text.find(kept), std::string::npos) << kept << " in\n" << text;
    // The layout line-based readers of the browsers' era expect: the column names
    // begin on the line after "< <(a=c)>", each row begins a line.
    EXPECT_TRUE(text.starts_with("// <!-- <mdb:mork:z v=\"1.4\"/> -->\n< <(a=c)>"));
    EXPECT_NE(text.find("\n  [8("), std::string::npos) << text;
    EXPECT_NE(text.find("\n  [B("), std::string::npos) << text;
}

TEST(MorkFile, AnyBytesSurviveTheRoundTrip) {
    MorkStore store = MorkStore::Parse(
        "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n"
        "< <(a=c)> (80=ns:scope)(81=kind)(82=V)(83=two words) >\n"
        "{5:^80 {(k^81:c)} [7(^82=x)] 9 [A:r(^82=y)] }\n"
        "{6:^80 9 [7]}\n"
        "[9:^80(^82=placed before its cells)(^83=)]\n");
    std::string awkward = "a)b\\c$d@$$}e\n\r\t/* not a comment */";
    awkward += std::string("\0\x7f\xff", 3) + Utf16("wide") + std::string(3000, 'L');
    ASSERT_EQ(store.RemoveRows([&](const std::vector<MorkCell>& cells) {
        return MorkStore::Value(cells, "V") == "x";
    }),
              1u);
    MorkStore edited = MorkStore::Parse(store.Write());
    EXPECT_EQ(Dump(edited), Dump(store));
    EXPECT_EQ(Dump(store),
              "table ns:scope/5: k=name:kind\n"
              "  ns:scope/9 V=placed before its cells two words=\n"
              "  r/10 V=y\n"
              "table ns:scope/6:\n"
              "  ns:scope/9 V=placed before its cells two words=\n")
        << "a row in two tables, a row of another scope, an empty value";

    // Every byte value, the escapes and a value longer than any line.
    std::string all;
    for (int b = 0; b < 256; ++b) all += static_cast<char>(b);
    for (const std::string& value : {awkward, all}) {
        const std::string written = "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n<(80=x)>{1:r [1(V=" +
                                    [&] {
                                        std::string escaped;
                                        for (unsigned char c : value) {
                                            char hex[4];
                                            std::snprintf(hex, sizeof hex, "$%02X", c);
                                            escaped += hex;
                                        }
                                        return escaped;
                                    }() +
                                    ")]}\n";
        const MorkStore parsed = MorkStore::Parse(written);
        const MorkStore back = MorkStore::Parse(parsed.Write());
        EXPECT_EQ(MorkStore::Value(*back.Row({"r", 1}), "V"), value);
        EXPECT_EQ(parsed.Write().find("@$$"), std::string::npos);
    }
    EXPECT_EQ(MorkStore::Parse("").Tables().size(), 0u);
}

TEST(MorkFile, DamagedTextIsRefusedWithItsLine) {
    const std::string magic = "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n";
    const std::pair<std::string, std::string> cases[] = {
        {"<mdb:mork v=1.3>\n", "not a Mork 1.4 file"},
        {magic + "<(80=never ends", "line 2: a value does not end"},
        {magic + "\n{1:r [1(^85^90)]}", "line 3: the name ^85 is not defined"},
        {magic + "< <(a=c)> (85=URL)>\n{1:r [1(^85^90)]}", "the value ^90 is not defined"},
        {magic + "{1:r [1(^85=x)]}", "the name ^85 is not defined"},
        {magic + "{1:r [1(V=$4)]}", "'$' escape without two hex digits"},
        {magic + "{1:r [1(V=x)] ?}", "'?' in a table"},
        {magic + "{1:r [1(V=x)]", "the end of the file in a table"},
        {magic + "{11111111111111111:r}", "a number is too long"},
        {magic + "@$${2{@ [1(V=x)] @$$}3}@", "transaction 2 ends as 3"},
        {magic + "@$${2{@ @$${3{@ @$$}2}@", "'@' inside a transaction"},
        {magic + "/* open", "a comment does not end"},
        {magic + "{1:r [1(V^1:q)]}", "scope \"q\" are not supported"},
        {magic + "< <(a=z)> >", "dictionaries of the scope \"z\""},
        {magic + "x", "'x' between the file's parts"},
    };
    for (const auto& [text, message] : cases) {
        try {
            MorkStore::Parse(text);
            ADD_FAILURE() << "accepted: " << text;
        } catch (const MorkError& e) {
            EXPECT_NE(std::string(e.what()).find(message), std::string::npos)
                << e.what() << " for " << text;
        }
    }
}

// Whatever is cut off or garbled, reading either fails with MorkError or gives a
// store whose new file reads back the same.
TEST(MorkFile, TruncatedAndGarbledFilesNeverGiveAWrongFile) {
    const std::string fixture = Fixture();
    auto check = [](const std::string& text) {
        try {
            const MorkStore store = MorkStore::Parse(text);
            EXPECT_EQ(Dump(MorkStore::Parse(store.Write())), Dump(store));
        } catch (const MorkError&) {
        }
    };
    for (std::size_t n = 0; n < fixture.size(); ++n) check(fixture.substr(0, n));
    std::uint32_t seed = 12345;
    for (int round = 0; round < 3000; ++round) {
        seed = seed * 1664525 + 1013904223;
        std::string garbled = fixture;
        const std::size_t at = 40 + (seed >> 8) % (fixture.size() - 40);
        garbled[at] = "()[]{}<>^=-:$\\@!/x8 \n\0"[(seed >> 24) % 22];
        check(garbled);
    }
}

}  // namespace velloran::test
