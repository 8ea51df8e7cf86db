// WindowsPlatform's whole-tree walk for searches: folders are listed with
// FindFirstFileExW on several threads. A reparse point (junction, symbolic link,
// mounted volume) is never entered, so the walk stays on the root's volume and
// inside what the user chose.

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "common/VbError.hpp"
#include "common/platform/windows/Win32.hpp"
#include "common/platform/windows/WindowsPlatform.hpp"

namespace velloran {

namespace {

class FindWalk final : public TreeWalk {
public:
    FindWalk(TreeVisitor& visitor, unsigned threads) : visitor_(visitor), threads_(threads) {
        if (threads_ == 0) threads_ = std::max(1u, std::thread::hardware_concurrency());
    }
    ~FindWalk() override {
        Cancel();
        Join();
    }

    void Start(const std::string& root) {
        std::string folder = root.empty() ? std::string(".\\") : root;
        if (folder.back() != '\\' && folder.back() != '/') folder += '\\';
        const DWORD a = win::Attributes(folder);
        if (a == INVALID_FILE_ATTRIBUTES) {
            const DWORD error = GetLastError();
            throw error == ERROR_ACCESS_DENIED ? VbError::PermissionDenied(root)
                                               : VbError::PathNotFound(root);
        }
        if (!(a & FILE_ATTRIBUTE_DIRECTORY)) throw VbError::PathFileAccess(root + " is no folder");
        stack_.push_back(folder);
        visitor_.Start(threads_);
        running_ = threads_;
        for (unsigned i = 0; i < threads_; ++i) workers_.emplace_back(&FindWalk::Worker, this, i);
    }

    void Cancel() override {
        std::lock_guard lock(mutex_);
        cancel_ = true;
        cv_.notify_all();
    }

    void Join() override {
        for (auto& t : workers_)
            if (t.joinable()) t.join();
        workers_.clear();
    }

private:
    bool Cancelled() const { return cancel_.load(std::memory_order_relaxed); }

    void Worker(unsigned index) {
        for (;;) {
            std::string folder;
            {
                std::unique_lock lock(mutex_);
                cv_.wait(lock, [&] { return !stack_.empty() || active_ == 0 || cancel_; });
                if (cancel_ || stack_.empty()) break;
                folder = std::move(stack_.back());
                stack_.pop_back();
                ++active_;
            }
            Process(index, folder);
            std::lock_guard lock(mutex_);
            --active_;
            if (active_ == 0 && stack_.empty()) cv_.notify_all();
        }
        bool last = false;
        {
            std::lock_guard lock(mutex_);
            cv_.notify_all();
            last = --running_ == 0;
            if (last) stack_.clear();
        }
        if (last) visitor_.Finished();
    }

    void Process(unsigned worker, const std::string& folder) {
        WIN32_FIND_DATAW data{};
        win::FindHandle find(FindFirstFileExW(win::FolderPattern(folder).c_str(), FindExInfoBasic,
                                              &data, FindExSearchNameMatch, nullptr,
                                              FIND_FIRST_EX_LARGE_FETCH));
        if (!find) {
            // Vanished since it was listed: nothing to say.
            const DWORD error = GetLastError();
            if (error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND)
                visitor_.Unreadable(worker, folder, win::ErrnoOf(error));
            return;
        }
        visitor_.BeginFolder(worker, folder);
        std::vector<std::string> children;
        do {
            const wchar_t* n = data.cFileName;
            if (n[0] == L'.' && (n[1] == 0 || (n[1] == L'.' && n[2] == 0))) continue;
            const DWORD a = data.dwFileAttributes;
            if (win::IsReparse(a) || (a & FILE_ATTRIBUTE_DEVICE)) continue;
            const std::string name = win::Narrow(n);
            if (a & FILE_ATTRIBUTE_DIRECTORY) {
                children.push_back(folder + name + '\\');
                continue;
            }
            const int selection = visitor_.Select(worker, folder, name);
            if (selection < 0) continue;
            visitor_.File(
                worker, folder, name, selection,
                (static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow);
        } while (!Cancelled() && FindNextFileW(find.get(), &data));
        if (!children.empty()) {
            std::lock_guard lock(mutex_);
            for (auto it = children.rbegin(); it != children.rend(); ++it)
                stack_.push_back(std::move(*it));
            cv_.notify_all();
        }
        visitor_.EndFolder(worker, folder);
    }

    TreeVisitor& visitor_;
    unsigned threads_;
    std::mutex mutex_;
    std::condition_variable cv_;
    std::vector<std::string> stack_;
    unsigned active_ = 0;
    unsigned running_ = 0;
    std::atomic<bool> cancel_{false};
    std::vector<std::thread> workers_;
};

}  // namespace

std::unique_ptr<TreeWalk> WindowsPlatform::WalkTree(const std::string& root, TreeVisitor& visitor,
                                                    unsigned threads) {
    auto walk = std::make_unique<FindWalk>(visitor, threads);
    walk->Start(root);
    return walk;
}

}  // namespace velloran
