#pragma once
// The four Gecko-profile tasks: each edits one profile and returns the lines that
// say what it removed, kept or could not remove.
#include <cstdint>
#include <string>
#include <vector>

#include "cleaning/browsers/CookieKeepList.hpp"
#include "cleaning/browsers/GeckoProfiles.hpp"
#include "cleaning/browsers/MorkFile.hpp"
#include "common/platform/Platform.hpp"

namespace velloran {

struct GeckoTaskContext {
    Platform& platform;
    const CookieKeepList& keep;
};

// What a task did in one profile: its lines, and whether anything was there to remove.
struct GeckoTaskResult {
    std::vector<std::string> lines;
    bool removedAny = false;
    // The failure lines again, each one something the task could not do.
    std::vector<std::string> failures;
    void Fail(std::string line) {
        failures.push_back(line);
        lines.push_back(std::move(line));
    }
};

// 1 typed addresses, 2 cache, 3 cookies, 4 form data.
GeckoTaskResult RunGeckoTask(int task, const GeckoProfile& profile, GeckoTaskContext& context);

// The items of localstore.rdf's address-bar sequence taken out of `rdf` into `out`;
// returns how many there were.
std::int64_t RemoveUrlbarHistory(const std::string& rdf, std::string& out);

// A row of a Mork history.dat that the address bar learned from typing.
bool IsTypedHistoryRow(const std::vector<MorkCell>& cells);

// Why a profile must be left alone ("" when it is free): the browser holds its lock.
std::string GeckoProfileInUse(Platform& platform, const std::string& profile);

}  // namespace velloran
