#include "common/registry/KelRegistry.hpp"

#include <cmath>
#include <cstdlib>
#include <limits>

#include "common/VbError.hpp"

namespace velloran {

namespace {

constexpr const char* kSource = "KelRegistry";

[[noreturn]] void TypeMismatch() { throw VbError::TypeMismatch().From(kSource); }
[[noreturn]] void Overflow() { throw VbError::Overflow().From(kSource); }

// VB's numeric text: blanks around, a sign, digits with an optional fraction, or
// &H / &O literals. Fractions round half to even, as CInt and CLng do.
double ParseNumber(std::string_view s) {
    auto blank = [](char c) { return c == ' ' || c == '\t'; };
    while (!s.empty() && blank(s.front())) s.remove_prefix(1);
    while (!s.empty() && blank(s.back())) s.remove_suffix(1);
    if (s.empty()) TypeMismatch();
    std::string t(s);
    if (t.size() > 2 && t[0] == '&' && (t[1] == 'H' || t[1] == 'h' || t[1] == 'O' || t[1] == 'o')) {
        int base = (t[1] == 'H' || t[1] == 'h') ? 16 : 8;
        char* end = nullptr;
        unsigned long long v = std::strtoull(t.c_str() + 2, &end, base);
        if (*end || end == t.c_str() + 2) TypeMismatch();
        // VB's hex literals are 16-bit or 32-bit two's complement.
        if (v <= 0xFFFF) return static_cast<double>(static_cast<std::int16_t>(v));
        if (v <= 0xFFFFFFFFull) return static_cast<double>(static_cast<std::int32_t>(v));
        Overflow();
    }
    for (char c : t)
        if (!(std::isdigit(static_cast<unsigned char>(c)) || c == '+' || c == '-' || c == '.' ||
              c == 'e' || c == 'E'))
            TypeMismatch();
    char* end = nullptr;
    double d = std::strtod(t.c_str(), &end);
    if (*end || end == t.c_str()) TypeMismatch();
    return d;
}

std::int64_t RoundToInteger(double d, double lo, double hi) {
    double r = std::nearbyint(d);  // default rounding mode: half to even
    if (!(r >= lo && r <= hi)) Overflow();
    return static_cast<std::int64_t>(r);
}

std::int64_t AsInteger(const RegData::Variant& v, double lo, double hi) {
    if (std::holds_alternative<std::monostate>(v)) return 0;
    if (auto* n = std::get_if<std::int32_t>(&v)) return RoundToInteger(*n, lo, hi);
    if (auto* n = std::get_if<std::int64_t>(&v)) {
        if (static_cast<double>(*n) < lo || static_cast<double>(*n) > hi) Overflow();
        return *n;
    }
    if (auto* s = std::get_if<std::string>(&v)) return RoundToInteger(ParseNumber(*s), lo, hi);
    TypeMismatch();
}

void AppendLe(RegBytes& out, std::uint64_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

std::string Join(const std::string& a, const std::string& b) {
    if (a.empty()) return b;
    if (b.empty()) return a;
    return a + "\\" + b;
}

}  // namespace

// ---- RegData ----

std::string RegData::ToString() const {
    if (IsEmpty()) return {};
    if (auto* s = std::get_if<std::string>(&v_)) return *s;
    if (auto* n = std::get_if<std::int32_t>(&v_)) return std::to_string(*n);
    if (auto* n = std::get_if<std::int64_t>(&v_)) return std::to_string(*n);
    if (auto* b = std::get_if<RegBytes>(&v_)) {
        std::u16string units;
        for (size_t i = 0; i + 1 < b->size(); i += 2)
            units.push_back(static_cast<char16_t>((*b)[i] | ((*b)[i + 1] << 8)));
        return Utf16ToUtf8(units);
    }
    TypeMismatch();
}

std::int16_t RegData::ToInt16() const {
    return static_cast<std::int16_t>(AsInteger(v_, -32768.0, 32767.0));
}

std::int32_t RegData::ToInt32() const {
    return static_cast<std::int32_t>(AsInteger(v_, -2147483648.0, 2147483647.0));
}

RegData RegData::FromValue(const RegValue& value) {
    const RegBytes& d = value.data;
    switch (value.type) {
        case kRegSz:
        case kRegExpandSz:
            return RegData(value.AsString());
        case kRegMultiSz:
            return RegData(value.AsStrings());
        case kRegDword:
            if (d.size() == 4)
                return RegData(static_cast<std::int32_t>(d[0] | (d[1] << 8) | (d[2] << 16) |
                                                         (static_cast<std::uint32_t>(d[3]) << 24)));
            break;
        case kRegDwordBigEndian:
            if (d.size() == 4)
                return RegData(static_cast<std::int32_t>(d[3] | (d[2] << 8) | (d[1] << 16) |
                                                         (static_cast<std::uint32_t>(d[0]) << 24)));
            break;
        case kRegQword:
            if (d.size() == 8) {
                std::uint64_t v = 0;
                for (int i = 7; i >= 0; --i) v = (v << 8) | d[static_cast<size_t>(i)];
                return RegData(static_cast<std::int64_t>(v));
            }
            break;
        default:
            break;
    }
    return RegData(d);
}

RegValue RegData::ToValue(std::uint32_t type) const {
    switch (type) {
        case kRegSz:
        case kRegExpandSz:
            return RegValue::String(ToString(), type);
        case kRegMultiSz:
            if (auto* list = std::get_if<Strings>(&v_)) return RegValue::MultiString(*list);
            return RegValue::MultiString({ToString()});
        case kRegDword:
            return RegValue::Dword(
                static_cast<std::uint32_t>(AsInteger(v_, -2147483648.0, 4294967295.0)));
        case kRegDwordBigEndian: {
            auto v = static_cast<std::uint32_t>(AsInteger(v_, -2147483648.0, 4294967295.0));
            RegValue out;
            out.type = type;
            for (int i = 3; i >= 0; --i)
                out.data.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
            return out;
        }
        case kRegQword:
            return RegValue::Qword(static_cast<std::uint64_t>(
                AsInteger(v_, -9223372036854775808.0, 9223372036854775807.0)));
        default: {
            RegValue out;
            out.type = type;
            if (auto* b = std::get_if<RegBytes>(&v_))
                out.data = *b;
            else if (auto* s = std::get_if<std::string>(&v_))
                out.data.assign(s->begin(), s->end());
            else if (auto* n = std::get_if<std::int32_t>(&v_))
                AppendLe(out.data, static_cast<std::uint32_t>(*n), 4);
            else if (auto* n64 = std::get_if<std::int64_t>(&v_))
                AppendLe(out.data, static_cast<std::uint64_t>(*n64), 8);
            else if (!IsEmpty())
                TypeMismatch();
            return out;
        }
    }
}

// ---- KelRegistry ----

std::string KelRegistry::CurrentKey() const { return Join(keyPath_, subKey_); }

bool KelRegistry::KeyExists() const { return store_->KeyExists(root_, CurrentKey()); }

void KelRegistry::CreateKey() { store_->CreateKey(root_, CurrentKey()); }

bool KelRegistry::DeleteKey(const std::string& name) {
    if (name.empty()) throw VbError::InvalidCall().From(kSource);
    if (!store_->KeyExists(root_, keyPath_))
        throw VbError(vbErrInvalidCall,
                      "Registry key not found: " + RootKeyName(root_) + "\\" + keyPath_, kSource);
    return store_->DeleteKey(root_, Join(keyPath_, name), true);
}

bool KelRegistry::DeleteValue(const std::string& name) {
    return store_->DeleteValue(root_, CurrentKey(), name);
}

std::vector<std::string> KelRegistry::EnumerateKeys(std::uint32_t root,
                                                    const std::string& path) const {
    return store_->EnumerateKeys(root, path);
}

std::vector<std::pair<std::string, RegData>> KelRegistry::EnumerateValues(
    std::uint32_t root, const std::string& path) const {
    std::vector<std::pair<std::string, RegData>> out;
    for (auto& e : store_->EnumerateValues(root, path))
        out.emplace_back(e.IsDefault() ? std::string(kDefaultValueName) : std::move(e.name),
                         RegData::FromValue(e.value));
    return out;
}

RegData KelRegistry::ReadValue(const std::string& name,
                               const std::optional<RegData>& defaultValue) const {
    std::string key = CurrentKey();
    if (defaultValue && !store_->KeyExists(root_, key)) return *defaultValue;
    if (auto v = store_->ReadValue(root_, key, name)) return RegData::FromValue(*v);
    if (defaultValue) return *defaultValue;
    throw VbError(vbErrInvalidCall,
                  "Registry value not found: " + RootKeyName(root_) + "\\" + key + "\\" + name,
                  kSource);
}

bool KelRegistry::WriteValue(const std::string& name, const RegData& data, std::uint32_t type) {
    store_->WriteValue(root_, CurrentKey(), name, data.ToValue(type));
    return true;
}

}  // namespace velloran
