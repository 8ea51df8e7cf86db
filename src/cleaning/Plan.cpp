#include "cleaning/Plan.hpp"

#include <algorithm>

#include "cleaning/TaskCatalogue.hpp"

namespace velloran {

void Options::SetByClick(int index, int value) {
    if (index < 0 || index > 6 || index == 2 || box[index] == value) return;
    box[index] = value;
    const bool ticked = value == 1;
    switch (index) {
        case 0:
            // Even clearing the recycle-bin box clears secure delete.
            SetByClick(1, 0);
            break;
        case 1:
            if (ticked) {
                SetByClick(0, 0);
                SetByClick(1, 1);
            }
            break;
        case 4:
        case 5:
        case 6:
            if (ticked)
                for (int other : {4, 5, 6})
                    if (other != index) SetByClick(other, 0);
            break;
        default:
            break;
    }
}

Plan::Plan() {
    for (const GroupInfo& group : TaskArrays()) {
        int upper = 0;
        for (const TaskInfo& task : group.tasks) upper = std::max(upper, task.index);
        values_.emplace_back(static_cast<std::size_t>(upper) + 1, 0);
    }
}

int Plan::Value(std::size_t group, int index) const {
    if (group >= values_.size() || index < 1) return 0;
    const auto& boxes = values_[group];
    return static_cast<std::size_t>(index) < boxes.size() ? boxes[index] : 0;
}

void Plan::Set(std::size_t group, int index, int value) {
    if (group >= values_.size() || index < 1) return;
    auto& boxes = values_[group];
    if (static_cast<std::size_t>(index) < boxes.size()) boxes[index] = value;
}

bool Plan::Set(std::string_view array, int index, int value) {
    const auto groups = TaskArrays();
    for (std::size_t g = 0; g < groups.size(); ++g) {
        if (groups[g].array != array) continue;
        for (const TaskInfo& task : groups[g].tasks)
            if (task.index == index) {
                Set(g, index, value);
                return true;
            }
    }
    return false;
}

bool Plan::AnyTicked(std::size_t group) const {
    if (group >= values_.size()) return false;
    for (int v : values_[group])
        if (v == 1) return true;
    return false;
}

bool Plan::AnyTicked() const {
    for (std::size_t g = 0; g < values_.size(); ++g)
        if (AnyTicked(g)) return true;
    return false;
}

}  // namespace velloran
