#pragma once
// Finding the wineserver that owns a prefix. While it runs, the prefix's registry
// lives in its memory and it overwrites the files on its next save, so nothing may
// write them then.
#include <filesystem>
#include <string>
#include <vector>

namespace velloran {

struct WineServerStatus {
    bool running = false;
    long pid = 0;                     // 0 when not known
    std::filesystem::path serverDir;  // the server-<dev>-<ino> folder found
};

// `searchRoots` are the folders that may hold the server folders' parents
// (.wine-<uid>, wine-<random>); empty = /tmp and $TMPDIR. The lock is only ever
// tested, never taken: a starting wineserver that cannot take it gives up.
WineServerStatus FindWineServer(const std::filesystem::path& prefix,
                                const std::vector<std::filesystem::path>& searchRoots = {});

// "server-<dev>-<ino>" for the prefix folder, as wineserver names it.
std::string WineServerDirName(const std::filesystem::path& prefix);

// The refusal text: names the prefix and how to stop its server.
std::string WineServerRunningMessage(const std::filesystem::path& prefix, long pid);

}  // namespace velloran
