#pragma once
// The junk filter source: the shipped filter file, then the user's own file
// ($XDG_CONFIG_HOME/velloran/junk-filters.txt) appended after it.
//
// Line format: pattern;description;tag. Empty lines and lines starting with "#"
// are not filters. Lines starting with "#&&" are directives, split on ";":
//   #&&drop;PATTERN   removes the filter lines loaded so far whose pattern is
//                     PATTERN (compared without regard to case), so a user file
//                     can switch off a shipped filter
// Unknown directives are ignored. Every line, directive and comment included, is
// kept in Lines so that the window applies its own rules to them.
#include <filesystem>
#include <string>
#include <vector>

#include "common/controls/Signal.hpp"
#include "tools/junk/StringCollection.hpp"

namespace velloran {

class FilterCollection {
public:
    FilterCollection();
    // Reads these files in order instead of the shipped and user files.
    explicit FilterCollection(std::vector<std::filesystem::path> sources);

    const StringCollection& Lines() const { return lines_; }
    // Fills Lines from the sources and raises Populated before returning. The first
    // source must exist (error 53); later ones are optional. Returns the number of
    // filter lines.
    int Populate();
    Signal<> Populated;

    // The installed filter file, or the one in the source tree for a build that
    // runs uninstalled.
    static std::filesystem::path ShippedFile();
    static std::filesystem::path UserFile();

private:
    std::vector<std::filesystem::path> sources_;
    StringCollection lines_;
};

}  // namespace velloran
