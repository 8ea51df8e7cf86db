#pragma once
#include <string>
#include <utility>
#include <vector>

namespace velloran {

// A string collection as the window fills it: indexed from 1, items may carry a
// unique key that compares without regard to case.
class StringCollection {
public:
    // A key already in use raises error 457.
    void Add(std::string item, const std::string& key = {});
    int Count() const { return static_cast<int>(items_.size()); }
    // Error 9 when the index is out of range, 5 when the key is unknown.
    const std::string& Item(int index) const;
    const std::string& Item(const std::string& key) const;
    void Remove(int index);
    void Clear() { items_.clear(); }

private:
    std::vector<std::pair<std::string, std::string>> items_;  // item, folded key
};

}  // namespace velloran
