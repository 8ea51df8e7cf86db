// On Windows Velloran works on the live registry and never on a prefix's files:
// a wineserver, if any, is the system itself and never in the way.
#include "common/platform/WineServer.hpp"

namespace velloran {

namespace fs = std::filesystem;

WineServerStatus FindWineServer(const fs::path& /*prefix*/,
                                const std::vector<fs::path>& /*searchRoots*/) {
    return {};
}

std::string WineServerDirName(const fs::path& /*prefix*/) { return {}; }

std::string WineServerRunningMessage(const fs::path& prefix, long pid) {
    std::string msg = "The Wine prefix " + prefix.string() + " is in use by its wineserver";
    if (pid > 0) msg += " (process " + std::to_string(pid) + ")";
    return msg + ". Nothing was written.";
}

}  // namespace velloran
