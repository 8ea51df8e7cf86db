#include "cleaning/Preview.hpp"

#include <filesystem>
#include <random>

namespace velloran {

std::string PreviewSummary::Text() const {
    std::string t = "Preview: nothing was changed. A real run would remove " +
                    std::to_string(registryValues) + " registry value(s) and " +
                    std::to_string(registryKeys) + " registry key(s), " + std::to_string(files) +
                    " file(s) (" + std::to_string(bytes) + " bytes)";
    for (const auto& op : operations) t += ", and " + op;
    return t + ".";
}

bool PreviewStore::DeleteValue(std::uint32_t root, std::string_view path, std::string_view name) {
    const bool existed = inner_.DeleteValue(root, path, name);
    if (existed) ++summary_.registryValues;
    return existed;
}

void PreviewStore::CountTree(std::uint32_t root, const std::string& path) {
    ++summary_.registryKeys;
    for (const auto& v : inner_.EnumerateValues(root, path))
        if (!v.IsDefault()) ++summary_.registryValues;
    for (const auto& sub : inner_.EnumerateKeys(root, path)) CountTree(root, path + "\\" + sub);
}

bool PreviewStore::DeleteKey(std::uint32_t root, std::string_view path, bool recursive) {
    if (inner_.KeyExists(root, path)) CountTree(root, std::string(path));
    return inner_.DeleteKey(root, path, recursive);
}

void PreviewPlatform::Count(RemovalCount c) {
    summary_.files += c.items;
    summary_.bytes += c.bytes;
}

std::optional<std::string> PreviewPlatform::FindTopLevelWindow(const std::string& windowClass,
                                                               bool close) {
    auto title = inner_.FindTopLevelWindow(windowClass, false);
    if (title && close) summary_.operations.emplace_back("close the window \"" + *title + "\"");
    return title;
}

void PreviewPlatform::EmptyClipboard() { summary_.operations.emplace_back("empty the clipboard"); }

Leftovers PreviewPlatform::EmptyRecycleBin(int /*flags*/) {
    Count(inner_.RecycleBinContents());
    return {};
}

Leftovers PreviewPlatform::ClearRecentDocs() {
    Count(inner_.RecentDocsContents());
    return {};
}

void PreviewPlatform::WriteTextFile(const std::string& path, const std::string& /*text*/) {
    summary_.operations.push_back("write " + path);
}

// Creating a folder removes nothing and leaves no trace worth reporting.
void PreviewPlatform::CreateDirectories(const std::string& /*path*/) {}

bool PreviewPlatform::RemoveFile(const std::string& path) {
    summary_.operations.push_back("delete " + path);
    return true;
}

void PreviewPlatform::DeletePath(const std::string& path) {
    summary_.operations.push_back("delete " + path);
}

void PreviewPlatform::MoveToRecycleBin(const std::string& path) {
    summary_.operations.push_back("move " + path + " to the trash");
}

bool PreviewPlatform::PowerOff() {
    summary_.operations.emplace_back("power off the computer");
    return true;
}

bool PreviewPlatform::Reboot() {
    summary_.operations.emplace_back("restart the computer");
    return true;
}

PreviewPlatform::~PreviewPlatform() {
    std::error_code ec;
    if (!scratch_.empty()) std::filesystem::remove_all(scratch_, ec);
}

std::string PreviewPlatform::DatabaseToEdit(const std::string& path) {
    namespace fs = std::filesystem;
    std::error_code ec;
    if (scratch_.empty()) {
        fs::path dir = fs::temp_directory_path(ec);
        if (ec) dir = "/tmp";
        dir /= "velloran-preview-" + std::to_string(std::random_device{}());
        if (!fs::create_directories(dir, ec)) throw std::runtime_error("no scratch folder");
        scratch_ = dir.string();
    }
    // The copy keeps the file name so messages read the same; each copy its own folder.
    const fs::path folder = fs::path(scratch_) / std::to_string(++copies_);
    fs::create_directories(folder);
    const fs::path copy = folder / fs::path(path).filename();
    // A missing database stays missing in the copy: opening it must fail alike.
    for (const char* side : {"", "-wal", "-journal"}) {
        const fs::path from = path + side;
        if (fs::is_regular_file(from, ec))
            fs::copy_file(from, copy.string() + side, fs::copy_options::overwrite_existing);
    }
    return copy.string();
}

}  // namespace velloran
