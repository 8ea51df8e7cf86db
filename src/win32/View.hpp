#pragma once
// A top-level window over a form. It mirrors the form's controls onto child
// windows and forwards the user's input to the form; the form decides when the
// window closes: the title-bar button asks it to unload, and the host destroys
// the window once it has.
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "common/controls/Controls.hpp"
#include "common/controls/Form.hpp"
#include "common/controls/ListView.hpp"
#include "win32/Gui.hpp"

namespace velloran::win32 {

// A child's place, in pixels at 96 dots per inch.
struct Box {
    int x, y, w, h;
};

// Every page of a view (-1: on no page, always shown).
inline constexpr int kNoPage = -1;

class View {
public:
    // `form` may be null for a window of the host's own (the error report).
    View(Form* form, const std::wstring& className, HWND owner, SIZE client,
         bool resizable = false);
    virtual ~View();
    View(const View&) = delete;
    View& operator=(const View&) = delete;

    HWND Hwnd() const { return hwnd_; }
    Form* GetForm() const { return form_; }
    // Destroys the window (once); the object stays until its owner drops it.
    void Destroy();
    bool Destroyed() const { return hwnd_ == nullptr; }

    // The window class name a form's window has: "Velloran." and the form's name.
    static std::wstring ClassFor(const std::string& formName);

protected:
    virtual LRESULT Handle(UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT Default(UINT message, WPARAM wParam, LPARAM lParam);
    // Called after the children are placed for a new DPI.
    virtual void Relaid() {}
    // Places the children for the window's DPI, frames and tabs below their contents.
    void Place();

    HWND Add(const wchar_t* windowClass, DWORD style, Box box, const std::string& name,
             int page = kNoPage, DWORD exStyle = 0, const std::wstring& text = {});
    HWND AddButton(CommandButton& button, Box box, int page = kNoPage);
    HWND AddCheck(CheckBox& box, Box place, int page = kNoPage);
    HWND AddLabel(Label& label, Box box, int page = kNoPage, HFONT font = nullptr);
    HWND AddFrame(Frame& frame, Box box, int page = kNoPage);
    HWND AddCombo(ComboBox& combo, Box box, int page = kNoPage);
    HWND AddBar(ProgressBar& bar, Box box, int page = kNoPage);
    // A run log: one row a line, so that a reader (the tests' driver) gets lines.
    HWND AddLog(TextBox& text, Box box);
    // A report list over the rows of `list`: owner data, so that the view holds
    // nothing per row and 100,000 rows cost what 20 do.
    HWND AddList(ListView& list, Box box, int page = kNoPage);
    HWND AddTree(TreeView& tree, Box box, int page = kNoPage);
    // A tab control whose tabs show the pages of the same number.
    HWND AddTabs(TabStrip& strip, Box box);

    void OnCommand(HWND child, std::function<void(int code)> handler);
    void OnNotify(HWND child, std::function<LRESULT(NMHDR*)> handler);
    // The button Enter presses.
    void SetDefaultButton(HWND button);
    // Shows the children of `page` (and those on no page); hides the others.
    void ShowPage(int page);
    // Runs `sync` now and after every change of `control`.
    void Mirror(Control& control, const std::function<void()>& sync);
    int Px(int value) const { return Scale(value, dpi_); }
    UINT Dpi() const { return dpi_; }
    HFONT Font() const { return font_; }

    Bindings bindings_;

private:
    struct Child {
        HWND hwnd;
        Box box;
        int page;
        bool shownByControl = true;
        bool backdrop = false;  // tab controls and frames: below their contents
        bool onTab = false;     // drawn on a tab control's pane
    };
    static LRESULT CALLBACK Procedure(HWND, UINT, WPARAM, LPARAM);
    void NewDpi(UINT dpi, const RECT* suggested);
    Child* Find(HWND hwnd);
    void SetShown(HWND hwnd, bool shown);
    void ApplyVisibility(Child& child);
    void MirrorCommon(Control& control, HWND hwnd);
    void FitColumn(HWND list, ListView& rows, int column);
    LRESULT ListNotify(ListView& list, NMHDR* header);
    LRESULT TreeNotify(TreeView& tree, NMHDR* header);

    Form* form_;
    HWND hwnd_ = nullptr;
    UINT dpi_ = 96;
    HFONT font_ = nullptr;
    COLORREF paneColour_ = 0;
    HBRUSH paneBrush_ = nullptr;
    SIZE client_;
    int page_ = 0;
    int nextId_ = 100;
    std::vector<Child> children_;
    std::vector<HIMAGELIST> images_;
    std::map<int, std::function<void(int)>> commands_;
    std::map<int, std::function<LRESULT(NMHDR*)>> notifies_;
    std::map<HWND, std::vector<int>> pendingFits_;
    std::vector<std::function<void()>> onDpi_;
    std::wstring textBuffer_;
    HWND defaultButton_ = nullptr;
};

}  // namespace velloran::win32
