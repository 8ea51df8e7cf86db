#pragma once
// The round-trip checks shared by the registry tests and the parser's fuzz target:
// whatever the reader accepts comes back byte for byte when nothing changed, and
// every key, rewritten in Wine's form, reads back with the same names and data.
#include <string>
#include <string_view>

#include "common/VbError.hpp"
#include "common/registry/WineRegFile.hpp"

namespace velloran::regtest {

inline void TouchAll(RegHive& hive, RegKeyNode* key) {
    // Iterative: the depth is bounded by the reader, but the check must not rely on it.
    std::vector<RegKeyNode*> stack{key};
    while (!stack.empty()) {
        RegKeyNode* k = stack.back();
        stack.pop_back();
        if (k->parent) hive.Touch(k);
        for (auto& s : k->subkeys) stack.push_back(s.get());
    }
}

// "" when both trees hold the same keys, names (exactly), values and options.
inline std::string CompareTrees(const RegKeyNode& a, const RegKeyNode& b) {
    std::vector<std::pair<const RegKeyNode*, const RegKeyNode*>> stack{{&a, &b}};
    while (!stack.empty()) {
        auto [x, y] = stack.back();
        stack.pop_back();
        const std::string where = Utf16ToUtf8(x->name);
        if (x->name != y->name) return "key name differs: " + where;
        if (x->link != y->link || x->keyClass != y->keyClass) return "key options differ: " + where;
        if (x->subkeys.size() != y->subkeys.size()) return "subkey count differs: " + where;
        if (x->values.size() != y->values.size()) return "value count differs: " + where;
        for (size_t i = 0; i < x->values.size(); ++i) {
            if (x->values[i].name != y->values[i].name) return "value name differs in " + where;
            if (!(x->values[i].value == y->values[i].value))
                return "value data differs in " + where;
        }
        for (size_t i = 0; i < x->subkeys.size(); ++i)
            stack.emplace_back(x->subkeys[i].get(), y->subkeys[i].get());
    }
    return {};
}

// "" when `input` is refused or survives both round trips; otherwise what broke.
inline std::string CheckRoundTrip(std::string_view input) {
    RegHive hive;
    try {
        ReadWineRegistry(hive, std::string(input), "input.reg");
    } catch (const VbError&) {
        return {};
    }
    if (RenderWineRegistry(hive, WineBranch::User, "win64") != input)
        return "an unchanged file is not written back as it was";
    TouchAll(hive, hive.root.get());
    std::string rewritten = RenderWineRegistry(hive, WineBranch::User, "win64");
    RegHive again;
    try {
        ReadWineRegistry(again, rewritten, "rewritten.reg");
    } catch (const VbError& e) {
        return "the rewritten file is refused: " + e.Description();
    }
    if (std::string diff = CompareTrees(*hive.root, *again.root); !diff.empty()) return diff;
    // Once saved, the rewritten text is what the next save starts from.
    AdoptWineRegistry(hive, rewritten);
    if (RenderWineRegistry(hive, WineBranch::User, "win64") != rewritten)
        return "a saved file is not written back as it was";
    return {};
}

}  // namespace velloran::regtest
