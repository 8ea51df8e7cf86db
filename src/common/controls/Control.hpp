#pragma once
#include <cstdint>
#include <string>

#include "common/controls/Signal.hpp"

namespace velloran {

// Colours are Windows COLORREF values (0x00BBGGRR); 0x8000000N is system colour N.
using OleColor = std::uint32_t;
inline constexpr OleColor kColorWhite = 0xFFFFFF;
inline constexpr OleColor kSysColorButtonFace = 0x8000000F;
inline constexpr OleColor kSysColorInactiveBorder = 0x8000000A;
inline constexpr OleColor kSysColorWindow = 0x80000005;

struct Font {
    std::string name = "MS Sans Serif";
    double size = 8.25;
    bool bold = false;
    bool underline = false;
    bool operator==(const Font&) const = default;
};

class Control {
public:
    explicit Control(std::string name, int index = -1) : name_(std::move(name)), index_(index) {}
    virtual ~Control() = default;
    Control(const Control&) = delete;
    Control& operator=(const Control&) = delete;

    const std::string& Name() const { return name_; }
    int Index() const { return index_; }

    bool Enabled() const { return enabled_; }
    void SetEnabled(bool e) { Set(enabled_, e); }
    bool Visible() const { return visible_; }
    void SetVisible(bool v) { Set(visible_, v); }
    OleColor BackColor() const { return backColor_; }
    void SetBackColor(OleColor c) { Set(backColor_, c); }
    OleColor ForeColor() const { return foreColor_; }
    void SetForeColor(OleColor c) { Set(foreColor_, c); }
    const Font& GetFont() const { return font_; }
    void SetFont(const Font& f) { Set(font_, f); }
    const std::string& ToolTipText() const { return toolTip_; }
    void SetToolTipText(std::string t) { Set(toolTip_, std::move(t)); }

    // Raised after any property change; views re-read the control.
    Signal<> Changed;

protected:
    template <class T, class U>
    void Set(T& field, U&& v) {
        if (field == v) return;
        field = std::forward<U>(v);
        Changed();
    }

private:
    std::string name_;
    int index_;
    bool enabled_ = true;
    bool visible_ = true;
    OleColor backColor_ = kSysColorButtonFace;
    OleColor foreColor_ = 0x80000012;
    Font font_;
    std::string toolTip_;
};

}  // namespace velloran
