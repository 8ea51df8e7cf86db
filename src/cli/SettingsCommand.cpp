// 'velloran-cli settings': the stored options shown with their names and meanings,
// or changed by name (secure-delete=1, delete-method=zero) or by their stored
// value names (set2=1). Changes go through the Settings page's rules.
#include "cli/SettingsCommand.hpp"

#include <iostream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/Application.hpp"
#include "app/ConsoleHost.hpp"
#include "app/ConsoleSession.hpp"
#include "cleaning/Settings.hpp"
#include "cleaning/TaskCatalogue.hpp"
#include "cli/Json.hpp"
#include "common/Text.hpp"

namespace velloran {

namespace {

const OptionInfo* OptionOfBox(int box) {
    for (const OptionInfo& o : OptionBoxes())
        if (o.index == box) return &o;
    return nullptr;
}

// The box a NAME stands for (kDeleteMethodBox: the delete method); nothing when unknown.
std::optional<int> BoxNamed(const std::string& name) {
    if (name == "delete-method") return kDeleteMethodBox;
    for (const StoredOption& s : StoredOptions())
        if (name == s.name) return s.box;
    for (const StoredOption& s : StoredOptions())
        if (s.box != kDeleteMethodBox && name == OptionOfBox(s.box)->name) return s.box;
    return std::nullopt;
}

std::optional<int> ParseValue(int box, const std::string& value) {
    if (box == kDeleteMethodBox) {
        const auto names = DeleteMethodNames();
        for (std::size_t i = 0; i < names.size(); ++i)
            if (value == names[i] || value == std::to_string(i)) return static_cast<int>(i);
        return std::nullopt;
    }
    if (value == "0" || value == "1") return value[0] - '0';
    return std::nullopt;
}

std::string ValueText(int box, const Options& o) {
    if (box != kDeleteMethodBox) return std::to_string(o.box[box]);
    const auto names = DeleteMethodNames();
    return o.deleteMethod >= 0 && o.deleteMethod < static_cast<int>(names.size())
               ? std::string(names[o.deleteMethod])
               : std::to_string(o.deleteMethod);
}

std::string Meaning(int box, const Options& o) {
    if (box != kDeleteMethodBox) return std::string(OptionOfBox(box)->caption);
    const auto methods = DeleteMethods();
    const std::string method =
        o.deleteMethod >= 0 && o.deleteMethod < static_cast<int>(methods.size())
            ? std::string(methods[o.deleteMethod])
            : "(none)";
    return "Delete method: " + method;
}

std::string Name(const StoredOption& s) {
    return s.box == kDeleteMethodBox ? "delete-method" : std::string(OptionOfBox(s.box)->name);
}

void Print(const Options& o, bool json) {
    std::string out = json ? "[" : "";
    bool first = true;
    for (const StoredOption& s : StoredOptions()) {
        if (!json) {
            std::cout << Name(s) << '=' << ValueText(s.box, o) << '\t' << Meaning(s.box, o) << " ("
                      << s.name << ")\n";
            continue;
        }
        out += std::string(first ? "" : ",") + "{\"name\":" + JsonString(Name(s)) +
               ",\"stored\":" + JsonString(s.name) +
               ",\"value\":" + JsonString(ValueText(s.box, o)) +
               ",\"meaning\":" + JsonString(Meaning(s.box, o)) + "}";
        first = false;
    }
    if (json) std::cout << out << "]\n";
}

}  // namespace

int CmdSettings(const std::vector<std::string>& args) {
    std::vector<std::pair<int, int>> changes;  // box (kDeleteMethodBox: the method), value
    bool json = false;
    for (std::size_t i = 1; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--json") {
            json = true;
            continue;
        }
        const auto eq = a.find('=');
        const std::string name = AsciiLower(a.substr(0, eq));
        const auto box = eq == std::string::npos ? std::nullopt : BoxNamed(name);
        if (!box)
            return UsageError(
                "settings takes NAME=VALUE with the names 'velloran-cli settings' shows "
                "(or set1, set2, set3, set5, set6, set7), not '" +
                a + "'");
        const std::string value = AsciiLower(a.substr(eq + 1));
        const auto v = ParseValue(*box, value);
        if (!v)
            return UsageError(
                name + " takes " +
                (*box == kDeleteMethodBox ? "zapper, gutmann or zero (0, 1 or 2)" : "0 or 1") +
                ", not '" + value + "'");
        changes.emplace_back(*box, *v);
    }

    ConsoleSession session({});
    if (!session.Ready()) return 1;
    Application& app = session.App();
    return session.Run([&] {
        Options options = StoredOptionsValue(app);
        app.LoadedOptions = options;
        if (!changes.empty()) {
            // As clicks on the boxes, so that the Settings page's rules hold here too.
            for (auto [box, value] : changes) {
                if (box == kDeleteMethodBox)
                    options.deleteMethod = value;
                else
                    options.SetByClick(box, value);
            }
            app.SaveSettings(options);
        }
        Print(options, json);
        return 0;
    });
}

}  // namespace velloran
