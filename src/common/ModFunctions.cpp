#include "common/ModFunctions.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>

#include "common/VbError.hpp"

namespace velloran {

namespace {

// One row of the version table; -1 means "any".
struct VersionRow {
    int build;
    int platformId;
    int major;
    int minor;
    const char* code;
};

// Tested top to bottom. The 5.1 row can never match because the 5.x row takes
// every version 5 first, so XP reports "2000"; that is how the program always behaved.
constexpr std::array<VersionRow, 9> kVersionRows{{
    {1998, 1, -1, 10, "98"},
    {2222, 1, -1, 10, "98se"},
    {3000, 1, -1, 90, "ME"},
    {950, 1, -1, 0, "95"},
    {1111, 1, -1, 0, "95B"},
    {-1, 2, 3, -1, "NT3"},
    {-1, 2, 4, -1, "NT4"},
    {-1, 2, 5, -1, "2000"},
    {-1, 2, 5, 1, "XP"},
}};

bool Matches(int want, long long have) { return want == -1 || want == have; }

std::string Fixed2(double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.2f", v);
    return buf;
}

// A number as Visual Basic's Str would print it: no trailing zeros.
std::string Plain(double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.15g", v);
    return buf;
}

}  // namespace

std::string WinVersionCode(const std::optional<OsVersionInfo>& info) {
    if (!info) return "--";
    // The low 16 bits of the build, read as a signed 16-bit number.
    const auto build = static_cast<std::int16_t>(info->buildNumber & 0xFFFF);
    for (const auto& row : kVersionRows) {
        if (Matches(row.build, build) && row.platformId == static_cast<int>(info->platformId) &&
            Matches(row.major, info->majorVersion) && Matches(row.minor, info->minorVersion))
            return row.code;
    }
    return "--";
}

double FreeBytesFromGeometry(const DiskGeometry& g) {
    const long long clusterSectors =
        static_cast<long long>(g.sectorsPerCluster) * static_cast<long long>(g.freeClusters);
    if (clusterSectors > std::numeric_limits<std::int32_t>::max())
        throw VbError::Overflow().From("ModFunctions:DiskFreeSpace");
    return static_cast<double>(g.bytesPerSector) * static_cast<double>(clusterSectors);
}

double DiskFreeSpace(Platform& platform, const std::string& root) {
    auto space = platform.DiskFreeSpace(root);
    if (!space) return 0;
    if (space->geometry) return FreeBytesFromGeometry(*space->geometry);
    return space->freeBytes;
}

std::string SetBytes(double b) {
    if (std::isnan(b)) return {};
    if (b >= 1073741824.0) return Fixed2(b / 1024 / 1024 / 1024) + " GB";
    if (b >= 1048576.0) return Fixed2(b / 1024 / 1024) + " MB";
    if (b >= 1024.0) return Fixed2(b / 1024) + " KB";
    if (b < 1024.0) return Plain(b) + " Bytes";
    return {};
}

std::string ShortenPath(const std::string& path, std::int16_t maxLength) {
    const auto n = static_cast<std::size_t>(std::max<std::int16_t>(maxLength, 5));
    if (path.size() <= n) return path;
    return path.substr(0, 3) + ".." + path.substr(path.size() - (n - 5));
}

std::string SetBytes(std::string_view text) {
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    double v = 0;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (text.empty() || ec != std::errc() || end != text.data() + text.size()) return {};
    return SetBytes(v);
}

std::string GetSpecialFolder(Platform& platform, int csidl) {
    auto path = platform.SpecialFolderPath(csidl);
    return path ? *path : std::string();
}

}  // namespace velloran
