#pragma once
// A control array: members by index, with gaps and an upper bound. Touching a
// missing member is error 340, which Select All loops deliberately ignore.
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "common/VbError.hpp"

namespace velloran {

template <class T>
class ControlArray {
public:
    explicit ControlArray(std::string name) : name_(std::move(name)) {}

    const std::string& Name() const { return name_; }

    T& Add(int index) {
        auto& slot = members_[index];
        slot = std::make_unique<T>(name_, index);
        return *slot;
    }

    // An array whose indexes have names (an enum) takes the names too.
    template <class E>
    requires std::is_enum_v<E> T& operator()(E index) const {
        return (*this)(static_cast<int>(index));
    }
    T& operator()(int index) const {
        auto it = members_.find(index);
        if (it == members_.end()) throw VbError::NoSuchControl(index);
        return *it->second;
    }
    bool Exists(int index) const { return members_.count(index) != 0; }
    int UBound() const { return members_.empty() ? -1 : members_.rbegin()->first; }
    int LBound() const { return members_.empty() ? 0 : members_.begin()->first; }
    int Count() const { return static_cast<int>(members_.size()); }
    std::vector<int> Indexes() const {
        std::vector<int> out;
        for (const auto& [i, _] : members_) out.push_back(i);
        return out;
    }

private:
    std::string name_;
    std::map<int, std::unique_ptr<T>> members_;
};

}  // namespace velloran
