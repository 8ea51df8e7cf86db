#pragma once
// The main window: five pages of task boxes, the option boxes, the tool buttons,
// Clean and Exit. Toolkit-free; the Qt view mirrors it.
#include <memory>
#include <string>
#include <vector>

#include "cleaning/Plan.hpp"
#include "common/controls/ControlArray.hpp"
#include "common/controls/Controls.hpp"
#include "common/controls/Form.hpp"

namespace velloran {

class Application;
class ClsClean;

// Main window size in twips; the window snaps back to it.
inline constexpr int kMainWidthTwips = 8000;
inline constexpr int kMainHeightTwips = 7000;

class FrmMain : public Form {
public:
    explicit FrmMain(Application& app);
    ~FrmMain() override;

    Application& App() const { return app_; }

    // Pages: a frame each, holding a single-tab tab control (sTab has no index 3).
    Frame frameWin{"frameWin"}, frameOTH{"frameOTH"}, FrameIE{"FrameIE"}, FramePG{"FramePG"},
        FrameST{"FrameST"};
    ControlArray<TabStrip> sTab{"sTab"};
    // Inner frames, in page order.
    Frame fraWinSystem{"fraWinSystem"}, fraOtherTools{"fraOtherTools"}, fraOpera{"fraOpera"},
        fraNetscape{"fraNetscape"}, fraChromium{"fraChromium"}, fraIE{"fraIE"},
        fraIETools{"fraIETools"}, fraPrograms{"fraPrograms"}, fraSettings{"fraSettings"},
        fraEradicator{"fraEradicator"}, fraGeneral{"fraGeneral"};

    // Task arrays (all start at index 1) and their Select All boxes.
    ControlArray<CheckBox> win_chk{"win_chk"}, ie_Chk{"ie_Chk"}, ns_Chk{"ns_Chk"}, op_Chk{"op_Chk"},
        ch_Chk{"ch_Chk"}, oprg_chk{"oprg_chk"};
    CheckBox win_chks{"win_chks"}, ie_Chks{"ie_Chks"}, ns_Chks{"ns_Chks"}, op_Chks{"op_Chks"},
        ch_Chks{"ch_Chks"}, oprg_chks{"oprg_chks"};

    // Settings page.
    ControlArray<CheckBox> stChk{"stChk"};
    ComboBox cmbsDelType{"cmbsDelType"};

    CommandButton cmdClean{"cmdClean"}, cmdExit{"cmdExit"}, cmdjunk{"cmdjunk"}, cmderad{"cmderad"},
        cmdMCookies{"cmdMCookies"};
    PictureBox cmdhelp{"cmdhelp"};
    // Page buttons; Picture7 opens the About box.
    PictureBox Picture1{"Picture1"}, Picture2{"Picture2"}, Picture3{"Picture3"},
        Picture4{"Picture4"}, Picture7{"Picture7"}, Picture8{"Picture8"}, picTop{"picTop"};
    StatusBar sBar{"sBar", 7};

    // The boxes as values: what a run of Clean would do, and the options alone.
    Plan BuildPlan();
    Options CurrentOptions();

    // The task array and Select All box by name ("win_chk" ...); null when unknown.
    ControlArray<CheckBox>* TaskArray(std::string_view name);
    CheckBox* SelectAllBox(std::string_view array);
    // The page frame shown in front.
    Frame& FrontPage();
    std::vector<Frame*> Pages();

    // Event handlers.
    void Form_Initialize();
    void win_chks_Click();
    void ie_Chks_Click();
    void ns_Chks_Click();
    void op_Chks_Click();
    void ch_Chks_Click();
    void oprg_chks_Click();
    void stChk_Click(int index);
    void cmdClean_Click();
    void cmdExit_Click();

    // The run driver the window holds between the nothing-to-do check and the run.
    std::shared_ptr<ClsClean> CurrentRun() const { return cs_; }

protected:
    void Form_Load() override;
    void Form_Resize() override;
    void Form_QueryUnload(int& cancel, int mode) override;
    void Form_Unload(int& cancel) override;

private:
    void BuildControls();
    void SelectAll(ControlArray<CheckBox>& array, const CheckBox& box);
    // Runs a handler; any failure goes to the error reporter with `location`.
    template <class F>
    void Guard(const char* location, F&& body);

    Application& app_;
    std::shared_ptr<ClsClean> cs_;
    long mutexHandle_ = 0;
};

}  // namespace velloran
