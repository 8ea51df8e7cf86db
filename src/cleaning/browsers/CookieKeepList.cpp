#include "cleaning/browsers/CookieKeepList.hpp"

#include <algorithm>
#include <cctype>
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

// "https://user@www.example.org:443/path", "*.example.org." and ".example.org" all
// mean the site itself; a cookie's host never carries a port or a trailing dot.
std::string CookieKeepList::Normalize(std::string line) {
    if (auto scheme = line.find("://"); scheme != std::string::npos) line.erase(0, scheme + 3);
    if (auto end = line.find_first_of("/?#"); end != std::string::npos) line.erase(end);
    if (auto at = line.rfind('@'); at != std::string::npos) line.erase(0, at + 1);
    if (line.starts_with('[')) {
        // An IPv6 address keeps its colons; only a port after the bracket goes.
        if (auto close = line.find(']'); close != std::string::npos) line.erase(close + 1);
    } else if (auto colon = line.rfind(':');
               colon != std::string::npos && line.find(':') == colon &&
               line.find_first_not_of("0123456789", colon + 1) == std::string::npos) {
        line.erase(colon);
    }
    if (line.starts_with("*.")) line.erase(0, 2);
    while (!line.empty() && line.front() == '.') line.erase(0, 1);
    while (!line.empty() && line.back() == '.') line.pop_back();
    return AsciiLower(line);
}

std::string CookieKeepList::Refusal(const std::string& entry) {
    const std::string site = Normalize(Trimmed(entry, " \t\r"));
    if (site.empty()) return "it names no site";
    if (site.starts_with('[') && site.ends_with(']') &&
        site.find_first_not_of("0123456789abcdef:.", 1) == site.size() - 1)
        return {};
    for (char c : site)
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '.' || c == '_'))
            return std::string("'") + c +
                   "' is no part of a site's name (write the site, as www.example.org or "
                   "example.org; international names in their xn-- form)";
    if (site.find("..") != std::string::npos) return "a part of its name is empty";
    return {};
}

CookieKeepList::CookieKeepList(const std::string& text) {
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines_.push_back(line);
        std::string site = LineSite(line);
        if (!site.empty()) sites_.push_back(site);
    }
    read_ = sites_;
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
    if (!Refusal(s).empty() || std::find(sites_.begin(), sites_.end(), s) != sites_.end())
        return false;
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
    auto listed = [](const std::vector<std::string>& in, const std::string& site) {
        return std::find(in.begin(), in.end(), site) != in.end();
    };
    platform.EditTextFile(path, [&](const std::optional<std::string>& now) {
        CookieKeepList current(now.value_or(""));
        for (const std::string& site : read_)
            if (!listed(sites_, site)) current.Remove(site);
        for (const std::string& site : sites_)
            if (!listed(read_, site)) current.Add(site);
        return current.Text();
    });
}

}  // namespace velloran
