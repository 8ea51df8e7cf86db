#include "tools/junk/JunkSearch.hpp"

#include <algorithm>
#include <chrono>
#include <limits>

#include "common/VbError.hpp"
// The walker is the platform seam: each platform provides DirWalker/DirVisitor.
#include "common/Text.hpp"
#include "common/WaitPumping.hpp"
#include "common/platform/Paths.hpp"

namespace velloran {

namespace {

std::string Folded(std::string_view s) {
    std::string out(s);
    for (char& c : out) c = FoldCase(c);
    return out;
}

using Clock = std::chrono::steady_clock;
constexpr auto kProgressInterval = std::chrono::milliseconds(25);
constexpr auto kPumpInterval = std::chrono::milliseconds(10);
constexpr std::size_t kBatchLimit = 256;

}  // namespace

// --- Filters

bool JunkSearch::InPlace(const Filter& filter, const std::string& folder) {
    if (filter.never) return false;
    if (filter.places.empty()) return true;
    std::vector<std::string_view> parts;
    for (std::size_t pos = 0; pos < folder.size();) {
        std::size_t slash = folder.find_first_of(kPathSeparators, pos);
        if (slash == std::string::npos) slash = folder.size();
        if (slash > pos) parts.emplace_back(folder.data() + pos, slash - pos);
        pos = slash + 1;
    }
    for (const auto& chain : filter.places) {
        if (chain.size() > parts.size()) continue;
        for (std::size_t start = 0; start + chain.size() <= parts.size(); ++start) {
            bool ok = true;
            for (std::size_t k = 0; k < chain.size() && ok; ++k)
                ok = chain[k].Matches(parts[start + k]);
            if (ok) return true;
        }
    }
    return false;
}

void JunkSearch::PrepareFilters() {
    if (tags_.Count() > patterns_.Count()) throw VbError::InvalidCall();
    filters_.clear();
    for (int i = 1; i <= patterns_.Count(); ++i) {
        const std::string& item = patterns_.Item(i);
        Filter f;
        f.tag = i <= tags_.Count() ? tags_.Item(i) : std::string();
        if (!recordSeparator_.empty() &&
            item.compare(0, recordSeparator_.size(), recordSeparator_) == 0)
            f.never = true;
        for (const std::string& raw : SplitFields(item, fieldSeparator_)) {
            std::string m = Trimmed(raw);
            if (!m.empty()) f.masks.emplace_back(m);
        }
        for (const std::string& raw : SplitFields(f.tag, ",")) {
            std::string term = Trimmed(raw);
            if (term.empty()) continue;
            std::size_t colon = term.find(':');
            if (colon == std::string::npos) continue;  // a label
            std::string key = Folded(term.substr(0, colon));
            std::string value = term.substr(colon + 1);
            std::vector<Wildcard> chain;
            for (const std::string& part : SplitFields(value, "/"))
                if (!part.empty()) chain.emplace_back(part);
            if (key == "in" && !chain.empty())
                f.places.push_back(std::move(chain));
            else
                f.never = true;
        }
        if (f.masks.empty()) f.never = true;
        filters_.push_back(std::move(f));
    }
    prepared_ = true;
}

// --- The walk

class JunkSearch::Visitor final : public TreeVisitor {
public:
    Visitor(JunkSearch& owner, const Wildcard& mask) : owner_(owner), mask_(mask) {}

    void Start(unsigned threads) override { state_.resize(threads); }

    void BeginFolder(unsigned worker, const std::string& folder) override {
        State& s = state_[worker];
        s.placeChecked.assign(owner_.filters_.size(), 0);
        s.folderAnnounced = false;
        auto now = Clock::now();
        if (now - s.lastProgress >= kProgressInterval) {
            s.lastProgress = now;
            Announce(s, folder);
        }
    }

    int Select(unsigned worker, const std::string& folder, std::string_view name) override {
        if (!mask_.MatchesEverything() && !mask_.Matches(name)) return -1;
        State& s = state_[worker];
        const auto& filters = owner_.filters_;
        for (std::size_t i = 0; i < filters.size(); ++i) {
            const Filter& f = filters[i];
            if (f.never) continue;
            bool hit = false;
            for (const Wildcard& w : f.masks)
                if (w.Matches(name)) {
                    hit = true;
                    break;
                }
            if (!hit) continue;
            if (!f.places.empty()) {
                // Places are decided once per folder and filter, only when needed.
                char& c = s.placeChecked[i];
                if (c == 0) c = InPlace(f, folder) ? 1 : 2;
                if (c != 1) continue;
            }
            return static_cast<int>(i);
        }
        return -1;
    }

    void File(unsigned worker, const std::string& folder, std::string_view name, int selection,
              std::uint64_t size) override {
        State& s = state_[worker];
        if (!s.folderAnnounced) Announce(s, folder);
        Event e;
        e.junk = true;
        e.folder = folder;
        e.name = std::string(name);
        e.filter = selection;
        e.size = static_cast<std::int64_t>(std::min<std::uint64_t>(size, INT64_MAX));
        s.batch.push_back(std::move(e));
        if (s.batch.size() >= kBatchLimit) owner_.Push(s.batch);
    }

