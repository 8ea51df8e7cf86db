#include "cleaning/Settings.hpp"

#include <array>
#include <string>

#include "common/WorkContext.hpp"
#include "common/registry/KelRegistry.hpp"

namespace velloran {

namespace {

constexpr std::string_view kKeyPath = "Software\\Velloran";
constexpr std::string_view kSection = "settings";

// The numbering skips 4 and nothing stores "Restart computer when done.".
constexpr std::array<StoredOption, 6> kOptions{
    {{"set1", 0}, {"set2", 1}, {"set3", kDeleteMethodBox}, {"set5", 3}, {"set6", 4}, {"set7", 5}}};

KelRegistry PointAtSettings(WorkContext& ctx) {
    KelRegistry reg(ctx.SettingsRegistry());
    reg.RootKey(kHKeyCurrentUser);
    reg.KeyPath(std::string(kKeyPath));
    reg.SubKey(std::string(kSection));
    return reg;
}

}  // namespace

std::span<const StoredOption> StoredOptions() { return kOptions; }

std::optional<StoredValues> ReadStoredValues(WorkContext& ctx) {
    KelRegistry reg = PointAtSettings(ctx);
    if (!reg.KeyExists()) return std::nullopt;
    StoredValues values;
    for (const auto& option : kOptions)
        values.emplace_back(option,
                            reg.ReadValue(std::string(option.name), RegData("0")).ToInt16());
    return values;
}

Options StoredOptionsValue(WorkContext& ctx) {
    Options options;
    if (auto values = ReadStoredValues(ctx))
        for (const auto& [option, value] : *values) {
            if (option.box == kDeleteMethodBox)
                options.deleteMethod = value;
            else
                options.SetByClick(option.box, value);
        }
    return options;
}

namespace {
int StoredValue(const StoredOption& option, const Options& o) {
    return option.box == kDeleteMethodBox ? o.deleteMethod : o.box[option.box];
}
}  // namespace

void WriteStoredOptions(WorkContext& ctx, const Options& options, const Options* loaded) {
    KelRegistry reg = PointAtSettings(ctx);
    const bool existed = reg.KeyExists();
    if (!existed) reg.CreateKey();
    for (const auto& option : kOptions) {
        const int v = StoredValue(option, options);
        if (existed && loaded && StoredValue(option, *loaded) == v) continue;
        reg.WriteValue(std::string(option.name), RegData(static_cast<std::int32_t>(v)), kRegDword);
    }
    ctx.SettingsRegistry().Save();
}

}  // namespace velloran
