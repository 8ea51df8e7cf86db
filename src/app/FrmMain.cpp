#include "app/FrmMain.hpp"
#include "app/SettingsStore.hpp"

#include "about/frmAbout.hpp"
#include "app/Application.hpp"
#include "app/FrmCleaner.hpp"
#include "app/FrmCookies.hpp"
#include "app/FrmJunk.hpp"
#include "app/ModControls.hpp"
#include "app/frmErad.hpp"
#include "cleaning/ClsClean.hpp"
#include "cleaning/StartupDelete.hpp"
#include "cleaning/TaskCatalogue.hpp"
#include "common/ErrorHandler.hpp"

namespace velloran {

namespace {

// Every check-box caption in the window starts with one blank.
std::string BoxCaption(std::string_view caption) { return " " + std::string(caption); }

// The first-instance test answers "first copy" unconditionally: several copies may
// run, and the interface stays so that a real test can stand behind it.
bool IsFirstInstance(const std::string& /*mutexName*/) { return true; }

}  // namespace

FrmMain::FrmMain(Application& app) : Form(app.GetHost(), "FrmMain"), app_(app) { BuildControls(); }

FrmMain::~FrmMain() = default;

template <class F>
void FrmMain::Guard(const char* location, F&& body) {
    WithErrorHandler(app_, location, std::forward<F>(body));
}

void FrmMain::BuildControls() {
    SetCaption(app_.Title);
    SetSize(kMainWidthTwips, kMainHeightTwips);

    const std::pair<int, const char*> tabs[] = {{0, "Windows"},
                                                {1, "Other Browsers"},
                                                {2, "Internet Explorer"},
                                                {4, "Programs"},
                                                {5, "Settings"}};
    for (auto [index, caption] : tabs) sTab.Add(index).AddTab(caption);

    frameWin.SetCaption("Windows");
    frameOTH.SetCaption("Other Browsers");
    FrameIE.SetCaption("Internet Explorer");
    FramePG.SetCaption("Programs");
    FrameST.SetCaption("Settings");
    fraWinSystem.SetCaption("Windows System");
    fraOtherTools.SetCaption("Other Tools");
    fraOpera.SetCaption("Opera Browser");
    fraNetscape.SetCaption("Netscape Browser 6.x/7.x");
    fraChromium.SetCaption("Chromium-based browsers");
    fraIE.SetCaption("Internet Explorer Browser");
    fraIETools.SetCaption("Tools");
    fraPrograms.SetCaption("Programs");
    fraSettings.SetCaption("Program Settings");
    fraEradicator.SetCaption("File Eradicator");
    fraGeneral.SetCaption("General");

    for (const auto& info : TaskArrays()) {
        auto& array = *TaskArray(info.array);
        for (const auto& task : info.tasks)
            array.Add(task.index).SetCaption(BoxCaption(task.caption));
        SelectAllBox(info.array)->SetCaption(BoxCaption(kSelectAllCaption));
    }
    win_chks.OnClick = [this] { win_chks_Click(); };
    ie_Chks.OnClick = [this] { ie_Chks_Click(); };
    ns_Chks.OnClick = [this] { ns_Chks_Click(); };
    op_Chks.OnClick = [this] { op_Chks_Click(); };
    ch_Chks.OnClick = [this] { ch_Chks_Click(); };
    oprg_chks.OnClick = [this] { oprg_chks_Click(); };

    for (const auto& option : OptionBoxes()) {
        auto& box = stChk.Add(option.index);
        box.SetCaption(BoxCaption(option.caption));
        box.OnClick = [this, i = option.index] { stChk_Click(i); };
    }
    // Usable only while secure delete is ticked.
    cmbsDelType.SetBackColor(kSysColorInactiveBorder);
    cmbsDelType.SetEnabled(false);

    cmdClean.SetCaption("Clean");
    cmdExit.SetCaption("Exit");
    cmdjunk.SetCaption("Find Junk Files");
    cmderad.SetCaption("File Eradicator");
    cmdMCookies.SetCaption("Manage Cookies");
    cmdhelp.SetToolTipText("Help");
    cmdClean.OnClick = [this] { cmdClean_Click(); };
    cmdExit.OnClick = [this] { cmdExit_Click(); };
    cmdMCookies.OnClick = [this] {
        Guard("FrmMain:cmdMCookies:Click", [this] {
            FrmCookies& cookies = app_.Cookies();
            cookies.Load();
            app_.GetHost().DoEvents();
            // The same mark the Clean button puts on the progress window; nothing reads it.
            cookies.SetTag("1");
            cookies.ShowModal(this);
        });
    };
    cmdjunk.OnClick = [this] {
        Guard("FrmMain:cmdjunk:Click", [this] {
            app_.Junk().Load();
            app_.Junk().ShowModal(this);
        });
    };
    cmderad.OnClick = [this] {
        Guard("FrmMain:cmderad:Click", [this] {
            app_.Erad().Load();
            app_.Erad().ShowModal(this);
        });
    };
    cmdhelp.OnClick = [this] {
        Guard("FrmMain:cmdhelp:Click", [this] { app_.GetPlatform().ShellOpen(app_.HelpFile); });
    };

    const std::pair<PictureBox*, Frame*> pageButtons[] = {{&Picture1, &frameWin},
                                                          {&Picture2, &frameOTH},
                                                          {&Picture3, &FrameIE},
                                                          {&Picture4, &FrameST},
                                                          {&Picture8, &FramePG}};
    for (auto [picture, frame] : pageButtons) {
        picture->SetToolTipText(frame->Caption());
        picture->OnClick = [frame] { frame->ZOrderTop(); };
    }
    Picture7.SetToolTipText("About");
    Picture7.OnClick = [this] {
        Guard("FrmMain:Picture7:Click", [this] {
            app_.About().Load();
            app_.About().ShowModal(this);
        });
    };
}

Options FrmMain::CurrentOptions() {
    Options options;
    for (int i : stChk.Indexes()) options.box[i] = stChk(i).Value();
    options.deleteMethod = cmbsDelType.ListIndex();
    return options;
}

Plan FrmMain::BuildPlan() {
    Plan plan;
    const auto groups = TaskArrays();
    for (std::size_t g = 0; g < groups.size(); ++g) {
        const auto& array = *TaskArray(groups[g].array);
        for (int i : array.Indexes()) plan.Set(g, i, array(i).Value());
    }
    plan.options = CurrentOptions();
    return plan;
}

ControlArray<CheckBox>* FrmMain::TaskArray(std::string_view name) {
    for (auto* a : {&win_chk, &ie_Chk, &ns_Chk, &op_Chk, &ch_Chk, &oprg_chk, &stChk})
        if (a->Name() == name) return a;
    return nullptr;
}

CheckBox* FrmMain::SelectAllBox(std::string_view array) {
    const std::pair<std::string_view, CheckBox*> boxes[] = {
        {"win_chk", &win_chks}, {"ie_Chk", &ie_Chks}, {"ns_Chk", &ns_Chks},
        {"op_Chk", &op_Chks},   {"ch_Chk", &ch_Chks}, {"oprg_chk", &oprg_chks}};
    for (auto [name, box] : boxes)
        if (name == array) return box;
    return nullptr;
}

std::vector<Frame*> FrmMain::Pages() {
    return {&frameWin, &frameOTH, &FrameIE, &FramePG, &FrameST};
}

Frame& FrmMain::FrontPage() {
    Frame* front = &frameWin;
    for (Frame* f : Pages())
        if (f->ZOrder() > front->ZOrder()) front = f;
    return *front;
}

void FrmMain::Form_Initialize() {
    Guard("FrmMain:Form_Initialize", [this] {
        const std::string mutexName = app_.Title + "_APPLICATION_MUTEX";
        if (!IsFirstInstance(mutexName) && app_.CommandLine.empty()) {
            app_.MsgBox("Another copy of this application is already running!",
                        vbExclamation + vbOKOnly);
            Unload();
            EndProgram(0);
        }
    });
}

void FrmMain::Form_Load() {
    SetControls(*this, false);
    // After the settings: the recycle-bin option decides how the path goes.
    PerformStartupDelete(app_, stChk(Option::RecycleBin).Value());
}

void FrmMain::Form_Resize() {
    Guard("FrmMain:Form_Resize", [this] {
        SetControls(*this, true);
        if (WindowState() != vbMinimized) {
            SetWindowState(vbNormal);
            SetSize(kMainWidthTwips, kMainHeightTwips);
        }
    });
}

void FrmMain::Form_QueryUnload(int& /*cancel*/, int /*mode*/) {
    Guard("FrmMain:Form_QueryUnload", [this] {
        if (mutexHandle_ != 0) mutexHandle_ = 0;
        SaveSettings(*this);
        app_.ReleaseShared();
    });
}

void FrmMain::Form_Unload(int& /*cancel*/) {
    Guard("FrmMain:Form_Unload", [this] {
        app_.ReleaseShared();
        for (Form* form : app_.SecondaryForms())
            if (form->IsLoaded()) form->Unload(vbFormOwner);
        cs_.reset();
    });
}

void FrmMain::SelectAll(ControlArray<CheckBox>& array, const CheckBox& box) {
    // Members are set one by one; a missing index (0, or any gap) is skipped.
    for (int i = 0; i <= array.UBound(); ++i) {
        try {
            array(i).SetValue(box.Value());
        } catch (const VbError&) {
        }
    }
}

void FrmMain::win_chks_Click() { SelectAll(win_chk, win_chks); }
void FrmMain::ie_Chks_Click() { SelectAll(ie_Chk, ie_Chks); }
void FrmMain::ns_Chks_Click() { SelectAll(ns_Chk, ns_Chks); }
void FrmMain::op_Chks_Click() { SelectAll(op_Chk, op_Chks); }
void FrmMain::ch_Chks_Click() { SelectAll(ch_Chk, ch_Chks); }
void FrmMain::oprg_chks_Click() { SelectAll(oprg_chk, oprg_chks); }

void FrmMain::stChk_Click(int index) {
    Guard("FrmMain:stChk:Click", [&] {
        const bool ticked = stChk(index).Value() == 1;
        switch (index) {
            case 0:
                // Even clearing the recycle-bin box clears secure delete.
                stChk(Option::SecureDelete).SetValue(0);
                break;
            case 1:
                if (ticked) {
                    stChk(Option::RecycleBin).SetValue(0);
                    // Clearing box 0 cleared this box through its rule; tick it again.
                    stChk(Option::SecureDelete).SetValue(1);
                    cmbsDelType.SetBackColor(kColorWhite);
                    cmbsDelType.SetEnabled(true);
                } else {
                    cmbsDelType.SetBackColor(kSysColorInactiveBorder);
                    cmbsDelType.SetEnabled(false);
                }
                break;
            case 4:
            case 5:
            case 6:
                // Exit, shut down and restart exclude each other.
                if (ticked)
                    for (int other : {4, 5, 6})
                        if (other != index) stChk(other).SetValue(0);
                break;
            default:
                break;
        }
    });
}

void FrmMain::cmdClean_Click() {
    Guard("FrmMain:cmdClean:Click", [this] { cs_ = StartCleaning(app_, BuildPlan(), this); });
}

void FrmMain::cmdExit_Click() {
    Guard("FrmMain:cmdExit:Click", [this] {
        Unload();
        EndProgram(0);
    });
}

}  // namespace velloran
