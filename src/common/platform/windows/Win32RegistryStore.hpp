#pragma once
// The live registry of the user running Velloran, through advapi32's W calls:
// every change is made at once, so there is nothing to save. A refused access
// (HKEY_LOCAL_MACHINE without administrator rights) is error 70.
#include "common/registry/RegistryStore.hpp"

namespace velloran {

class Win32RegistryStore : public RegistryStore {
public:
    bool KeyExists(std::uint32_t root, std::string_view path) const override;
    void CreateKey(std::uint32_t root, std::string_view path) override;
    bool DeleteKey(std::uint32_t root, std::string_view path, bool recursive) override;
    std::vector<std::string> EnumerateKeys(std::uint32_t root,
                                           std::string_view path) const override;
    std::vector<RegValueEntry> EnumerateValues(std::uint32_t root,
                                               std::string_view path) const override;
    std::optional<RegValue> ReadValue(std::uint32_t root, std::string_view path,
                                      std::string_view name) const override;
    void WriteValue(std::uint32_t root, std::string_view path, std::string_view name,
                    const RegValue& value) override;
    bool DeleteValue(std::uint32_t root, std::string_view path, std::string_view name) override;
    bool IsDirty() const override { return false; }
    void Save() override {}
    std::string Describe() const override { return "Windows registry"; }
};

}  // namespace velloran
