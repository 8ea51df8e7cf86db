#include "cleaning/Preview.hpp"

#include <filesystem>
#include <random>

#include "common/VbError.hpp"
#include "common/platform/Paths.hpp"

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

void PreviewPlatform::EditTextFile(
    const std::string& path,
    const std::function<std::string(const std::optional<std::string>&)>& /*edit*/) {
    summary_.operations.push_back("write " + path);
}

void PreviewPlatform::ReplaceFileContent(const std::string& path, const std::string& /*text*/) {
    inner_.CheckReplaceable(path);
    summary_.operations.push_back("rewrite " + path);
}

// Creating a folder removes nothing and leaves no trace worth reporting.
void PreviewPlatform::CreateDirectories(const std::string& /*path*/) {}

// Counted like the files of a folder removal, so that a run removing thousands of
// cache files reports a count rather than thousands of names. A path that is not
// there fails as a real removal would.
bool PreviewPlatform::RemoveFile(const std::string& path) {
    std::error_code ec;
    const auto status = std::filesystem::symlink_status(PathFromUtf8(path), ec);
    if (ec || status.type() == std::filesystem::file_type::not_found) return false;
    const auto size = status.type() == std::filesystem::file_type::regular
                          ? std::filesystem::file_size(path, ec)
                          : 0;
    Count({1, ec ? 0 : static_cast<std::int64_t>(size)});
    return true;
}

// Paths compare as the system compares them (on Windows without letter case).
bool PreviewPlatform::Removed(const std::string& path) const {
    const std::string key = PathKey(path);
    std::lock_guard lock(removedLock_);
    for (const std::string& r : removed_)
        if (key == r ||
            (key.starts_with(r) && key.size() > r.size() && IsPathSeparator(key[r.size()])))
            return true;
    return false;
}

void PreviewPlatform::MarkRemoved(const std::string& path) {
    std::lock_guard lock(removedLock_);
    removed_.insert(PathKey(path));
}

void PreviewPlatform::DeletePath(const std::string& path) {
    summary_.operations.push_back("delete " + path);
    MarkRemoved(path);
}

void PreviewPlatform::MoveToRecycleBin(const std::string& path) {
    summary_.operations.push_back("move " + path + " to the trash");
    MarkRemoved(path);
}

void PreviewPlatform::DeleteFileEntry(const std::string& path) {
    const auto size = inner_.FileSize(path);
    if (!size && !inner_.FileExists(path)) throw VbError::FileNotFound(path);
    Count({1, static_cast<std::int64_t>(size.value_or(0))});
    MarkRemoved(path);
}

bool PreviewPlatform::OverwriteAndRemove(const OverwriteJob& job, std::vector<std::string>&) {
    // A file that is not there fails as a real run would.
    const auto size = inner_.FileSize(job.path);
    if (!size) throw VbError::FileNotFound(job.path);
    const std::uint64_t all = *size * (job.passes.size() + (job.verifyLast ? 1 : 0));
    if (job.total) *job.total = all;
    if (job.done) *job.done = all;
    Count({1, static_cast<std::int64_t>(*size)});
    MarkRemoved(job.path);
    return true;
}

std::vector<OverwriteResult> PreviewPlatform::OverwriteAndRemoveBatch(const OverwriteBatch& batch) {
    std::vector<OverwriteResult> results(batch.jobs.size());
    std::atomic<std::uint64_t> total{0}, done{0};
    std::uint64_t all = 0;
    for (std::size_t i = 0; i < batch.jobs.size(); ++i) {
        OverwriteJob job = batch.jobs[i];
        job.total = &total;
        job.done = &done;
        try {
            results[i].complete = OverwriteAndRemove(job, results[i].report);
        } catch (...) {
            results[i].error = std::current_exception();
        }
        all += total.exchange(0);
    }
    if (batch.total) *batch.total = all;
    if (batch.done) *batch.done = all;
    return results;
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
    if (!scratch_.empty()) std::filesystem::remove_all(PathFromUtf8(scratch_), ec);
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
    const fs::path folder = PathFromUtf8(scratch_) / std::to_string(++copies_);
    fs::create_directories(folder);
    const fs::path copy = folder / PathFromUtf8(path).filename();
    // A missing database stays missing in the copy: opening it must fail alike.
    for (const char* side : {"", "-wal", "-journal"}) {
        const fs::path from = PathFromUtf8(path + side);
        if (fs::is_regular_file(from, ec))
            fs::copy_file(from, PathFromUtf8(copy.string() + side),
                          fs::copy_options::overwrite_existing);
    }
    return copy.string();
}

}  // namespace velloran
