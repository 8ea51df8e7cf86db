#pragma once
// A minimal observer list: views connect to controls, forms never see the views.
#include <functional>
#include <utility>
#include <vector>

namespace velloran {

template <class... Args>
class Signal {
public:
    using Slot = std::function<void(Args...)>;
    int Connect(Slot slot) {
        slots_.emplace_back(++nextId_, std::move(slot));
        return nextId_;
    }
    void Disconnect(int id) {
        std::erase_if(slots_, [id](const auto& s) { return s.first == id; });
    }
    void DisconnectAll() { slots_.clear(); }
    void operator()(Args... args) const {
        // Copy: a slot may disconnect while we iterate.
        auto copy = slots_;
        for (auto& s : copy) s.second(args...);
    }
    bool Empty() const { return slots_.empty(); }

private:
    std::vector<std::pair<int, Slot>> slots_;
    int nextId_ = 0;
};

}  // namespace velloran
