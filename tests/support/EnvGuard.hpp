#pragma once
// Sets environment variables for one test and puts them back afterwards.
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TestSystem.hpp"

namespace velloran::test {

class EnvGuard {
public:
    EnvGuard() = default;
    EnvGuard(const EnvGuard&) = delete;
    EnvGuard& operator=(const EnvGuard&) = delete;
    ~EnvGuard() {
        for (auto it = saved_.rbegin(); it != saved_.rend(); ++it)
            SetEnvironmentValue(it->first, it->second ? it->second->c_str() : nullptr);
    }
    void Set(const std::string& name, const char* value) {
        saved_.emplace_back(name, EnvironmentOf(name));
        SetEnvironmentValue(name, value);
    }

private:
    std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};

}  // namespace velloran::test
