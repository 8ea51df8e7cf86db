// 'velloran-cli settings': the stored options shown or changed through the
// Settings page's own boxes, so its rules hold for the console too.
#include "cli/SettingsCommand.hpp"

#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "app/Application.hpp"
#include "app/FrmMain.hpp"
#include "app/SettingsStore.hpp"
#include "cli/ConsoleHost.hpp"
#include "cli/ConsoleSession.hpp"
#include "common/Text.hpp"

namespace velloran {

int CmdSettings(const std::vector<std::string>& args) {
    std::vector<std::pair<int, int>> changes;  // box (-1: delete method), value
    for (std::size_t i = 1; i < args.size(); ++i) {
        const std::string& a = args[i];
        const auto eq = a.find('=');
        const std::string name = AsciiLower(a.substr(0, eq));
        int box = -2;
        for (const StoredOption& option : StoredOptions())
            if (name == option.name) box = option.box;
        if (eq == std::string::npos || box == -2)
            return UsageError(
                "settings takes set1, set2, set3, set5, set6 or set7 as NAME=VALUE, not '" + a +
                "'");
        const std::string value = a.substr(eq + 1);
        const int max = box == kDeleteMethodBox ? 2 : 1;
        if (value.size() != 1 || value[0] < '0' || value[0] > '0' + max)
            return UsageError(name + " takes 0" + (max == 2 ? ", 1 or 2" : " or 1") + ", not '" +
                              value + "'");
        changes.emplace_back(box, value[0] - '0');
    }

    ConsoleSession session({});
    if (!session.Ready()) return 1;
    try {
        FrmMain& frm = session.LoadMain();
        if (!changes.empty()) {
            // Through the boxes, so that the Settings page's rules hold for the console too.
            for (auto [box, value] : changes) {
                if (box == kDeleteMethodBox)
                    frm.cmbsDelType.SetListIndex(value);
                else
                    frm.stChk(box).SetValue(value);
            }
            SaveSettings(frm);
        }
        for (const StoredOption& option : StoredOptions())
            std::cout << option.name << '='
                      << (option.box == kDeleteMethodBox ? frm.cmbsDelType.ListIndex()
                                                         : frm.stChk(option.box).Value())
                      << '\n';
        return 0;
    } catch (const ProgramEnd& end) {
        return end.code;
    }
}

}  // namespace velloran
