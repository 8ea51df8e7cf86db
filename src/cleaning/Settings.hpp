#pragma once
// The options as stored under HKEY_CURRENT_USER "Software\Velloran\settings".
// Task boxes are never stored, nor the restart option.
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "cleaning/Plan.hpp"

namespace velloran {

class WorkContext;

// A stored value's name and the option box it holds (kDeleteMethodBox: the
// delete-method list).
inline constexpr int kDeleteMethodBox = -1;
struct StoredOption {
    std::string_view name;
    int box;
};
std::span<const StoredOption> StoredOptions();

// The stored values in the order a load applies them; nothing when the key does
// not exist.
using StoredValues = std::vector<std::pair<StoredOption, std::int16_t>>;
std::optional<StoredValues> ReadStoredValues(WorkContext& ctx);
// The options a start ends with: the stored values applied as clicks, in order.
Options StoredOptionsValue(WorkContext& ctx);
// Writes the options, creating the key when it is missing, and saves the store.
// With `loaded` (the options as read at start) and the key there, only the values
// that differ from it are written: another process's change to the others stays.
void WriteStoredOptions(WorkContext& ctx, const Options& options, const Options* loaded = nullptr);

}  // namespace velloran
