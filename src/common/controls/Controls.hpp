#pragma once
// Toolkit-free controls. They keep only the state and semantics the window logic
// relies on; a front end mirrors them onto real widgets.
#include <functional>
#include <string>
#include <vector>

#include "common/controls/Control.hpp"

namespace velloran {

// A control that raises a click, by the user or by the program.
class Clickable : public Control {
public:
    using Control::Control;
    std::function<void()> OnClick;
    // Runs the click handling, whoever caused it.
    void Click() {
        if (OnClick) OnClick();
    }
    const std::string& Caption() const { return caption_; }
    void SetCaption(std::string c) { Set(caption_, std::move(c)); }

private:
    std::string caption_;
};

class CommandButton : public Clickable {
public:
    using Clickable::Clickable;
    // A user's click reaches the handler only while the button is usable.
    void UserClick() {
        if (Enabled() && Visible()) Click();
    }
};

// Picture buttons (page selectors, the help button).
class PictureBox : public CommandButton {
public:
    using CommandButton::CommandButton;
    const std::string& Picture() const { return picture_; }
    void SetPicture(std::string p) { Set(picture_, std::move(p)); }

private:
    std::string picture_;
};

// Value is 0 (clear), 1 (ticked) or 2 (neither). Setting a different value by
// program raises the click handling exactly as a user's click does; setting the
// value it already has raises nothing.
class CheckBox : public Clickable {
public:
    using Clickable::Clickable;
    int Value() const { return value_; }
    void SetValue(int v) {
        if (v == value_) return;
        value_ = v;
        Changed();
        Click();
    }
    void UserClick() {
        if (Enabled() && Visible()) SetValue(value_ == 1 ? 0 : 1);
    }

private:
    int value_ = 0;
};

class Label : public Control {
public:
    using Control::Control;
    const std::string& Caption() const { return caption_; }
    void SetCaption(std::string c) { Set(caption_, std::move(c)); }

private:
    std::string caption_;
};

class TextBox : public Control {
public:
    using Control::Control;
    const std::string& Text() const { return text_; }
    void SetText(std::string t) {
        if (t != text_) ++revision_;
        Set(text_, std::move(t));
    }
    // A log grows a line at a time: views and the console take just the new
    // line from `LineAdded`; `Changed` stays for rewrites of the whole text and
    // other properties.
    void AppendLine(const std::string& line) {
        text_ += "\r\n";
        text_ += line;
        ++revision_;
        LineAdded(line);
    }
    Signal<const std::string&> LineAdded;
    // Counts changes of the text, so a listener can tell a rewrite from a change
    // of another property without comparing texts.
    unsigned long long TextRevision() const { return revision_; }
    bool Locked() const { return locked_; }
    void SetLocked(bool l) { Set(locked_, l); }

private:
    std::string text_;
    unsigned long long revision_ = 0;
    bool locked_ = false;
};

// A frame; the page frames are brought to the front by z-order.
class Frame : public Control {
public:
    using Control::Control;
    const std::string& Caption() const { return caption_; }
    void SetCaption(std::string c) { Set(caption_, std::move(c)); }
    // Brings the frame above its siblings.
    void ZOrderTop() {
        zOrder_ = ++zCounter_;
        Changed();
    }
    long long ZOrder() const { return zOrder_; }

private:
    std::string caption_;
    long long zOrder_ = 0;
    static inline long long zCounter_ = 0;
};

// Drop-down list.
class ComboBox : public Control {
public:
    using Control::Control;
    void AddItem(std::string item) {
        items_.push_back(std::move(item));
        Changed();
    }
    void Clear() {
        items_.clear();
        listIndex_ = -1;
        Changed();
    }
    int ListCount() const { return static_cast<int>(items_.size()); }
    const std::string& List(int i) const { return items_.at(static_cast<std::size_t>(i)); }
    int ListIndex() const { return listIndex_; }
    // An index outside the list is error 380, as the platform's list would raise.
    void SetListIndex(int i);
    std::string Text() const { return listIndex_ < 0 ? std::string() : List(listIndex_); }
    std::function<void()> OnClick;

private:
    std::vector<std::string> items_;
    int listIndex_ = -1;
};

// The KelProgressBar contract: caption, maximum and value; a value above the
// maximum is shown as full rather than refused.
class ProgressBar : public Control {
public:
    using Control::Control;
    const std::string& Caption() const { return caption_; }
    void SetCaption(std::string c) { Set(caption_, std::move(c)); }
    long Max() const { return max_; }
    void SetMax(long m) { Set(max_, m); }
    long Value() const { return value_; }
    void SetValue(long v) { Set(value_, v); }
    // Fraction shown, 0..1.
    double Fraction() const;

private:
    std::string caption_;
    long max_ = 100;
    long value_ = 0;
};

class StatusBar : public Control {
public:
    StatusBar(std::string name, int panels) : Control(std::move(name)), panels_(panels) {}
    int PanelCount() const { return static_cast<int>(panels_.size()); }
    // Panels are numbered from 1.
    const std::string& Panel(int i) const;
    void SetPanel(int i, std::string text);

private:
    std::vector<std::string> panels_;
};

class TabStrip : public Control {
public:
    TabStrip(std::string name, int index) : Control(std::move(name), index) {}
    void AddTab(std::string caption) {
        tabs_.push_back(std::move(caption));
        tabEnabled_.push_back(true);
        Changed();
    }
    int TabCount() const { return static_cast<int>(tabs_.size()); }
    const std::string& Tab(int i) const { return tabs_.at(static_cast<std::size_t>(i)); }
    int SelectedTab() const { return selected_; }
    void SetSelectedTab(int i) { Set(selected_, i); }
    // An unavailable tab cannot be chosen by the user.
    bool TabEnabled(int i) const { return tabEnabled_.at(static_cast<std::size_t>(i)); }
    void SetTabEnabled(int i, bool enabled) {
        auto slot = tabEnabled_.at(static_cast<std::size_t>(i));
        if (slot == enabled) return;
        tabEnabled_[static_cast<std::size_t>(i)] = enabled;
        Changed();
    }

private:
    std::vector<std::string> tabs_;
    std::vector<bool> tabEnabled_;
    int selected_ = 0;
};

}  // namespace velloran
