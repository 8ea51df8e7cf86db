#include "common/registry/OverlayStore.hpp"

#include <set>

#include "common/VbError.hpp"

namespace velloran {

namespace {

constexpr const char* kSource = "Registry";

std::string FullName(std::uint32_t root, std::string_view path) {
    std::string s = RootKeyName(root);
    if (!path.empty()) s += "\\" + std::string(path);
    return s;
}

std::string FoldName(std::string_view name) {
    std::u16string n = Utf8ToUtf16(name);
    for (char16_t& c : n) c = RegFoldCase(c);
    return Utf16ToUtf8(n);
}

// The path of each level, as given: "a\b" gives "a", "a\b".
std::vector<std::string> Prefixes(std::string_view path) {
    std::vector<std::string> out;
    std::string prefix;
    for (const std::u16string& token : SplitRegPath(path)) {
        if (!prefix.empty()) prefix += '\\';
        prefix += Utf16ToUtf8(token);
        out.push_back(prefix);
    }
    return out;
}

std::string LastPart(const std::string& path) {
    const std::size_t slash = path.rfind('\\');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

std::string OverlayStore::Fold(std::uint32_t root, std::string_view path) {
    std::string folded = std::to_string(root) + ":";
    const std::vector<std::string> levels = Prefixes(path);
    return levels.empty() ? folded : folded + FoldName(levels.back());
}

OverlayStore::View OverlayStore::Look(std::uint32_t root, std::string_view path) const {
    View v;
    v.exists = true;
    v.belowShows = true;
    if (const auto top = keys_.find(Fold(root, "")); top != keys_.end()) v.own = &top->second;
    for (const std::string& prefix : Prefixes(path)) {
        const auto it = keys_.find(Fold(root, prefix));
        if (it != keys_.end() && it->second.deleted) {
            v = View{};
            continue;
        }
        if (it != keys_.end()) {
            v.exists = true;
            v.own = &it->second;
            if (it->second.fresh) v.belowShows = false;
            continue;
        }
        v.own = nullptr;
        if (v.exists) v.exists = v.belowShows && below_.KeyExists(root, prefix);
    }
    return v;
}

OverlayStore::View OverlayStore::LookOrThrow(std::uint32_t root, std::string_view path) const {
    View v = Look(root, path);
    if (!v.exists)
        throw VbError(vbErrInvalidCall, "Registry key not found: " + FullName(root, path), kSource);
    return v;
}

bool OverlayStore::KeyExists(std::uint32_t root, std::string_view path) const {
    return Look(root, path).exists;
}

void OverlayStore::CreateKey(std::uint32_t root, std::string_view path) {
    for (const std::string& prefix : Prefixes(path)) {
        if (Look(root, prefix).exists) continue;
        Key& key = keys_[Fold(root, prefix)];
        key = Key{};
        key.path = prefix;
        key.fresh = true;
    }
}

bool OverlayStore::DeleteKey(std::uint32_t root, std::string_view path, bool recursive) {
    if (Prefixes(path).empty())
        throw VbError(vbErrPermissionDenied,
                      "A registry root cannot be deleted: " + FullName(root, path), kSource);
    if (!Look(root, path).exists) return false;
    if (!recursive && !EnumerateKeys(root, path).empty())
        throw VbError(vbErrPermissionDenied, "Registry key has subkeys: " + FullName(root, path),
                      kSource);
    const std::string folded = Fold(root, path);
    // What was changed below it goes with it.
    for (auto it = keys_.lower_bound(folded + "\\");
         it != keys_.end() && it->first.starts_with(folded + "\\");)
        it = keys_.erase(it);
    Key& key = keys_[folded];
    key = Key{};
    key.path = std::string(path);
    key.deleted = true;
    return true;
}

std::vector<std::string> OverlayStore::EnumerateKeys(std::uint32_t root,
                                                     std::string_view path) const {
    const View v = LookOrThrow(root, path);
    const std::string folded = Fold(root, path);
    const std::string childPrefix = Prefixes(path).empty() ? folded : folded + "\\";
    std::vector<std::string> out;
    std::set<std::string> seen;
    if (v.belowShows) {
        for (const std::string& name : below_.EnumerateKeys(root, path)) {
            const auto own = keys_.find(childPrefix + FoldName(name));
            if (own != keys_.end() && own->second.deleted) continue;
            out.push_back(name);
            seen.insert(FoldName(name));
        }
    }
    for (auto it = keys_.lower_bound(childPrefix); it != keys_.end(); ++it) {
        if (!it->first.starts_with(childPrefix)) break;
        const std::string rest = it->first.substr(childPrefix.size());
        if (rest.empty() || rest.find('\\') != std::string::npos || it->second.deleted) continue;
        if (seen.insert(rest).second) out.push_back(LastPart(it->second.path));
    }
    return out;
}

std::vector<RegValueEntry> OverlayStore::EnumerateValues(std::uint32_t root,
                                                         std::string_view path) const {
    const View v = LookOrThrow(root, path);
    std::vector<RegValueEntry> out;
    if (v.belowShows) out = below_.EnumerateValues(root, path);
    if (!v.own) return out;
    std::set<std::string> seen;
    std::erase_if(out, [&](RegValueEntry& e) {
        const std::string folded = FoldName(e.name);
        seen.insert(folded);
        const auto it = v.own->values.find(folded);
        if (it == v.own->values.end()) return false;
        if (!it->second.second) return true;
        e.value = *it->second.second;
        return false;
    });
    for (const auto& [folded, change] : v.own->values)
        if (change.second && !seen.count(folded)) out.push_back({change.first, *change.second});
    return out;
}

std::optional<RegValue> OverlayStore::ReadValue(std::uint32_t root, std::string_view path,
                                                std::string_view name) const {
    const View v = LookOrThrow(root, path);
    if (v.own) {
        const auto it = v.own->values.find(FoldName(name));
        if (it != v.own->values.end()) return it->second.second;
    }
    return v.belowShows ? below_.ReadValue(root, path, name) : std::nullopt;
}

void OverlayStore::WriteValue(std::uint32_t root, std::string_view path, std::string_view name,
                              const RegValue& value) {
    CreateKey(root, path);
    Key& key = keys_[Fold(root, path)];
    if (key.path.empty()) key.path = std::string(path);
    key.values[FoldName(name)] = {std::string(name), value};
}

bool OverlayStore::DeleteValue(std::uint32_t root, std::string_view path, std::string_view name) {
    const bool existed = ReadValue(root, path, name).has_value();
    Key& key = keys_[Fold(root, path)];
    if (key.path.empty()) key.path = std::string(path);
    key.values[FoldName(name)] = {std::string(name), std::nullopt};
    return existed;
}

}  // namespace velloran
