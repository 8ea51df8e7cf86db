// The HTML help shipped in data/help: every local link and anchor resolves, the pages
// load nothing from outside, and every caption the main window shows is explained.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "cleaning/TaskCatalogue.hpp"
#include "support/TestProcess.hpp"

namespace velloran::test {

namespace {

namespace fs = std::filesystem;

fs::path HelpDir() { return fs::path(VELLORAN_SOURCE_DATADIR) / "help"; }

struct Page {
    std::string html;
    std::vector<std::string> links;  // href and src values, in order
    std::vector<std::string> ids;
};

// Attribute values in double or single quotes. The pages are hand-written HTML, so
// attributes are always quoted.
std::vector<std::string> Attributes(const std::string& html, const std::string& name) {
    std::vector<std::string> out;
    const std::regex re("\\s" + name + "\\s*=\\s*(\"([^\"]*)\"|'([^']*)')", std::regex::icase);
    for (auto it = std::sregex_iterator(html.begin(), html.end(), re); it != std::sregex_iterator();
         ++it)
        out.push_back((*it)[2].matched ? (*it)[2].str() : (*it)[3].str());
    return out;
}

std::map<std::string, Page> LoadPages() {
    std::map<std::string, Page> pages;
    for (const auto& entry : fs::directory_iterator(HelpDir())) {
        if (entry.path().extension() != ".html") continue;
        Page p;
        p.html = ReadAll(entry.path());
        p.links = Attributes(p.html, "href");
        for (auto& src : Attributes(p.html, "src")) p.links.push_back(src);
        p.ids = Attributes(p.html, "id");
        pages.emplace(entry.path().filename().string(), std::move(p));
    }
    return pages;
}

// The text a reader sees: tags, comments, style and script removed, the entities the
// pages use decoded, runs of white space folded to one blank.
std::string VisibleText(std::string html) {
    html = std::regex_replace(html, std::regex("<!--[\\s\\S]*?-->"), " ");
    html = std::regex_replace(
        html, std::regex("<(style|script)[^>]*>[\\s\\S]*?</\\1>", std::regex::icase), " ");
    html = std::regex_replace(html, std::regex("<[^>]*>"), "");
    static const std::pair<const char*, const char*> kEntities[] = {
        {"&lt;", "<"},     {"&gt;", ">"},     {"&quot;", "\""}, {"&#39;", "'"},
        {"&nbsp;", " "},   {"&mdash;", "-"},  {"&ndash;", "-"}, {"&ldquo;", "\""},
        {"&rdquo;", "\""}, {"&middot;", "."}, {"&amp;", "&"}};  // &amp; last
    for (auto [entity, text] : kEntities) {
        for (std::size_t at = html.find(entity); at != std::string::npos;
             at = html.find(entity, at + 1))
            html.replace(at, std::char_traits<char>::length(entity), text);
    }
    std::string out;
    bool blank = false;
    for (char c : html) {
        const bool space = c == ' ' || c == '\n' || c == '\r' || c == '\t';
        if (space) {
            blank = !out.empty();
            continue;
        }
        if (blank) out += ' ';
        blank = false;
        out += c;
    }
    return out;
}

bool IsExternal(const std::string& link) {
    const std::regex scheme("^[a-zA-Z][a-zA-Z0-9+.-]*:");
    return link.starts_with("//") || std::regex_search(link, scheme);
}

}  // namespace

TEST(HelpPages, IndexIsWhereTheProgramLooksForIt) {
    EXPECT_TRUE(fs::is_regular_file(HelpDir() / "index.html"));
}

TEST(HelpPages, EveryLocalLinkAndAnchorResolves) {
    const auto pages = LoadPages();
    ASSERT_GT(pages.size(), 1u);
    for (const auto& [name, page] : pages) {
        for (const std::string& link : page.links) {
            if (link.starts_with("mailto:")) continue;
            ASSERT_FALSE(IsExternal(link))
                << name << " loads or links " << link << ": the help must work without a network";
            const auto hash = link.find('#');
            const std::string file = link.substr(0, hash);
            const std::string anchor = hash == std::string::npos ? "" : link.substr(hash + 1);
            const std::string target = file.empty() ? name : file;
            if (!pages.count(target)) {
                EXPECT_TRUE(fs::is_regular_file(HelpDir() / target))
                    << name << " links missing " << link;
                EXPECT_TRUE(anchor.empty()) << name << " links an anchor in a non-page: " << link;
                continue;
            }
            if (anchor.empty()) continue;
            const auto& ids = pages.at(target).ids;
            EXPECT_NE(std::find(ids.begin(), ids.end(), anchor), ids.end())
                << name << " links " << link << ", but " << target << " has no id \"" << anchor
                << "\"";
        }
    }
}

TEST(HelpPages, IdsAreUniqueWithinAPage) {
    for (const auto& [name, page] : LoadPages()) {
        std::set<std::string> seen;
        for (const std::string& id : page.ids)
            EXPECT_TRUE(seen.insert(id).second) << name << " repeats id " << id;
    }
}

TEST(HelpPages, EveryPageIsReachableFromTheIndex) {
    const auto pages = LoadPages();
    ASSERT_TRUE(pages.count("index.html"));
    std::set<std::string> linked;
    for (const std::string& link : pages.at("index.html").links)
        linked.insert(link.substr(0, link.find('#')));
    for (const auto& [name, page] : pages) {
        if (name != "index.html") {
            EXPECT_TRUE(linked.count(name)) << name << " is not linked from index.html";
        }
    }
}

TEST(HelpPages, EveryCaptionOfTheMainWindowIsExplained) {
    std::string text;
    for (const auto& [name, page] : LoadPages()) text += VisibleText(page.html) + "\n";

    std::vector<std::string> captions{std::string(kSelectAllCaption)};
    for (const auto& info : TaskArrays()) {
        captions.emplace_back(info.frame);
        for (const auto& task : info.tasks) captions.emplace_back(task.caption);
    }
    for (const auto& option : OptionBoxes()) captions.emplace_back(option.caption);
    for (auto method : DeleteMethods()) captions.emplace_back(method);
    ASSERT_GT(captions.size(), 40u);

    for (const std::string& caption : captions)
        EXPECT_NE(text.find(caption), std::string::npos)
            << "no help text names \"" << caption << "\"";
}

TEST(HelpPages, VisibleTextDecodesAndFolds) {
    // The caption check relies on this: markup and line breaks inside a caption must
    // not hide it, and an escaped ampersand must read as one.
    EXPECT_EQ(VisibleText("<p>Erase <b>Run</b>\n   History &amp; more</p>"),
              "Erase Run History & more");
    EXPECT_EQ(VisibleText("<style>p{}</style><!-- x -->a"), "a");
}

}  // namespace velloran::test
