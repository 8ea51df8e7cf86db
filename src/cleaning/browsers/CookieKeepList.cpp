#include "cleaning/browsers/CookieKeepList.hpp"

#include <algorithm>
#include <sstream>

#include "common/Target.hpp"
#include "common/Text.hpp"

namespace velloran {

namespace {

// "https://www.example.org/path" and ".example.org" both mean the site itself.
std::string SiteOf(std::string line) {
    if (auto scheme = line.find("://"); scheme != std::string::npos) line.erase(0, scheme + 3);
    if (auto slash = line.find('/'); slash != std::string::npos) line.erase(slash);
    while (!line.empty() && line.front() == '.') line.erase(0, 1);
    return AsciiLower(line);
}

}  // namespace

CookieKeepList::CookieKeepList(const std::string& text) {
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (auto hash = line.find('#'); hash != std::string::npos) line.erase(hash);
        std::string site = SiteOf(Trimmed(line, " \t\r"));
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
    host = SiteOf(host);
    for (const std::string& site : sites_) {
        if (host == site) return true;
        if (host.size() > site.size() && host.ends_with(site) &&
            host[host.size() - site.size() - 1] == '.')
            return true;
    }
    return false;
}

}  // namespace velloran
