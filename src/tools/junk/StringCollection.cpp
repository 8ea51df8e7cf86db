#include "tools/junk/StringCollection.hpp"

#include "common/VbError.hpp"
#include "tools/junk/Wildcard.hpp"

namespace velloran {

namespace {
std::string Folded(const std::string& s) {
    std::string out(s);
    for (char& c : out) c = FoldCase(c);
    return out;
}
}  // namespace

void StringCollection::Add(std::string item, const std::string& key) {
    std::string folded = Folded(key);
    if (!folded.empty())
        for (const auto& [it, k] : items_)
            if (k == folded) throw VbError::KeyInUse();
    items_.emplace_back(std::move(item), std::move(folded));
}

const std::string& StringCollection::Item(int index) const {
    if (index < 1 || index > Count()) throw VbError::SubscriptOutOfRange();
    return items_[static_cast<std::size_t>(index - 1)].first;
}

const std::string& StringCollection::Item(const std::string& key) const {
    std::string folded = Folded(key);
    for (const auto& [it, k] : items_)
        if (!k.empty() && k == folded) return it;
    throw VbError::InvalidCall();
}

void StringCollection::Remove(int index) {
    if (index < 1 || index > Count()) throw VbError::SubscriptOutOfRange();
    items_.erase(items_.begin() + (index - 1));
}

}  // namespace velloran
