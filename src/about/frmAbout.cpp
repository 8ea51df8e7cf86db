#include "about/frmAbout.hpp"

#include "app/Application.hpp"

namespace velloran {

frmAbout::frmAbout(Application& app) : Form(app.GetHost(), "frmAbout"), app_(app) {
    cmdOK.SetCaption("OK");
    cmdOK.OnClick = [this] { Unload(); };
}

void frmAbout::Form_Load() {
    SetCaption("About " + app_.Title);
    lblTitle.SetCaption(app_.ProductName);
    lblVersion.SetCaption("Version " + app_.VersionText());
    lblSystem.SetCaption("Windows " + app_.WinVersion);
    lblTarget.SetCaption(app_.TargetDescription);
    lblDescription.SetCaption(
        "Removes the traces a desktop keeps: most-recently-used lists, clipboard, recycle "
        "bin, recent documents, browser caches, histories and cookies, and other programs' "
        "history lists.");
}

}  // namespace velloran
