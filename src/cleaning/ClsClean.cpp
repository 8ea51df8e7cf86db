#include "cleaning/ClsClean.hpp"

#include "app/Application.hpp"
#include "app/Completion.hpp"
#include "app/FrmMain.hpp"
#include "cleaning/FrmCleaner.hpp"
#include "cleaning/ReportError.hpp"
#include "common/ModFunctions.hpp"

namespace velloran {

std::string RunHeader(const std::string& user, const std::string& winVersion,
                      const std::string& windowsDirectory) {
    return "Current User: " + user + "\r\n" + "Windows Type: Microsoft Windows " + winVersion +
           "\r\n" + "Windows Directory: " + windowsDirectory;
}

ClsClean::ClsClean(Application& app) : app_(app) {}
ClsClean::~ClsClean() = default;

bool ClsClean::isJob() {
    FrmMain& main = app_.Main();
    for (const ControlArray<CheckBox>* array :
         {&main.ie_Chk, &main.ns_Chk, &main.op_Chk, &main.win_chk, &main.oprg_chk}) {
        int count = 0;
        for (int i = 0; i <= array->UBound(); ++i) {
            if (i == 0) i = 1;  // no task array has an index 0
            // A failing member is skipped, so a broken array counts as nothing ticked.
            try {
                if ((*array)(i).Value() == 1) ++count;
            } catch (const VbError&) {
            }
        }
        if (count > 0) return true;
    }
    return false;
}

void ClsClean::RaiseProgress(const std::string& text, int total, int current) {
    if (Progress) Progress(text, total, current);
}

void ClsClean::AddLog(const std::string& text, Int16 total, Int16 current) {
    if (!app_.CleanerLoaded()) return;
    TextBox& log = app_.Cleaner().txtprogress;
    logSnapshot_ = log.Text();
    log.SetText(logSnapshot_ + "\r\n" + text);
    if (current < 1) return;
    RaiseProgress(text, total, current);
}

void ClsClean::CountTicked(const ControlArray<CheckBox>& array) {
    groupTotal_ = 0;
    groupDone_ = 0;
    Int16& index = app_.TaskIndex;
    for (index = 0; index <= array.UBound(); index += 1) {
        if (index == 0) index = 1;
        if (array(index).Value() == 1) groupTotal_ += 1;
    }
}

void ClsClean::Clean() {
    WithErrorHandler(app_, "ClsClean:Clean", [this] {
        try {
            FrmMain& main = app_.Main();
            if (app_.CleanerLoaded()) {
                Platform& platform = app_.GetPlatform();
                app_.Cleaner().txtprogress.SetText(RunHeader(
                    platform.UserName(), app_.WinVersion, GetSpecialFolder(platform, CSIDL_WINDOWS)));
            }
            main.SetMousePointer(vbHourglass);
            DoWindows();
            DoIE();
            DoNetscape();
            DoOpera();
            DoPrograms();
            main.SetMousePointer(vbDefault);
            if (!IsTrue(browserOpen_)) {
                SuccessMsgBox(app_,
                              IsTrue(aborted_) ? "Task(s) aborted by user successfully."
                                               : "Selected Task(s) completed successfully.",
                              vbInformation);
            }
            RaiseProgress("Completed All Jobs", 10, 10);
        } catch (const ProgramEnd&) {
            throw;
        } catch (...) {
            // The run is over: its window goes before the report.
            if (app_.CleanerLoaded()) app_.Cleaner().Unload();
            throw;
        }
    });
}

void ClsClean::SetCancel(bool /*value*/) {
    // Workers arrive with their groups; none is alive between groups.
}

void ClsClean::DoWindows() {
    WithErrorHandler(app_, "ClsClean:DoWindows", [this] {
        CountTicked(app_.Main().win_chk);
        if (groupTotal_ == 0) return;
    });
}

void ClsClean::DoIE() {
    WithErrorHandler(app_, "ClsClean:DoIE", [this] {
        CountTicked(app_.Main().ie_Chk);
        if (groupTotal_ == 0) return;
    });
}

void ClsClean::DoNetscape() {
    WithErrorHandler(app_, "ClsClean:DoNetscape", [this] {
        CountTicked(app_.Main().ns_Chk);
        if (groupTotal_ == 0) return;
    });
}

void ClsClean::DoOpera() {
    WithErrorHandler(app_, "ClsClean:DoOpera", [this] {
        CountTicked(app_.Main().op_Chk);
        if (groupTotal_ == 0) return;
    });
}

void ClsClean::DoPrograms() {
    WithErrorHandler(app_, "ClsClean:DoPrograms", [this] {
        CountTicked(app_.Main().oprg_chk);
        if (groupTotal_ == 0) return;
    });
}

}  // namespace velloran
