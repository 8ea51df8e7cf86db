#pragma once
// The sites whose cookies a cookie clean keeps: one site per line of
// $XDG_CONFIG_HOME/velloran/cookies-keep.txt, "#" starting a comment.
#include <string>
#include <vector>

#include "common/platform/Platform.hpp"

namespace velloran {

class CookieKeepList {
public:
    CookieKeepList() = default;
    explicit CookieKeepList(const std::string& text);
    // The list in `path`; empty when the file is missing.
    static CookieKeepList Load(Platform& platform, const std::string& path);
    // $XDG_CONFIG_HOME/velloran/cookies-keep.txt
    static std::string DefaultPath();

    // True for a kept site and its subdomains; a cookie host's leading dot and
    // letter case do not matter.
    bool Keeps(std::string host) const;
    const std::vector<std::string>& Sites() const { return sites_; }
    bool Empty() const { return sites_.empty(); }

    // The form a site is stored in, lower case, with no scheme, user, port, path,
    // leading "*." or dots, nor trailing dot: every way of writing a site that
    // cookie hosts are compared with.
    static std::string Normalize(std::string site);
    // Why `site` cannot be kept: it names no host a cookie could belong to (after
    // Normalize). "" when it can.
    static std::string Refusal(const std::string& site);
    // Adds a site once; false when it was already listed or is refused.
    bool Add(const std::string& site);
    // Takes the site out (only that very site, never its parent); false when absent.
    bool Remove(const std::string& site);
    // The file's text: its comments as they were, one site a line.
    std::string Text() const;
    // Makes the sites added and removed since the list was read the same changes
    // on the file as it is now, creating its folder: another process's edit made
    // meanwhile stays. Throws VbError.
    void Save(Platform& platform, const std::string& path) const;

private:
    std::vector<std::string> sites_;
    // The sites as read, to tell this list's changes from the file's.
    std::vector<std::string> read_;
    // Every line as read or added; a removed site's line goes.
    std::vector<std::string> lines_;
};

}  // namespace velloran
