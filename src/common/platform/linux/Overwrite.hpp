#pragma once
// Overwriting a file before removing it: regular files only (links and special
// files refused), up to the end of its last block, each pass flushed to the disk,
// then truncated, renamed through shrinking names and unlinked. A file with other
// hard links only loses this name; file systems that keep old copies are named.
#include <string>
#include <vector>

#include "common/platform/Platform.hpp"

namespace velloran::linuxfs {

// True when everything was done; what was not is appended to `report`. The folder
// is opened without following links. Throws VbError.
bool OverwriteAndRemove(const OverwriteJob& job, std::vector<std::string>& report);
// Many files pass by pass, each pass made durable for all before the next;
// removed folder by folder (see OverwriteBatch). Never throws for a single file:
// its error is in its result.
std::vector<OverwriteResult> OverwriteAndRemoveBatch(const OverwriteBatch& batch);
// Why overwriting in place may not reach the old contents of `path` (a file or a
// folder); empty when nothing stands in the way.
std::string OverwriteCaveat(const std::string& path);

}  // namespace velloran::linuxfs
