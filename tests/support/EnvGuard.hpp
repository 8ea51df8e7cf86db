#pragma once
// Sets environment variables for one test and puts them back afterwards.
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velloran::test {

class EnvGuard {
public:
    EnvGuard() = default;
    EnvGuard(const EnvGuard&) = delete;
    EnvGuard& operator=(const EnvGuard&) = delete;
    ~EnvGuard() {
        for (auto it = saved_.rbegin(); it != saved_.rend(); ++it) {
            if (it->second)
                setenv(it->first.c_str(), it->second->c_str(), 1);
            else
                unsetenv(it->first.c_str());
        }
    }
    void Set(const std::string& name, const char* value) {
        const char* old = std::getenv(name.c_str());
        saved_.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
        if (value)
            setenv(name.c_str(), value, 1);
        else
            unsetenv(name.c_str());
    }

private:
    std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};

}  // namespace velloran::test
