#include "tools/junk/FilterCollection.hpp"

#include <fstream>

#include "common/Target.hpp"
#include "common/VbError.hpp"
#include "tools/junk/Wildcard.hpp"

namespace velloran {

namespace fs = std::filesystem;

namespace {
bool SamePattern(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (FoldCase(a[i]) != FoldCase(b[i])) return false;
    return true;
}

std::string FirstField(const std::string& line) { return line.substr(0, line.find(';')); }

bool IsFilterLine(const std::string& line) { return !line.empty() && line[0] != '#'; }
}  // namespace

FilterCollection::FilterCollection() : sources_{ShippedFile(), UserFile()} {}

FilterCollection::FilterCollection(std::vector<fs::path> sources) : sources_(std::move(sources)) {}

fs::path FilterCollection::ShippedFile() {
    std::error_code ec;
    if (const fs::path beside = ShippedDataFolder(); !beside.empty()) {
        fs::path file = beside / "junk-filters.txt";
        if (fs::exists(file, ec)) return file;
    }
    fs::path installed = fs::path(VELLORAN_DATADIR) / "junk-filters.txt";
    if (fs::exists(installed, ec)) return installed;
    return fs::path(VELLORAN_SOURCE_DATADIR) / "junk-filters.txt";
}

fs::path FilterCollection::UserFile() { return XdgConfigHome() / "velloran" / "junk-filters.txt"; }

int FilterCollection::Populate() {
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < sources_.size(); ++i) {
        std::ifstream in(sources_[i], std::ios::binary);
        if (!in) {
            if (i == 0) throw VbError::FileNotFound(sources_[i].string());
            continue;
        }
        std::string line;
        while (std::getline(in, line)) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (line.rfind("#&&", 0) == 0) {
                std::string rest = line.substr(3);
                std::string verb = FirstField(rest);
                if (SamePattern(verb, "drop") && rest.size() > verb.size()) {
                    std::string pattern = FirstField(rest.substr(verb.size() + 1));
                    std::erase_if(lines, [&](const std::string& l) {
                        return IsFilterLine(l) && SamePattern(FirstField(l), pattern);
                    });
                }
            }
            lines.push_back(std::move(line));
        }
    }
    lines_.Clear();
    int filters = 0;
    for (auto& l : lines) {
        if (IsFilterLine(l)) ++filters;
        lines_.Add(std::move(l));
    }
    Populated();
    return filters;
}

}  // namespace velloran
