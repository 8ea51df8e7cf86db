#include "cli/CookiesCommand.hpp"

#include <utility>

#include <iostream>

#include "app/Application.hpp"
#include "app/ConsoleHost.hpp"
#include "app/ConsoleSession.hpp"
#include "app/FrmCookies.hpp"
#include "cleaning/browsers/CookieKeepList.hpp"
#include "cli/Json.hpp"
#include "common/VbError.hpp"
#include "common/platform/SystemPlatform.hpp"

namespace velloran {

namespace {

struct CookiesOptions {
    std::string action = "list";  // list, delete, keep, unkeep
    ConsoleSession::Options session;
    RunSwitches run;                 // delete only
    std::vector<std::string> items;  // rows or sites
    bool json = false;               // list only
};

std::string Parse(const std::vector<std::string>& args, CookiesOptions& o) {
    std::size_t i = 1;
    if (i < args.size() && !args[i].starts_with("-")) o.action = args[i++];
    if (o.action != "list" && o.action != "delete" && o.action != "keep" && o.action != "unkeep")
        return "cookies takes list, delete, keep or unkeep, not '" + o.action + "'";
    const bool window = o.action == "list" || o.action == "delete";
    for (; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (window && PrefixTargets() && a == "--prefix") {
            if (++i == args.size()) return "--prefix needs a folder";
            o.session.prefix = args[i];
        } else if (window && PrefixTargets() && a.starts_with("--prefix=")) {
            o.session.prefix = a.substr(9);
        } else if (o.action == "delete" && o.run.Take(a)) {
            continue;
        } else if (o.action == "list" && a == "--json") {
            o.json = true;
        } else if (a.starts_with("-")) {
            return "unknown option '" + a + "'";
        } else if (o.action == "list") {
            return "cookies list takes no rows";
        } else {
            o.items.push_back(a);
        }
    }
    o.session.preview = o.run.preview;
    o.session.quiet = o.json;
    o.session.answerNo = o.run.answerNo;
    if (o.action != "list" && o.items.empty())
        return "cookies " + o.action + " needs at least one " +
               (o.action == "delete" ? "row (or all)" : "site");
    return {};
}

void PrintRows(const ListView& lv, const char* which) {
    for (int i = 0; i < lv.Count(); ++i) {
        const ListRow& row = lv.Row(i);
        std::cout << which << '\t' << row.text << '\t'
                  << (row.subItems.empty() ? "" : row.subItems[0]) << '\n';
    }
}

// Both lists as one JSON array: {"list":"delete","name":...,"where":...}.
void PrintRowsJson(const FrmCookies& cookies) {
    std::string out = "[";
    for (const auto& [lv, which] :
         {std::pair{&cookies.lvDelete, "delete"}, std::pair{&cookies.lvKeep, "keep"}})
        for (int i = 0; i < lv->Count(); ++i) {
            const ListRow& row = lv->Row(i);
            out += std::string(out.size() > 1 ? "," : "") + "{\"list\":" + JsonString(which) +
                   ",\"name\":" + JsonString(row.text) +
                   ",\"where\":" + JsonString(row.subItems.empty() ? "" : row.subItems[0]) + "}";
        }
    std::cout << out << "]\n";
}

void PrintDone(const FrmCookies& cookies) {
    for (const std::string& line : cookies.Done) std::cout << line << '\n';
    std::cout << std::flush;
}

// Ticks the rows of the delete list named by text (or all of them); returns the
// first name that matches no row, "" when every one matched.
std::string TickRows(ListView& lv, const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        bool found = false;
        for (int i = 0; i < lv.Count(); ++i)
            if (name == "all" || lv.Row(i).text == name) {
                lv.SetChecked(i, true);
                found = true;
            }
        if (!found && name != "all") return name;
    }
    return {};
}

// keep and unkeep: the stored list alone. No window and no target are opened: the
// list is Velloran's own file, whatever the prefix.
int EditKeepList(const CookiesOptions& o) {
    const std::unique_ptr<Platform> system = MakeSystemPlatform(Target{});
    Platform& platform = *system;
    const std::string path = CookieKeepList::DefaultPath();
    CookieKeepList list = CookieKeepList::Load(platform, path);
    int status = 0;
    bool changed = false;
    for (const std::string& site : o.items) {
        if (o.action == "keep") {
            if (const std::string why = CookieKeepList::Refusal(site); !why.empty()) {
                std::cerr << "velloran-cli: '" << site << "' cannot be kept: " << why << '\n';
                status = 1;
                continue;
            }
        }
        if (o.action == "keep" ? list.Add(site) : list.Remove(site)) {
            changed = true;
        } else {
            std::cerr << "velloran-cli: '" << site << "' "
                      << (o.action == "keep" ? "is already in" : "is not in") << " the keep list\n";
            if (o.action == "unkeep") status = 1;
        }
    }
    if (!changed) return status;
    try {
        list.Save(platform, path);
    } catch (const VbError& e) {
        std::cerr << "velloran-cli: " << path << ": " << e.Description() << '\n';
        return 1;
    }
    return status;
}

}  // namespace

int CmdCookies(const std::vector<std::string>& args) {
    CookiesOptions o;
    if (std::string err = Parse(args, o); !err.empty()) return UsageError(err);
    if (o.action == "keep" || o.action == "unkeep") return EditKeepList(o);

    ConsoleSession session(o.session);
    if (!session.Ready()) return 1;
    return session.Run([&] {
        session.Start();
        FrmCookies& cookies = session.App().Cookies();
        cookies.Load();
        if (o.action == "list" && o.json) {
            PrintRowsJson(cookies);
        } else if (o.action == "list") {
            PrintRows(cookies.lvDelete, "delete");
            PrintRows(cookies.lvKeep, "keep");
        }
        if (o.action == "list") {
            std::cout << std::flush;
            cookies.Unload();
            return 0;
        }
        if (std::string missing = TickRows(cookies.lvDelete, o.items); !missing.empty()) {
            cookies.Unload();
            return UsageError("no row '" + missing + "' in the delete list");
        }
        // What went is printed also when the completion message ends the program.
        struct DonePrinter {
            const FrmCookies& form;
            ~DonePrinter() { PrintDone(form); }
        } printer{cookies};
        cookies.cmdClean.Click();
        if (cookies.IsLoaded()) cookies.Unload();  // answered No
        return 0;
    });
}

}  // namespace velloran
