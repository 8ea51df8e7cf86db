#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace velloran {

// Where the bytes a registry file's lines turn on lie in a text: one bit a byte,
// found 64 bytes at a time. Lines are walked from these marks instead of being
// searched byte by byte, which a large file's load otherwise spends most of its
// time on.
class ByteMarks {
public:
    enum Kind { kNewline, kQuote, kBackslash, kNotPlain, kNotPrintable, kKinds };

    // Marks `text`, which must outlive the queries; the memory is reused.
    void Mark(std::string_view text);

    // The first byte of `kind` at or after `from`; the text's size when none.
    size_t Next(Kind kind, size_t from) const {
        size_t block = from >> 6;
        if (block >= blocks_) return size_;
        std::uint64_t bits = words_[block * kKinds + kind] & (~std::uint64_t{0} << (from & 63));
        while (!bits) {
            if (++block == blocks_) return size_;
            bits = words_[block * kKinds + kind];
        }
        return block * 64 + static_cast<size_t>(std::countr_zero(bits));
    }
    // Whether a byte of `kind` lies in [from, to).
    bool Any(Kind kind, size_t from, size_t to) const { return from < to && Next(kind, from) < to; }

private:
    // kNotPlain: a backslash, or a byte outside ASCII; kNotPrintable: a byte
    // outside printable ASCII.
    std::vector<std::uint64_t> words_;
    size_t blocks_ = 0;
    size_t size_ = 0;
};

}  // namespace velloran
