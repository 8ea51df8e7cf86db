#pragma once
// The junk search engine behind the junk file finder. The caller fills Patterns and
// Tags, calls PrepareFilters once and then Search for each drive. The walk runs on
// worker threads; FoundFile and FoundJunkFile are raised on the calling thread,
// in order, while Search runs, and the pump (the front end's DoEvents) is called
// while it waits, so a Stop click can set Cancel re-entrantly.
//
// How filters work:
// - A Patterns item holds one or more file-name wildcards (Windows rules, see
//   Wildcard) separated by FieldSeparator. An item that starts with
//   RecordSeparator is a directive, not a filter, and matches nothing.
// - The tag at the same position restricts where the filter applies. It is a
//   comma-separated list of terms:
//     in:NAME[/NAME...]  only inside a folder whose name matches NAME (a wildcard),
//                        or a chain of directly nested folders; several in: terms
//                        mean any of them
//     a word without ':' a label for the user; it does not restrict anything
//     any other key:...  not understood: the filter matches nothing, so that a
//                        misspelt restriction never widens a broad pattern
//   An empty tag means anywhere.
// - A file is reported once, with the tag of the first filter that matches it, and
//   only when it also matches Search's mask. Only regular files are reported.
// - A file the system's package manager installed is never junk, whatever its name
//   (libsoftokn3.chk, /etc/xml/catalog.old): it is passed over and counted.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "common/controls/Signal.hpp"
#include "common/platform/Platform.hpp"
#include "tools/junk/StringCollection.hpp"
#include "tools/junk/Wildcard.hpp"

namespace velloran {

class JunkSearch : public std::enable_shared_from_this<JunkSearch> {
public:
    explicit JunkSearch(Platform& platform);
    ~JunkSearch();
    JunkSearch(const JunkSearch&) = delete;
    JunkSearch& operator=(const JunkSearch&) = delete;

    void SetRecordSeparator(std::string s) { recordSeparator_ = std::move(s); }
    void SetFieldSeparator(std::string s) { fieldSeparator_ = std::move(s); }
    StringCollection& Patterns() { return patterns_; }
    StringCollection& Tags() { return tags_; }
    // True asks a running Search to stop; Search then returns within milliseconds
    // and raises no further events. A new Search only runs while it is false.
    void SetCancel(bool cancel);
    bool Cancel() const { return cancel_.load(); }

    // Compiles Patterns and Tags. Raises error 5 when Tags holds more items than
    // Patterns.
    void PrepareFilters();

    // Walks `folder` (the root itself included) for regular files that match a
    // filter and `mask` ("*.*": every name). By-reference results: `found` gets the
    // full path of each junk file reported by this call, `unreadable` the folders
    // that could not be read, `count` the number of junk files reported. Returns
    // false when the search was cancelled. Errors: 76 when the folder does not
    // exist, 70 when it cannot be opened, 75 for a pseudo file system, 5 for a
    // nested call.
    bool Search(std::string& folder, std::string& mask, std::vector<std::string>& found,
                std::vector<std::string>& unreadable, std::int32_t& count);
    bool Search(const std::string& folder, const std::string& mask = "*.*");

    // The engine is at this folder now (path with its trailing separator; the
    // second value is the file attributes, 16 for a folder). A report overtaken by
    // the next one before the caller got to it is dropped.
    Signal<const std::string&, std::int32_t> FoundFile;
    // folder (with trailing separator), name, tag, size in bytes (capped at the
    // 32-bit maximum), and the running total of every junk size reported by this
    // object, in bytes.
    Signal<const std::string&, const std::string&, const std::string&, std::int32_t, double>
        FoundJunkFile;

    // Called on the calling thread while Search waits for the walk.
    void SetPump(std::function<void()> pump) { pump_ = std::move(pump); }
    // Walker threads; 0 (the default) means one per hardware thread.
    void SetThreads(unsigned threads) { threads_ = threads; }
    double Total() const { return total_; }
    // Files that matched a filter but that the package manager installed, over every
    // Search of this object.
    std::int32_t PackageFilesSkipped() const { return packageFilesSkipped_; }

    // What the filters compile to; public for the walker's visitor.
    struct Filter {
        std::vector<Wildcard> masks;
        std::vector<std::vector<Wildcard>> places;  // empty: anywhere
        bool never = false;                         // restriction not understood
        std::string tag;
    };
    struct Event {
        bool junk = false;
        std::string folder;
        std::string name;
        int filter = -1;
        std::int64_t size = 0;
    };
    // Whether `folder` (ending with '/') lies inside one of the filter's places.
    static bool InPlace(const Filter& filter, const std::string& folder);

private:
    class Visitor;
    friend class Visitor;
    void Push(std::vector<Event>& batch);
    // Raises the events the walk left, pumping now and then; empties `events`.
    void Deliver(std::vector<Event>& events, std::vector<std::string>& found, std::int32_t& count,
                 std::chrono::steady_clock::time_point& lastPump);

    std::string recordSeparator_ = "#&&";
    std::string fieldSeparator_ = ";";
    StringCollection patterns_;
    StringCollection tags_;
    std::vector<Filter> filters_;
    bool prepared_ = false;
    std::atomic<bool> cancel_{false};
    std::function<void()> pump_;
    Platform& platform_;
    unsigned threads_ = 0;
    double total_ = 0;
    std::int32_t packageFilesSkipped_ = 0;
    bool running_ = false;

    std::mutex mutex_;
    std::condition_variable cv_;
    std::vector<Event> queue_;
    std::vector<std::string> unreadable_;
    bool walkDone_ = false;
};

}  // namespace velloran
