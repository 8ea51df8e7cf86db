#pragma once
// KelRegistry: the registry object the cleaning workers, the settings and the
// start-up entry go through. It holds a current key (root, key path, subkey) and
// works on whichever RegistryStore the program chose at start.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "common/Vb.hpp"
#include "common/registry/RegistryStore.hpp"

namespace velloran {

// The data of a value as callers see it: text for REG_SZ and REG_EXPAND_SZ, a
// 32-bit number for REG_DWORD, a 64-bit number for REG_QWORD, a list of texts for
// REG_MULTI_SZ, bytes for everything else. Empty stands for "no data".
class RegData {
public:
    using Strings = std::vector<std::string>;
    using Variant =
        std::variant<std::monostate, std::string, std::int32_t, std::int64_t, RegBytes, Strings>;

    RegData() = default;
    RegData(std::string s) : v_(std::move(s)) {}             // NOLINT
    RegData(std::string_view s) : v_(std::string(s)) {}      // NOLINT
    RegData(const char* s) : v_(std::string(s)) {}           // NOLINT
    RegData(std::int32_t n) : v_(n) {}                       // NOLINT
    RegData(std::int64_t n) : v_(n) {}                       // NOLINT
    RegData(Int16 n) : v_(std::int32_t{std::int16_t(n)}) {}  // NOLINT
    RegData(RegBytes b) : v_(std::move(b)) {}                // NOLINT
    RegData(Strings s) : v_(std::move(s)) {}                 // NOLINT

    bool IsEmpty() const { return std::holds_alternative<std::monostate>(v_); }
    bool IsString() const { return std::holds_alternative<std::string>(v_); }
    bool IsNumber() const {
        return std::holds_alternative<std::int32_t>(v_) || std::holds_alternative<std::int64_t>(v_);
    }
    const Variant& Get() const { return v_; }

    // Conversions as Visual Basic's CStr, CInt and CLng make them: numbers print in
    // decimal, text must hold a number (error 13 otherwise), out of range is error 6.
    // Bytes read as a string are UTF-16LE, as VB assigns a byte array to a string.
    std::string ToString() const;
    std::int16_t ToInt16() const;
    std::int32_t ToInt32() const;

    // The data of a stored value, and the stored value for given data and type.
    static RegData FromValue(const RegValue& value);
    RegValue ToValue(std::uint32_t type) const;

    friend bool operator==(const RegData&, const RegData&) = default;

private:
    Variant v_;
};

class KelRegistry {
public:
    explicit KelRegistry(RegistryStore& store) : store_(&store) {}

    std::uint32_t RootKey() const { return root_; }
    void RootKey(std::uint32_t root) { root_ = root; }
    const std::string& KeyPath() const { return keyPath_; }
    void KeyPath(std::string path) { keyPath_ = std::move(path); }
    const std::string& SubKey() const { return subKey_; }
    void SubKey(std::string name) { subKey_ = std::move(name); }

    // KeyPath\SubKey under RootKey (KeyPath alone while SubKey is empty).
    std::string CurrentKey() const;

    // Whether the current key exists; a missing key is not an error.
    bool KeyExists() const;
    // Creates the current key and any missing parents.
    void CreateKey();
    // Deletes the subkey `name` directly below KeyPath, with its values and its own
    // subkeys. Returns false when there was no such key.
    bool DeleteKey(const std::string& name);
    // Deletes a value of the current key. Returns false when there was no such value.
    bool DeleteValue(const std::string& name);

    // Subkey names of the given key, in the store's order.
    std::vector<std::string> EnumerateKeys(std::uint32_t root, const std::string& path) const;
    // {name, data} of each value of the given key; the default value is named
    // "(Default)". A key without values gives an empty list.
    std::vector<std::pair<std::string, RegData>> EnumerateValues(std::uint32_t root,
                                                                 const std::string& path) const;

    // A value of the current key. A missing value (or key) gives `defaultValue` when
    // one is passed and raises an error otherwise.
    RegData ReadValue(const std::string& name,
                      const std::optional<RegData>& defaultValue = std::nullopt) const;
    // Creates or replaces a value of the current key, creating the key if needed.
    // Type 1 with a number writes the number's text as a string value.
    bool WriteValue(const std::string& name, const RegData& data, std::uint32_t type);

    RegistryStore& Store() const { return *store_; }

private:
    RegistryStore* store_;
    std::uint32_t root_ = kHKeyCurrentUser;
    std::string keyPath_;
    std::string subKey_;
};

}  // namespace velloran
