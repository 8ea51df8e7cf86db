// Text in pieces, as a registry save writes it: the views, the ends and the cuts
// must give the same bytes as one string built the plain way.
#include "common/registry/PieceText.hpp"

#include <gtest/gtest.h>

namespace velloran {
namespace {

std::string Concat(const PieceText& t) {
    std::string out;
    for (std::string_view p : t.Pieces()) out.append(p);
    return out;
}

TEST(PieceText, BehavesLikeOneStringAcrossItsPieces) {
    const std::string base = "[A]\n\"x\"=\"1\"\n\n[B]\n\"y\"=\"2\"\n\n\n";
    const std::string_view view = base;
    PieceText t(base);
    std::string plain;
    const auto both = [&](auto&& step, std::string_view part) {
        step();
        plain.append(part);
    };
    both([&] { t.AppendBase(view.substr(0, 4)); }, view.substr(0, 4));
    both([&] { t.AppendBase(view.substr(4, 9)); }, view.substr(4, 9));  // runs on: one piece
    both([&] { t.Append("[N]\n"); }, "[N]\n");
    both([&] { t.Append('\n'); }, "\n");
    both([&] { t.AppendBase(view.substr(14)); }, view.substr(14));
    EXPECT_EQ(t.Pieces().size(), 3u) << "neighbouring runs and parts are joined";
    EXPECT_EQ(t.size(), plain.size());
    EXPECT_EQ(Concat(t), plain);
    EXPECT_EQ(t.Join(), plain);

    // Ends seen across piece borders.
    EXPECT_TRUE(t.EndsWith("\n\n\n"));
    EXPECT_TRUE(t.EndsWith(plain));
    EXPECT_FALSE(t.EndsWith("x" + plain));
    PieceText small(base);
    small.AppendBase(view.substr(0, 2));
    small.Append("]\n");
    EXPECT_TRUE(small.EndsWith("[A]\n"));
    EXPECT_FALSE(small.EndsWith("[B]\n"));

    // Cuts that take whole pieces and part of one, then more text after them.
    t.Chop(view.size() - 14 + 2);
    plain.resize(plain.size() - (view.size() - 14 + 2));
    EXPECT_EQ(Concat(t), plain);
    EXPECT_TRUE(t.EndsWith("[N]"));
    t.Append("!\n");
    plain += "!\n";
    t.AppendBase(view.substr(0, 4));
    plain.append(view.substr(0, 4));
    EXPECT_EQ(Concat(t), plain);
    EXPECT_EQ(t.Join(), plain);
    t.Chop(1000);
    EXPECT_TRUE(t.empty());
    EXPECT_TRUE(t.Pieces().empty());
}

}  // namespace
}  // namespace velloran
