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

private:
    std::vector<std::string> sites_;
};

}  // namespace velloran
