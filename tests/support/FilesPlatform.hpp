#pragma once
// The fake platform over real files in a temporary home: the browser cleaners read
// and remove what is really there, while processes, hosts and file locks are the
// test's to say.
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <sstream>
#include <string>

#include "support/FakePlatform.hpp"

namespace velloran::test {

class FilesPlatform : public FakePlatform {
public:
    std::string host = "testhost";
    std::set<long> alive;          // processes alive on `host`
    std::set<std::string> locked;  // files another process holds a lock on
    bool recordsOnly = false;      // a preview: files stay, databases are edited as copies
    std::filesystem::path scratch;

    bool FileExists(const std::string& p) override { return std::filesystem::is_regular_file(p); }
    void ForEachFile(
        const std::string& folder, bool recursive,
        const std::function<bool(const std::string&, const std::string&)>& found) override {
        namespace fs = std::filesystem;
        std::error_code ec;
        for (fs::recursive_directory_iterator it(folder, ec), end; !ec && it != end;
             it.increment(ec)) {
            if (!recursive) it.disable_recursion_pending();
            if (it->is_symlink(ec) || !it->is_regular_file(ec)) continue;
            if (!found(it->path().parent_path().string(), it->path().filename().string())) return;
        }
    }
    std::optional<std::uint64_t> FileSize(const std::string& p) override {
        std::error_code ec;
        const auto n = std::filesystem::file_size(p, ec);
        return ec ? std::nullopt : std::optional<std::uint64_t>(n);
    }
    bool DirectoryExists(const std::string& p) override { return std::filesystem::is_directory(p); }
    std::optional<std::string> ReadTextFile(const std::string& p) override {
        std::ifstream in(p);
        if (!in) return std::nullopt;
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    bool RemoveFile(const std::string& p) override {
        calls.push_back("RemoveFile:" + p);
        return recordsOnly || std::filesystem::remove(p);
    }
    void DeletePath(const std::string& p) override {
        calls.push_back("DeletePath:" + p);
        if (!recordsOnly) std::filesystem::remove_all(p);
    }
    std::optional<std::string> ReadLink(const std::string& p) override {
        std::error_code ec;
        std::filesystem::path t = std::filesystem::read_symlink(p, ec);
        if (ec) return std::nullopt;
        return t.string();
    }
    bool ProcessAliveOnThisHost(const std::string& h, long pid) override {
        return h == host && (pid == 1 || alive.count(pid) != 0);
    }
    bool FileLockHeld(const std::string& p) override { return locked.count(p) != 0; }
    std::string DatabaseToEdit(const std::string& path) override {
        if (!recordsOnly) return path;
        const std::filesystem::path copy = scratch / std::to_string(copies++);
        std::filesystem::copy_file(path, copy);
        return copy.string();
    }
    int copies = 0;
};

}  // namespace velloran::test
