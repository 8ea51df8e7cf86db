#pragma once
// The text of a file as it was read. Either it is all in memory, or it is filled
// from the still-open file a block at a time, the first time a part of it is
// needed: a large registry file is read through once, and afterwards only the few
// keys a clean looks at are wanted, so most of it never needs memory of its own.
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace velloran {

// The open file a text is filled from. Reads fail with a VbError, also when the
// file is no longer the one that was opened (another program wrote it).
class TextSource {
public:
    virtual ~TextSource() = default;
    // Exactly `n` bytes at `offset` into `to`.
    virtual void Read(size_t offset, size_t n, char* to) = 0;
};

class FileText {
public:
    FileText() = default;
    // All of `whole`, in memory.
    explicit FileText(std::string whole);
    // `size` bytes, filled from `source` as they are needed.
    FileText(std::unique_ptr<TextSource> source, size_t size);

    size_t size() const { return state_ ? state_->size : 0; }
    bool empty() const { return size() == 0; }
    // True while parts are still to be read from the file.
    bool Lazy() const { return state_ && state_->source; }
    // True once a read from the file failed (another program changed it, say):
    // what was not read yet cannot be read any more.
    bool Stale() const { return state_ && state_->stale; }

    // The whole text. Parts not yet needed hold no data: read them through
    // `Part`, or `Need` them first. Stays where it is while any copy of this
    // text lives, moved or not.
    std::string_view View() const;
    // Makes [at, at + n) hold the file's bytes; throws VbError.
    void Need(size_t at, size_t n) const;
    void NeedAll() const { Need(0, size()); }
    // [at, at + n) copied into `out`; read from the file without filling this
    // text where it is not filled yet. Throws VbError.
    void CopyTo(size_t at, size_t n, std::string& out) const;
    std::string_view Part(size_t at, size_t n) const {
        Need(at, n);
        return View().substr(at, n);
    }
    // The source, for reading windows of a text not yet filled; nullptr when
    // the text is all in memory.
    TextSource* Source() const { return state_ ? state_->source.get() : nullptr; }

private:
    struct State {
        std::string whole;
        std::unique_ptr<char[]> lazy;
        std::unique_ptr<TextSource> source;
        std::vector<bool> filled;  // blocks of kBlock bytes
        size_t missing = 0;        // blocks not filled yet
        bool stale = false;
        size_t size = 0;
    };
    static constexpr size_t kBlock = size_t{4} << 10;
    std::shared_ptr<State> state_;
};

}  // namespace velloran
