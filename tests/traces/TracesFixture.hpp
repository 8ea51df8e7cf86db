#pragma once
// A loaded main form over the memory registry, with the trace workers' lines and
// errors collected.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/TaskWorker.hpp"
#include "support/AppFixture.hpp"

namespace velloran::test {

inline constexpr const char* kExplorer = "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer";
inline constexpr const char* kComDlg =
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ComDlg32";

class TracesFixture : public AppFixture {
protected:
    void SetUp() override { LoadMain(); }
    void Put(const std::string& key, const std::string& name, const std::string& data = "x") {
        registry.WriteValue(kHKeyCurrentUser, key, name, RegValue::String(data));
    }
    template <class W>
    void Listen(W& w) {
        w.OnProgress = [this](const std::string& area, const std::string& text) {
            lines.push_back(area + "|" + text);
        };
        w.OnError = [this](const WorkerFault& f) {
            errors.push_back(std::to_string(f.number) + "|" + f.location);
        };
    }
    std::vector<std::string> lines, errors;
};

}  // namespace velloran::test
