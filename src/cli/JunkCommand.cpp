#include "cli/JunkCommand.hpp"

#include <filesystem>
#include <iostream>
#include <memory>

#include "app/Application.hpp"
#include "app/ConsoleHost.hpp"
#include "app/ConsoleSession.hpp"
#include "app/FrmJunk.hpp"
#include "app/FrmMain.hpp"
#include "cli/ConsoleProgress.hpp"
#include "cli/Json.hpp"
#include "common/Target.hpp"
#include "common/Text.hpp"
#include "common/VbError.hpp"
#include "common/platform/Paths.hpp"

namespace velloran {

namespace {

struct JunkOptions {
    bool remove = false;
    bool json = false;  // scan only: the files as one JSON array
    RunSwitches run;
    std::vector<std::string> drives;
    std::vector<std::vector<std::string>> filters;  // pattern, description, tag
};

std::vector<std::string> SplitFilter(const std::string& text) {
    std::vector<std::string> fields = SplitFields(text, ";");
    fields.resize(std::max<std::size_t>(fields.size(), 3));
    return fields;
}

std::string ParseJunk(const std::vector<std::string>& args, JunkOptions& o) {
    if (args.size() < 2 || (args[1] != "scan" && args[1] != "delete"))
        return "junk needs 'scan' or 'delete'";
    o.remove = args[1] == "delete";
    for (std::size_t i = 2; i < args.size(); ++i) {
        const std::string& a = args[i];
        std::string value;
        if (o.remove && o.run.Take(a)) continue;
        if (!o.remove && a == "--json") {
            o.json = true;
            continue;
        }
        if (a == "--drive" || a == "--filter") {
            if (i + 1 == args.size()) return a + " needs a value";
            value = args[++i];
        } else if (a.starts_with("--drive=") || a.starts_with("--filter=")) {
            value = a.substr(a.find('=') + 1);
        } else {
            return "unknown option '" + a + "'";
        }
        if (a.starts_with("--drive")) {
            std::error_code ec;
            const std::filesystem::path folder = PathFromUtf8(value);
            if (!std::filesystem::is_directory(folder, ec))
                return "'" + value + "' is not a folder";
            o.drives.push_back(WithoutTrailingSeparators(
                Utf8FromPath(std::filesystem::absolute(folder).lexically_normal())));
        } else {
            std::vector<std::string> fields = SplitFilter(value);
            if (fields[0].empty()) return "a filter needs a pattern: 'PATTERN;DESCRIPTION;TAG'";
            o.filters.push_back(std::move(fields));
        }
    }
    return {};
}

std::string RowPath(const ListRow& row) {
    return (row.subItems.size() >= 2 ? row.subItems[1] : std::string()) + row.text;
}

}  // namespace

std::string EscapePathForLine(const std::string& path) {
    std::string out;
    out.reserve(path.size());
    for (char c : path) {
        if (c == '\\')
            out += "\\\\";
        else if (c == '\n')
            out += "\\n";
        else if (c == '\r')
            out += "\\r";
        else
            out += c;
    }
    return out;
}

int CmdJunk(const std::vector<std::string>& args) {
    JunkOptions o;
    if (std::string err = ParseJunk(args, o); !err.empty()) return UsageError(err);

    ConsoleSession::Options options(o.run);
    options.quiet = o.json;
    ConsoleSession session(options);
    if (!session.Ready()) return 1;
    Application& app = session.App();
    return session.Run([&] {
        session.Start();
        FrmJunk& junk = app.Junk();
        junk.Load();
        // The given folders stand in for the drives, the given filters for the list.
        if (!o.drives.empty()) {
            junk.tvDrives.Clear();
            for (const std::string& d : o.drives) {
                if (junk.tvDrives.FindKey(d) >= 0) continue;
                junk.tvDrives.SetChecked(junk.tvDrives.Add({}, d, d), true);
            }
        }
        if (!o.filters.empty()) {
            junk.lvFilters.Clear();
            for (const auto& f : o.filters)
                junk.lvFilters.SetChecked(junk.lvFilters.Add({}, f[0], {f[1]}, f[2]), true);
        }

        // The folder being searched and the count so far; the line goes when the scan ends.
        auto progress = ConsoleProgress::ForStandardError();
        progress->Follow({&junk.lblloc, &junk.lblfound}, [&junk] {
            return junk.lblloc.Caption() + "  " + junk.lblfound.Caption();
        });
        std::string json = "[";
        const int printer = junk.lvFiles.RowsInserted.Connect([&](int first, int count) {
            progress->MakeRoomForOutput();
            for (int i = first; i < first + count; ++i) {
                const std::string path = RowPath(junk.lvFiles.Row(i));
                const auto size = app.GetPlatform().FileSize(path).value_or(0);
                if (o.json)
                    json += std::string(json.size() > 1 ? "," : "") +
                            "{\"path\":" + JsonString(path) + ",\"size\":" + std::to_string(size) +
                            "}";
                else
                    std::cout << size << '\t' << EscapePathForLine(path) << '\n';
            }
        });
        junk.cmdFind.Click();
        junk.lvFiles.RowsInserted.Disconnect(printer);
        if (o.json) std::cout << json << "]\n";
        progress.reset();
        std::cout << std::flush;
        if (!o.remove) return 0;

        // Rows leave the list as their files are handled; keep their paths alongside.
        std::vector<std::string> paths;
        for (int i = 0; i < junk.lvFiles.Count(); ++i)
            paths.push_back(RowPath(junk.lvFiles.Row(i)));
        // The window's own record decides: a file can still be there under a name too
        // long to look up, or be gone with its data not overwritten.
        // The file being deleted and how far the deletion is.
        progress = ConsoleProgress::ForStandardError();
        progress->Follow({&junk.pbar}, [&junk] {
            return ConsoleProgress::Percent(junk.pbar.Value(), junk.pbar.Max(),
                                            junk.pbar.Caption());
        });
        // A row leaves the list when its file is handed to the deleter, which may
        // wipe it later in a batch: the lines are written once the deletion is over.
        std::vector<std::string> handled;
        junk.lvFiles.RowRemoved.Connect([&](int i) {
            handled.push_back(paths.at(static_cast<std::size_t>(i)));
            paths.erase(paths.begin() + i);
        });
        auto tell = [&] {
            if (handled.empty()) return;
            progress->MakeRoomForOutput();
            for (const std::string& path : handled) {
                const char* outcome = "deleted\t";
                for (const FrmJunk::Leftover& left : junk.NotDone)
                    if (left.path == path)
                        outcome = left.removed ? "not overwritten\t" : "not deleted\t";
                std::cout << outcome << EscapePathForLine(path) << '\n';
            }
            handled.clear();
        };
        junk.pbar.Changed.Connect([&] {
            if (junk.pbar.Caption() == "Eradicating process completed.") tell();
        });
        junk.chkselallfiles.SetValue(1);
        junk.cmddelete.Click();
        tell();
        return 0;
    });
}

}  // namespace velloran
