#pragma once
// Changes to a registry kept in memory over another store, which is only read:
// what a preview runs on. Queries see the store as the changes left it; nothing
// reaches the store below, even one that makes every change at once (the live
// Windows registry), and Save keeps the changes where they are.
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "common/registry/RegistryStore.hpp"

namespace velloran {

class OverlayStore : public RegistryStore {
public:
    explicit OverlayStore(const RegistryStore& below) : below_(below) {}

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
    bool IsDirty() const override { return !keys_.empty(); }
    void Save() override {}
    // The store below, seen through the changes.
    std::string Describe() const override { return below_.Describe(); }

private:
    // One key the changes touched, by its folded path ("root:a\b").
    struct Key {
        std::string path;  // as the change spelled it, for listings
        bool deleted = false;
        // Created where nothing was, or again after a deletion: nothing of the
        // store below shows through it.
        bool fresh = false;
        // Values written (or deleted: nullopt), by folded name.
        std::map<std::string, std::pair<std::string, std::optional<RegValue>>> values;
    };
    struct View {
        bool exists = false;
        bool belowShows = false;  // the store below still speaks for this key
        const Key* own = nullptr;
    };
    View Look(std::uint32_t root, std::string_view path) const;
    View LookOrThrow(std::uint32_t root, std::string_view path) const;
    static std::string Fold(std::uint32_t root, std::string_view path);

    const RegistryStore& below_;
    std::map<std::string, Key> keys_;
};

}  // namespace velloran
