#include "common/platform/FileText.hpp"

#include <algorithm>

namespace velloran {

FileText::FileText(std::string whole) : state_(std::make_shared<State>()) {
    state_->size = whole.size();
    state_->whole = std::move(whole);
}

FileText::FileText(std::unique_ptr<TextSource> source, size_t size)
    : state_(std::make_shared<State>()) {
    state_->size = size;
    // Not filled: the pages are taken from the system only as blocks are read.
    state_->lazy.reset(new char[std::max<size_t>(size, 1)]);
    state_->source = std::move(source);
    state_->missing = (size + kBlock - 1) / kBlock;
    state_->filled.assign(state_->missing, false);
}

std::string_view FileText::View() const {
    if (!state_) return {};
    if (state_->lazy) return {state_->lazy.get(), state_->size};
    return state_->whole;
}

void FileText::Need(size_t at, size_t n) const {
    if (!state_ || !state_->source || n == 0) return;
    State& s = *state_;
    const size_t end = std::min(at + n, s.size);
    for (size_t b = at / kBlock; b * kBlock < end;) {
        if (s.filled[b]) {
            ++b;
            continue;
        }
        // Neighbouring blocks still missing are read at once.
        size_t last = b + 1;
        while (last * kBlock < end && !s.filled[last]) ++last;
        const size_t from = b * kBlock;
        const size_t to = std::min(last * kBlock, s.size);
        try {
            s.source->Read(from, to - from, s.lazy.get() + from);
        } catch (...) {
            s.stale = true;
            throw;
        }
        std::fill(s.filled.begin() + static_cast<std::ptrdiff_t>(b),
                  s.filled.begin() + static_cast<std::ptrdiff_t>(last), true);
        s.missing -= last - b;
        b = last;
    }
    // Whole now: the file is not needed any more.
    if (s.missing == 0) s.source.reset();
}

void FileText::CopyTo(size_t at, size_t n, std::string& out) const {
    const State* s = state_.get();
    bool filled = !s || !s->source;
    if (!filled) {
        filled = true;
        for (size_t b = at / kBlock; b * kBlock < at + n && filled; ++b) filled = s->filled[b];
    }
    if (filled) {
        out.assign(View().substr(at, n));
        return;
    }
    out.resize(n);
    try {
        s->source->Read(at, n, out.data());
    } catch (...) {
        state_->stale = true;
        throw;
    }
}

}  // namespace velloran
