#pragma once
// Small shared system-information helpers.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "common/platform/Platform.hpp"

namespace velloran {

// The short code for a Windows version ("95", "98se", "2000", ...); "--" when the
// record matches no row or the platform has no Windows version.
std::string WinVersionCode(const std::optional<OsVersionInfo>& info);

// Free bytes of a drive. With cluster geometry the cluster product is a 32-bit
// signed multiplication that raises "Overflow", as the program always did.
double DiskFreeSpace(Platform& platform, const std::string& root);
double FreeBytesFromGeometry(const DiskGeometry& g);

// A byte count as the junk finder shows it: "1.50 MB", "1023 Bytes"; "" for text
// that is not a number.
std::string SetBytes(double bytes);
std::string SetBytes(std::string_view text);

// A path cut to `maxLength` characters for a one-line label: its first three
// characters, "..", and its tail; unchanged when it fits.
std::string ShortenPath(const std::string& path, std::int16_t maxLength);

// A shell folder's path, "" when it cannot be resolved.
std::string GetSpecialFolder(Platform& platform, int csidl);

}  // namespace velloran
