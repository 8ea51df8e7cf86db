#include "common/controls/Controls.hpp"

#include <algorithm>

#include "common/VbError.hpp"

namespace velloran {

void ComboBox::SetListIndex(int i) {
    if (i < -1 || i >= ListCount()) throw VbError::InvalidPropertyValue();
    if (i == listIndex_) return;
    listIndex_ = i;
    Changed();
    if (OnClick) OnClick();
}

double ProgressBar::Fraction() const {
    if (max_ <= 0) return value_ > 0 ? 1.0 : 0.0;
    return std::clamp(static_cast<double>(value_) / static_cast<double>(max_), 0.0, 1.0);
}

const std::string& StatusBar::Panel(int i) const {
    if (i < 1 || i > PanelCount()) throw VbError::SubscriptOutOfRange();
    return panels_[static_cast<std::size_t>(i - 1)];
}

void StatusBar::SetPanel(int i, std::string text) {
    if (i < 1 || i > PanelCount()) throw VbError::SubscriptOutOfRange();
    auto& slot = panels_[static_cast<std::size_t>(i - 1)];
    if (slot == text) return;
    slot = std::move(text);
    Changed();
}

}  // namespace velloran
