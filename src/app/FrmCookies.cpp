// Error locations are the program's own and kept as written.
#include "app/FrmCookies.hpp"

#include <cmath>
#include <map>
#include <sstream>

#include "app/Application.hpp"
#include "cleaning/Completion.hpp"
#include "cleaning/browsers/CookieKeepList.hpp"
#include "cleaning/browsers/CookieSites.hpp"
#include "common/ErrorHandler.hpp"
#include "common/controls/ModListView.hpp"
#include "common/platform/Paths.hpp"
#include "tools/eradicator/FileFinder.hpp"

namespace velloran {

namespace {

constexpr const char* kFileKey = "file:";
constexpr const char* kSiteKey = "site:";

// Cookies in one of IE's files: each cookie ends with a line holding "*".
std::int64_t CookiesInFile(Platform& platform, const std::string& path) {
    const auto text = platform.ReadTextFile(path);
    std::int64_t n = 0;
    std::istringstream in(text.value_or(""));
    for (std::string line; std::getline(in, line);)
        if (line == "*" || line == "*\r") ++n;
    return n;
}

// Moves the ticked rows of `from` to the end of `to`, ticked as `toSelectAll` says.
void MoveTickedRows(ListView& from, ListView& to, const CheckBox& toSelectAll) {
    // Walked from the end so that removing a row never skips the next one.
    std::vector<ListRow> moved;
    for (int i = from.Count() - 1; i >= 0; --i) {
        if (!from.Row(i).checked) continue;
        moved.insert(moved.begin(), from.Row(i));
        from.Remove(i);
    }
    for (const ListRow& row : moved)
        to.SetChecked(to.Add(row.key, row.text, row.subItems, row.tag), toSelectAll.Value() == 1);
}

int Percent(int done, int total) {
    return total <= 0 ? 100 : static_cast<int>(std::lround(done * 100.0 / total));
}

}  // namespace

FrmCookies::FrmCookies(Application& app)
    : Form(app.GetHost(), "FrmCookies"), app_(app), keep_(std::make_unique<CookieKeepList>()) {
    BuildControls();
}

FrmCookies::~FrmCookies() = default;

void FrmCookies::BuildControls() {
    SetCaption("Manage Cookies");
    for (ListView* lv : {&lvDelete, &lvKeep}) {
        lv->SetCheckboxes(true);
        lv->AddColumn(lv == &lvDelete ? "Cookies to delete" : "Cookies to keep");
        lv->AddColumn("Browser / profile");
        lv->AddColumn("Cookies");
    }
    Check1.SetCaption("Select All");
    Check2.SetCaption("Select All");
    Command1.SetCaption("Keep >>");
    Command2.SetCaption("<< Delete");
    cmdClean.SetCaption("Delete Cookies");
    cmdExit.SetCaption("Close");
    pbar.SetMax(100);
    Check1.OnClick = [this] { Check1_Click(); };
    Check2.OnClick = [this] { Check2_Click(); };
    Command1.OnClick = [this] { Command1_Click(); };
    Command2.OnClick = [this] { Command2_Click(); };
    cmdClean.OnClick = [this] { cmdClean_Click(); };
    cmdExit.OnClick = [this] { cmdExit_Click(); };
}

void FrmCookies::Form_Load() {
    lvDelete.Clear();
    lvKeep.Clear();
    pbar.SetValue(0);
    pbar.SetCaption("");
    for (CommandButton* b : {&cmdClean, &Command1, &Command2}) b->SetEnabled(true);
    NotDone.clear();
    Done.clear();
    SetTag("");
    PopulateCookies();
}

// ------------------------------------------------------------------ listing

void FrmCookies::PopulateCookies() {
    WithErrorHandler(app_, "FrmCookies:PopulateCookies", [&] {
        // Ending the browser session so that it writes its session cookies out is
        // Windows' business; here no browser session belongs to this program.
        Platform& platform = app_.GetPlatform();
        keepListPath_ = CookieKeepList::DefaultPath();
        *keep_ = CookieKeepList::Load(platform, keepListPath_);
        const std::string folder = CookiesFolder(platform, app_.Registry());
        std::vector<std::pair<std::string, std::string>> found;
        if (!folder.empty()) {
            FileFinder finder(platform);
            finder.FoundFile.Connect([&](const std::string& dir, const std::string& name) {
                found.emplace_back(dir, name);
            });
            finder.Search(folder, "*.txt", false);
        }
        for (const auto& [dir, name] : found) AddCookie(dir, name);
        // Every file the search found counts, listed or not; each site of a
        // browser counts once.
        const long count = static_cast<long>(found.size()) + ListBrowserSites();
        SetCaption("Manage Cookies - " + std::to_string(count) + " Cookies...");
        FitColumns(lvDelete);
        FitColumns(lvKeep);
    });
}

void FrmCookies::AddCookie(const std::string& folder, const std::string& name) {
    // Only Microsoft's "user@site[n].txt" files are cookies; Wine's own random
    // names and any other text file stay out.
    if (name.find('@') == std::string::npos) return;
    const std::string path = JoinPath(folder, name);
    const std::string site = IECookieFileSite(name);
    ListFor(site).Add(kFileKey + name, name,
                      {kIESource, std::to_string(CookiesInFile(app_.GetPlatform(), path))});
}

long FrmCookies::ListBrowserSites() {
    Platform& platform = app_.GetPlatform();
    stores_ = FindCookieStores(platform, GeckoLocations::FromEnvironment(platform));
    long rows = 0;
    std::vector<std::string> unreadable;
    for (std::size_t i = 0; i < stores_.size(); ++i) {
        const CookieStore& store = stores_[i];
        std::string error;
        const std::vector<CookieSite> sites = ReadCookieSites(platform, store, error);
        const std::string source =
            store.label + (store.inUse.empty() ? "" : " (in use: " + store.inUse + ")");
        if (!error.empty()) {
            unreadable.push_back(store.file + ": " + error);
            continue;
        }
        for (const CookieSite& site : sites) {
            ListFor(site.host).Add(kSiteKey + std::to_string(i) + ":" + site.host, site.host,
                                   {source, std::to_string(site.count)});
            ++rows;
        }
    }
    TellWhatWasLeft(app_, "The cookies of some browsers could not be read:", unreadable);
    return rows;
}

ListView& FrmCookies::ListFor(const std::string& site) {
    return !site.empty() && keep_->Keeps(site) ? lvKeep : lvDelete;
}

std::string FrmCookies::SiteOf(const ListRow& row) const {
    return row.key.starts_with(kFileKey) ? IECookieFileSite(row.text) : row.text;
}

// ------------------------------------------------------------------ ticks and moves

void FrmCookies::Check1_Click() {
    for (int i = 0; i < lvDelete.Count(); ++i) lvDelete.SetChecked(i, Check1.Value() == 1);
}

void FrmCookies::Check2_Click() {
    for (int i = 0; i < lvKeep.Count(); ++i) lvKeep.SetChecked(i, Check2.Value() == 1);
}

void FrmCookies::Command1_Click() {
    MoveTickedRows(lvDelete, lvKeep, Check2);
    FitColumns(lvKeep);
}

void FrmCookies::Command2_Click() {
    MoveTickedRows(lvKeep, lvDelete, Check1);
    FitColumns(lvDelete);
}

// ------------------------------------------------------------------ deletion

namespace {

int TickedCount(const ListView& lv) {
    int n = 0;
    for (int i = 0; i < lv.Count(); ++i)
        if (lv.Row(i).checked) ++n;
    return n;
}

}  // namespace

void FrmCookies::cmdClean_Click() {
    WithErrorHandler(app_, "FrmCookies:cmdClean:Click", [&] {
        if (TickedCount(lvDelete) == 0) {
            app_.MsgBox("Nothing to delete, Please select cookie(s) to delete.", vbExclamation);
            return;
        }
        if (app_.MsgBox("Please confirm that you will like to delete the selected cookies(s).",
                        vbYesNo | vbQuestion) == vbNo)
            return;
        std::string folder = CookiesFolder(app_.GetPlatform(), app_.Registry());
        if (!folder.empty() && !IsPathSeparator(folder.back())) folder += kPathSeparator;
        if (TickedCount(lvDelete) == 0) {
            app_.MsgBox("Nothing to do, Please select cookie(s) to delete.", vbExclamation);
            return;
        }
        // The moves wait too: the run works on the rows as they were when it began.
        for (CommandButton* b : {&cmdClean, &Command1, &Command2}) b->SetEnabled(false);
        DeleteTicked(folder);
        for (CommandButton* b : {&cmdClean, &Command1, &Command2}) b->SetEnabled(true);
        TellWhatWasLeft(app_, "Some cookies were not deleted:", NotDone);
        SuccessMsgBox(app_, "Cookies Deleted Successfully!", vbInformation, app_.CurrentOptions());
        Unload();
    });
}

void FrmCookies::DeleteTicked(const std::string& folder) {
    // A job before this one leaves the stop flag set; only this run's Close counts.
    app_.StopRequested = vbFalse;
    NotDone.clear();
    Done.clear();
    // The rows as they are now: events pumped during the run cannot shift them.
    std::vector<ListRow> rows;
    for (int i = 0; i < lvDelete.Count(); ++i) rows.push_back(lvDelete.Row(i));
    const int n = static_cast<int>(rows.size());
    pbar.SetMax(n);
    // The sites of each database go together, in one transaction, after the files.
    std::map<std::size_t, std::vector<std::string>> hostsByStore;
    for (int i = 0; i < n; ++i) {
        if (IsTrue(app_.StopRequested)) break;
        const ListRow& row = rows[static_cast<std::size_t>(i)];
        if (row.checked && row.key.starts_with(kFileKey)) {
            DeleteFile(folder + row.text);
        } else if (row.checked) {
            const std::string rest = row.key.substr(std::string(kSiteKey).size());
            hostsByStore[std::stoul(rest.substr(0, rest.find(':')))].push_back(row.text);
        }
        pbar.SetValue(i + 1);
        pbar.SetCaption("Completed:  " + std::to_string(Percent(i + 1, n)) + "%");
        GetHost().DoEvents();
    }
    // Stopped by Close: the browsers' databases stay as they are.
    if (!IsTrue(app_.StopRequested)) DeleteSites(hostsByStore);
}

void FrmCookies::DeleteFile(const std::string& path) {
    try {
        app_.GetPlatform().DeleteFileEntry(path);
        Done.push_back("Deleted " + path);
    } catch (const VbError& e) {
        NotDone.push_back(path + ": " + e.Description());
    }
}

void FrmCookies::DeleteSites(const std::map<std::size_t, std::vector<std::string>>& hostsByStore) {
    for (const auto& [index, hosts] : hostsByStore) {
        const CookieStore& store = stores_.at(index);
        std::int64_t removed = 0;
        const std::string sites = std::to_string(hosts.size()) + " site(s)";
        if (std::string why = DeleteCookieSites(app_.GetPlatform(), store, hosts, removed);
            !why.empty())
            NotDone.push_back(store.label + ": cookies of " + sites + " left as they were: " + why);
        else
            Done.push_back("Removed " + std::to_string(removed) + " cookie(s) of " + sites +
                           " from " + store.label);
    }
}

void FrmCookies::cmdExit_Click() { Unload(); }

// ------------------------------------------------------------------ closing

void FrmCookies::SaveKeepList() {
    CookieKeepList updated = *keep_;
    // A site the user moved out of the keep list is no longer kept; every site in
    // it now is.
    for (int i = 0; i < lvDelete.Count(); ++i) {
        const std::string site = SiteOf(lvDelete.Row(i));
        if (!site.empty() && keep_->Keeps(site)) updated.Remove(site);
    }
    // A subdomain of a kept site is kept already and needs no line of its own.
    for (int i = 0; i < lvKeep.Count(); ++i)
        if (const std::string site = SiteOf(lvKeep.Row(i)); !updated.Keeps(site)) updated.Add(site);
    if (updated.Text() == keep_->Text()) return;
    try {
        updated.Save(app_.GetPlatform(), keepListPath_);
        *keep_ = updated;
    } catch (const VbError& e) {
        TellWhatWasLeft(app_, "The list of cookies to keep was not saved:",
                        {keepListPath_ + ": " + e.Description()});
    }
}

void FrmCookies::Form_QueryUnload(int& /*cancel*/, int /*mode*/) { app_.StopRequested = vbTrue; }

void FrmCookies::Form_Unload(int& /*cancel*/) {
    WithErrorHandler(app_, "FrmCookies:Form_Unload", [&] { SaveKeepList(); });
    app_.ReleaseShared();
}

}  // namespace velloran