    void EndFolder(unsigned worker, const std::string&) override {
        State& s = state_[worker];
        if (!s.batch.empty()) owner_.Push(s.batch);
    }

    void Unreadable(unsigned, const std::string& folder, int) override {
        std::lock_guard lock(owner_.mutex_);
        owner_.unreadable_.push_back(folder);
    }

    void Finished() override {
        std::lock_guard lock(owner_.mutex_);
        owner_.walkDone_ = true;
        owner_.cv_.notify_all();
    }

private:
    struct State {
        std::vector<char> placeChecked;  // 0 unknown, 1 inside, 2 outside
        std::vector<Event> batch;
        Clock::time_point lastProgress{};
        bool folderAnnounced = false;
    };
    void Announce(State& s, const std::string& folder) {
        Event e;
        e.folder = folder;
        s.batch.push_back(std::move(e));
        s.folderAnnounced = true;
    }

    JunkSearch& owner_;
    const Wildcard& mask_;
    std::vector<State> state_;
};

JunkSearch::JunkSearch(Platform& platform) : platform_(platform) {}
JunkSearch::~JunkSearch() = default;

void JunkSearch::SetCancel(bool cancel) {
    cancel_.store(cancel);
    std::lock_guard lock(mutex_);
    cv_.notify_all();
}

void JunkSearch::Push(std::vector<Event>& batch) {
    std::lock_guard lock(mutex_);
    bool wasEmpty = queue_.empty();
    if (wasEmpty)
        queue_.swap(batch);
    else
        std::move(batch.begin(), batch.end(), std::back_inserter(queue_));
    batch.clear();
    if (wasEmpty) cv_.notify_all();
}

void JunkSearch::Deliver(std::vector<Event>& events, std::vector<std::string>& found,
                         std::int32_t& count, Clock::time_point& lastPump) {
    for (std::size_t i = 0; i < events.size() && !cancel_.load(); ++i) {
        Event& e = events[i];
        if (!e.junk) {
            // A folder report that the next one overtakes is stale: skip it.
            if (i + 1 < events.size() && !events[i + 1].junk) continue;
            FoundFile(e.folder, 16);
        } else if (platform_.IsPackageFile(e.folder + e.name)) {
            ++packageFilesSkipped_;
        } else {
            total_ += static_cast<double>(e.size);
            ++count;
            found.push_back(e.folder + e.name);
            const auto size32 = static_cast<std::int32_t>(
                std::min<std::int64_t>(e.size, std::numeric_limits<std::int32_t>::max()));
            FoundJunkFile(e.folder, e.name, filters_[static_cast<std::size_t>(e.filter)].tag,
                          size32, total_);
        }
        if (pump_ && Clock::now() - lastPump >= kPumpInterval) {
            pump_();
            lastPump = Clock::now();
        }
    }
    events.clear();
}

bool JunkSearch::Search(const std::string& folder, const std::string& mask) {
    std::string f = folder, m = mask;
    std::vector<std::string> found, unreadable;
    std::int32_t count = 0;
    return Search(f, m, found, unreadable, count);
}

bool JunkSearch::Search(std::string& folder, std::string& mask, std::vector<std::string>& found,
                        std::vector<std::string>& unreadable, std::int32_t& count) {
    if (running_) throw VbError::InvalidCall();
    // A Stop handler run by the pump may drop the caller's hold on this object.
    auto keepAlive = weak_from_this().lock();
    count = 0;
    if (cancel_.load()) return false;
    if (!prepared_) PrepareFilters();

    running_ = true;
    struct Reset {
        bool& flag;
        ~Reset() { flag = false; }
    } reset{running_};

    const Wildcard maskWild(mask.empty() ? std::string("*.*") : mask);
    Visitor visitor(*this, maskWild);
    {
        std::lock_guard lock(mutex_);
        queue_.clear();
        unreadable_.clear();
        walkDone_ = false;
    }
    const std::unique_ptr<TreeWalk> walk = platform_.WalkTree(folder, visitor, threads_);

    std::vector<Event> events;
    auto lastPump = Clock::now();
    bool done = false;
    const auto pump = [&] {
        if (!pump_) return;
        pump_();
        lastPump = Clock::now();
    };
    WaitPumping(
        mutex_, cv_, kPumpInterval, [&] { return !queue_.empty() || walkDone_ || cancel_.load(); },
        [&] {
            events.swap(queue_);
            done = walkDone_;
        },
        [&] {
            Deliver(events, found, count, lastPump);
            if (cancel_.load()) {
                walk->Cancel();  // the threads leave within one directory buffer
                return false;
            }
            return !done;
        },
        [&] {
            if (!cancel_.load()) pump();
        });
    walk->Join();
    {
        std::lock_guard lock(mutex_);
        unreadable.insert(unreadable.end(), unreadable_.begin(), unreadable_.end());
        queue_.clear();
    }
    return !cancel_.load();
}

}  // namespace velloran
