#pragma once
// A window as a toolkit-free object: load/activate/unload life cycle and the
// properties the logic reads. A front end shows it through Host.
#include <string>

#include "common/controls/Control.hpp"

namespace velloran {

class Host;

enum UnloadMode : int {
    vbFormControlMenu = 0,  // the user closed the window
    vbFormCode = 1,         // Unload by program
    vbAppWindows = 2,
    vbAppTaskManager = 3,
    vbFormMDIForm = 4,
    vbFormOwner = 5,
};
enum WindowState : int { vbNormal = 0, vbMinimized = 1, vbMaximized = 2 };
enum MousePointer : int { vbDefault = 0, vbHourglass = 11 };

class Form : public Control {
public:
    Form(Host& host, std::string name) : Control(std::move(name)), host_(host) {}

    bool IsLoaded() const { return loaded_; }
    // Loads the window once; raises Form_Load.
    void Load();
    // QueryUnload (which may refuse), then Unload; the view closes. Returns false
    // when the window refused or was not loaded.
    bool Unload(int mode = vbFormCode);
    // Shows the window modally over `owner`; returns when it is unloaded.
    void ShowModal(Form* owner = nullptr);
    // Raised by the host when the window becomes the active one.
    void Activate() { Form_Activate(); }
    // Raised by the host when the user resizes or minimises the window.
    void Resize() { Form_Resize(); }

    const std::string& Caption() const { return caption_; }
    void SetCaption(std::string c) { Set(caption_, std::move(c)); }
    const std::string& Tag() const { return tag_; }
    void SetTag(std::string t) { tag_ = std::move(t); }
    int MousePointer() const { return mousePointer_; }
    void SetMousePointer(int p) { Set(mousePointer_, p); }
    int WindowState() const { return windowState_; }
    void SetWindowState(int s) { Set(windowState_, s); }
    // Outer size in twips (1/1440 inch; 15 twips a pixel at 96 dpi).
    int Width() const { return width_; }
    int Height() const { return height_; }
    void SetSize(int width, int height) {
        Set(width_, width);
        Set(height_, height);
    }
    bool AutoRedraw() const { return autoRedraw_; }
    void SetAutoRedraw(bool a) { autoRedraw_ = a; }

    Host& GetHost() const { return host_; }

protected:
    virtual void Form_Load() {}
    virtual void Form_Activate() {}
    virtual void Form_QueryUnload(int& /*cancel*/, int /*mode*/) {}
    virtual void Form_Unload(int& /*cancel*/) {}
    virtual void Form_Resize() {}

private:
    Host& host_;
    bool loaded_ = false;
    bool unloading_ = false;
    std::string caption_;
    std::string tag_;
    int mousePointer_ = vbDefault;
    int windowState_ = vbNormal;
    int width_ = 0;
    int height_ = 0;
    bool autoRedraw_ = false;
};

}  // namespace velloran
