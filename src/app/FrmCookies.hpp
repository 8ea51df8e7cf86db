#pragma once
// The cookie manager: the cookies found, in a delete list and a keep list, the
// moves between them and the deletion of the ticked ones in the delete list.
// Internet Explorer's cookie files of the target environment are listed by name;
// today's browsers' cookie databases one row per site. The keep list outlives the
// window: it is the one every cookie task honours. Toolkit-free; the Qt view and
// the console drive it through its controls.
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "common/controls/Controls.hpp"
#include "common/controls/Form.hpp"
#include "common/controls/ListView.hpp"

namespace velloran {

class Application;
class CookieKeepList;
struct CookieStore;

class FrmCookies : public Form {
public:
    explicit FrmCookies(Application& app);
    ~FrmCookies() override;

    // Rows: text = the file name or the site; sub-items: where it comes from and how
    // many cookies it holds. The key says what a deletion removes.
    ListView lvDelete{"lvDelete"};
    ListView lvKeep{"lvKeep"};
    CheckBox Check1{"Check1"};           // Select All of lvDelete
    CheckBox Check2{"Check2"};           // Select All of lvKeep
    CommandButton Command1{"Command1"};  // ticked rows of lvDelete to lvKeep
    CommandButton Command2{"Command2"};  // ticked rows of lvKeep to lvDelete
    CommandButton cmdClean{"cmdClean"};
    CommandButton cmdExit{"cmdExit"};
    ProgressBar pbar{"pbar"};

    // The source column's text for Internet Explorer's files.
    static constexpr const char* kIESource = "Internet Explorer";

    void PopulateCookies();
    // Lists a file of the cookies folder, if its name holds "@".
    void AddCookie(const std::string& folder, const std::string& name);
    void Check1_Click();
    void Check2_Click();
    void Command1_Click();
    void Command2_Click();
    void cmdClean_Click();
    void cmdExit_Click();

    // What the last deletion removed and what it could not, one line each.
    std::vector<std::string> Done;
    std::vector<std::string> NotDone;

protected:
    void Form_Load() override;
    void Form_QueryUnload(int& cancel, int mode) override;
    void Form_Unload(int& cancel) override;

private:
    void BuildControls();
    // Lists every site of every browser's cookie database; returns how many.
    long ListBrowserSites();
    // Where a new row goes: lvKeep for a kept site.
    ListView& ListFor(const std::string& site);
    void DeleteTicked(const std::string& folder);
    void DeleteFile(const std::string& path);
    // Each database's chosen sites, by the store's place in stores_.
    void DeleteSites(const std::map<std::size_t, std::vector<std::string>>& hostsByStore);
    void SaveKeepList();
    // The site a row stands for; "" for a file whose name names none.
    std::string SiteOf(const ListRow& row) const;

    Application& app_;
    std::string keepListPath_;
    std::unique_ptr<CookieKeepList> keep_;
    std::vector<CookieStore> stores_;
};

}  // namespace velloran
