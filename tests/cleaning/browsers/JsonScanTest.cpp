#include "cleaning/browsers/JsonScan.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velloran::test {

using Strings = std::vector<std::string>;

TEST(JsonScan, KeysOfANestedObjectAndStringsOfANameAnywhere) {
    const std::string state = R"({"browser":{"x":[1,2,{"info_cache":{"No":1}}]},
        "profile" : { "last_used":"Default", "info_cache" : {
            "Default": {"name": "Person 1", "avatar": null},
            "Profile 1": {"name": "Work", "flags": [true, false, -1.5e3]},
            "Profil\u00e9 \"2\"": {}
        } } })";
    EXPECT_EQ(JsonObjectKeys(state, {"profile", "info_cache"}),
              (Strings{"Default", "Profile 1", "Profil\xC3\xA9 \"2\""}));
    EXPECT_EQ(JsonObjectKeys(state, {"profile", "last_used"}), Strings{}) << "not an object";
    EXPECT_EQ(JsonObjectKeys(state, {"nothing"}), Strings{});

    const std::string bookmarks = R"({"roots":{"bar":{"children":[
        {"type":"url","url":"http://a.test/","meta_info":{"url":"http://b.test/"}},
        {"type":"folder","children":[{"url":"http://c.test/\ud83d\ude00"}]},
        {"url":42}]}}})";
    EXPECT_EQ(JsonStringsNamed(bookmarks, "url"),
              (Strings{"http://a.test/", "http://b.test/", "http://c.test/\xF0\x9F\x98\x80"}));
}

TEST(JsonScan, DamagedOrHostileTextYieldsWhatCameBeforeTheFault) {
    EXPECT_EQ(JsonStringsNamed(R"({"url":"a","url":"b)", "url"), Strings{"a"});
    EXPECT_EQ(JsonObjectKeys(R"({"profile":{"info_cache":{"A":1,"B":)", {"profile", "info_cache"}),
              (Strings{"A", "B"}));
    EXPECT_EQ(JsonObjectKeys("", {}), Strings{});
    EXPECT_EQ(JsonObjectKeys("[1,2]", {}), Strings{});
    // Far deeper than any browser file: refused, not a crash.
    const std::string deep = std::string(100000, '[') + std::string(100000, ']');
    EXPECT_EQ(JsonStringsNamed(deep, "url"), Strings{});
    const std::string objects(50000, '{');
    EXPECT_EQ(JsonObjectKeys(objects, {"a"}), Strings{});
}

}  // namespace velloran::test
