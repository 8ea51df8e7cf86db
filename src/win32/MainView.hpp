#pragma once
// The main window's view: page buttons, the five pages, Clean and Exit, and the
// status bar, all mirrored from FrmMain. The window keeps the form's size.
#include <map>

#include "win32/View.hpp"

namespace velloran {
class FrmMain;
}

namespace velloran::win32 {

class MainView : public View {
public:
    explicit MainView(FrmMain& form);

protected:
    LRESULT Handle(UINT message, WPARAM wParam, LPARAM lParam) override;
    void Relaid() override;

private:
    void TaskGroup(Frame& frame, const char* array, Box box, int page);
    void PageButton(PictureBox& picture, Frame* page, Box box);
    void BuildPages();
    void BuildStatusBar();
    void ShowFrontPage();
    void SyncStatusBar();
    // The outer size the form's twips make at the window's DPI.
    SIZE OuterSize() const;
    void ApplyFixedSize();

    FrmMain& form_;
    HWND status_ = nullptr;
    std::map<const Frame*, int> pages_;
    std::map<const Frame*, HWND> pageButtons_;
};

}  // namespace velloran::win32
