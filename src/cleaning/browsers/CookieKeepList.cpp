#include "cleaning/browsers/CookieKeepList.hpp"

#include <algorithm>
#include <sstream>

#include "common/Target.hpp"
#include "common/Text.hpp"
#include "common/platform/Paths.hpp"

namespace velloran {

namespace {

// The site a line names: what is left of it without its comment.
std::string LineSite(std::string line) {
    if (auto hash = line.find('#'); hash != std::string::npos) line.erase(hash);
    return CookieKeepList::Normalize(Trimmed(line, " \t\r"));
}

}  // namespace

// "https://www.example.org/path" and ".example.org" both mean the site itself.
std::string CookieKeepList::Normalize(std::string line) {
    if (auto scheme = line.find("://"); scheme != std::string::npos) line.erase(0, scheme + 3);
    if (auto slash = line.find('/'); slash != std::string::npos) line.erase(slash);
    while (!line.empty() && line.front() == '.') line.erase(0, 1);
    return AsciiLower(line);
}

CookieKeepList::CookieKeepList(const std::string& text) {
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines_.push_back(line);
        std::string site = LineSite(line);
        if (!site.empty()) sites_.push_back(site);
    }
}

CookieKeepList CookieKeepList::Load(Platform& platform, const std::string& path) {
    auto text = platform.ReadTextFile(path);
    return text ? CookieKeepList(*text) : CookieKeepList();
}

std::string CookieKeepList::DefaultPath() {
    return (XdgConfigHome() / "velloran" / "cookies-keep.txt").string();
}

bool CookieKeepList::Keeps(std::string host) const {
    host = Normalize(host);
    for (const std::string& site : sites_) {
        if (host == site) return true;
        if (host.size() > site.size() && host.ends_with(site) &&
            host[host.size() - site.size() - 1] == '.')
            return true;
    }
    return false;
}

bool CookieKeepList::Add(const std::string& site) {
    const std::string s = Normalize(Trimmed(site, " \t\r"));
    if (s.empty() || std::find(sites_.begin(), sites_.end(), s) != sites_.end()) return false;
    sites_.push_back(s);
    lines_.push_back(s);
    return true;
}

bool CookieKeepList::Remove(const std::string& site) {
    const std::string s = Normalize(Trimmed(site, " \t\r"));
    const auto before = sites_.size();
    std::erase(sites_, s);
    std::erase_if(lines_, [&](const std::string& line) { return LineSite(line) == s; });
    return sites_.size() != before;
}

std::string CookieKeepList::Text() const {
    std::string text;
    // A new file says what it is for.
    if (lines_.empty() || lines_.front().rfind('#', 0) != 0)
        text = "# Sites whose cookies Velloran keeps, with their subdomains: one a line.\n";
    for (const std::string& line : lines_) text += line + "\n";
    return text;
}

void CookieKeepList::Save(Platform& platform, const std::string& path) const {
    const auto slash = path.find_last_of(kPathSeparators);
    if (slash != std::string::npos && slash > 0) platform.CreateDirectories(path.substr(0, slash));
    platform.WriteTextFile(path, Text());
}

}  // namespace velloran
