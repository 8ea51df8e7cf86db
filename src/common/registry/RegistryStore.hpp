#pragma once
// Whatever stands for the registry: a Wine prefix's files, memory, later an offline
// hive or the real Windows registry. Keys are addressed by a root handle
// (kHKeyCurrentUser, kHKeyLocalMachine) and a path with "\" between levels. Names
// compare without regard to case and keep the spelling they were created with.
//
// Failures throw VbError: a key that cannot be opened, an unknown root, a name that
// is too long, a file that cannot be written.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/registry/RegistryValue.hpp"

namespace velloran {

class RegistryStore {
public:
    virtual ~RegistryStore() = default;

    virtual bool KeyExists(std::uint32_t root, std::string_view path) const = 0;
    // Creates the key and any missing parents; an existing key is left as it is.
    virtual void CreateKey(std::uint32_t root, std::string_view path) = 0;
    // Deletes the key with its values. A key that has subkeys is refused unless
    // `recursive`. Returns false when the key does not exist.
    virtual bool DeleteKey(std::uint32_t root, std::string_view path, bool recursive) = 0;

    // Direct subkeys, in the store's order. Throws when the key does not exist.
    virtual std::vector<std::string> EnumerateKeys(std::uint32_t root,
                                                   std::string_view path) const = 0;
    // Values in the store's order; the default value has an empty name.
    virtual std::vector<RegValueEntry> EnumerateValues(std::uint32_t root,
                                                       std::string_view path) const = 0;

    // nullopt when the value does not exist; throws when the key does not exist.
    // The empty name is the default value.
    virtual std::optional<RegValue> ReadValue(std::uint32_t root, std::string_view path,
                                              std::string_view name) const = 0;
    // Creates the key when it is missing.
    virtual void WriteValue(std::uint32_t root, std::string_view path, std::string_view name,
                            const RegValue& value) = 0;
    // Returns false when the value does not exist; throws when the key does not exist.
    virtual bool DeleteValue(std::uint32_t root, std::string_view path, std::string_view name) = 0;

    // True when something changed since the last save.
    virtual bool IsDirty() const = 0;
    // Makes the changes permanent. Does nothing when nothing changed.
    virtual void Save() = 0;
    void Flush() { Save(); }

    // One line naming where the data lives, for messages and the status bar.
    virtual std::string Describe() const = 0;
};

}  // namespace velloran
