#include "common/controls/Form.hpp"

#include "common/Host.hpp"

namespace velloran {

void Form::Load() {
    if (loaded_) return;
    loaded_ = true;
    Form_Load();
}

bool Form::Unload(int mode) {
    if (!loaded_ || unloading_) return false;
    unloading_ = true;
    int cancel = 0;
    try {
        Form_QueryUnload(cancel, mode);
        if (cancel == 0) Form_Unload(cancel);
    } catch (...) {
        unloading_ = false;
        throw;
    }
    unloading_ = false;
    if (cancel != 0) return false;
    loaded_ = false;
    host_.FormUnloaded(*this);
    return true;
}

void Form::ShowModal(Form* owner) {
    Load();
    if (!loaded_) return;  // Form_Load may unload it again
    host_.ShowModal(*this, owner);
}

}  // namespace velloran
