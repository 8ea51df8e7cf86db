#pragma once
// Wine's registry text format (user.reg, system.reg): reading into a RegHive and
// writing it back. Sections of keys that did not change are written back with
// their original bytes; changed and new keys are written the way wineserver writes
// them, in its order, with fresh timestamps.
#include <string>
#include <string_view>

#include "common/registry/RegistryTree.hpp"

namespace velloran {

// Parses `text` into `hive` (which is cleared first). Throws VbError naming
// `fileName` and the line for anything wineserver would reject or report.
void ReadWineRegistry(RegHive& hive, std::string text, const std::string& fileName);
// The same for a text read from the file, lazily or not.
void ReadWineRegistry(RegHive& hive, FileText text, const std::string& fileName);

enum class WineBranch { User, Machine };

// The header comment of a new file, e.g. `REGISTRY\\User\\S-1-5-21-0-0-0-1000`.
std::string WineBranchPath(WineBranch branch);

// Renders the hive. With nothing touched the result is the text that was read.
// `arch` is used for a new file only ("win32", "win64" or empty).
std::string RenderWineRegistry(RegHive& hive, WineBranch branch, std::string_view arch);
// The same as runs of the hive's text and the parts rendered anew, for writing out
// without a copy; valid until the hive changes.
PieceText RenderWineRegistryPieces(RegHive& hive, WineBranch branch, std::string_view arch);

// After the rendered text is safely on disk: it becomes the text that later saves
// start from, and every key counts as unchanged again.
void AdoptWineRegistry(RegHive& hive, std::string text);
void AdoptWineRegistry(RegHive& hive, PieceText text);

// String escaping as Wine's dump_strW / parse_strW do it. `delims` are the two
// characters escaped besides "\" ("\"\"" in strings, "[]" in key names). String data
// carries its terminating NUL, which the file leaves implied (`impliedNul`); a name
// that ends in a NUL of its own keeps it.
std::string EscapeWineString(std::u16string_view s, std::string_view delims,
                             bool impliedNul = false);
// Parses up to the unescaped `end` character; returns the position after it, or
// npos when `end` never comes. Raw bytes from 0x80 up are read as UTF-8; invalid
// sequences are dropped, as Wine drops them, and counted in `invalidBytes`.
size_t UnescapeWineString(std::string_view src, char end, std::u16string& out,
                          size_t* invalidBytes = nullptr);

}  // namespace velloran
