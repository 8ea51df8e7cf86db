#include "common/registry/ByteMarks.hpp"

#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace velloran {

namespace {

struct BlockMarks {
    std::uint64_t newline = 0, quote = 0, backslash = 0, high = 0, unprintable = 0;
};

#if defined(__SSE2__)
// 16 bytes at a time: every x86-64 processor has these instructions.
inline BlockMarks MarkBlock(const char* p) {
    BlockMarks m;
    const __m128i nl = _mm_set1_epi8('\n');
    const __m128i quote = _mm_set1_epi8('"');
    const __m128i backslash = _mm_set1_epi8('\\');
    const __m128i space = _mm_set1_epi8(' ');
    const __m128i del = _mm_set1_epi8(0x7f);
    for (int i = 0; i < 4; ++i) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * i));
        const auto bits = [](__m128i eq) {
            return static_cast<std::uint64_t>(static_cast<std::uint32_t>(_mm_movemask_epi8(eq)));
        };
        m.newline |= bits(_mm_cmpeq_epi8(v, nl)) << (16 * i);
        m.quote |= bits(_mm_cmpeq_epi8(v, quote)) << (16 * i);
        m.backslash |= bits(_mm_cmpeq_epi8(v, backslash)) << (16 * i);
        m.high |= bits(v) << (16 * i);
        // Signed bytes: below the blank are the control bytes and those from 0x80.
        m.unprintable |= bits(_mm_or_si128(_mm_cmplt_epi8(v, space), _mm_cmpeq_epi8(v, del)))
                         << (16 * i);
    }
    return m;
}
#else
inline BlockMarks MarkBlock(const char* p) {
    BlockMarks m;
    for (int i = 0; i < 64; ++i) {
        const auto c = static_cast<unsigned char>(p[i]);
        const std::uint64_t bit = std::uint64_t{1} << i;
        if (c == '\n') m.newline |= bit;
        if (c == '"') m.quote |= bit;
        if (c == '\\') m.backslash |= bit;
        if (c >= 0x80) m.high |= bit;
        if (c < 0x20 || c >= 0x7f) m.unprintable |= bit;
    }
    return m;
}
#endif

}  // namespace

void ByteMarks::Mark(std::string_view text) {
    size_ = text.size();
    blocks_ = (size_ + 63) / 64;
    words_.resize(blocks_ * kKinds);
    std::uint64_t* out = words_.data();
    const auto store = [&out](const BlockMarks& m) {
        out[kNewline] = m.newline;
        out[kQuote] = m.quote;
        out[kBackslash] = m.backslash;
        out[kNotPlain] = m.backslash | m.high;
        out[kNotPrintable] = m.unprintable;
        out += kKinds;
    };
    const size_t whole = size_ / 64;
    for (size_t b = 0; b < whole; ++b) store(MarkBlock(text.data() + b * 64));
    if (size_ % 64) {
        // The last bytes, padded with bytes of no kind.
        char last[64] = {};
        std::memcpy(last, text.data() + whole * 64, size_ % 64);
        store(MarkBlock(last));
        // The padding is no byte of the text.
        const std::uint64_t kept = (std::uint64_t{1} << (size_ % 64)) - 1;
        for (int k = 0; k < kKinds; ++k) out[k - kKinds] &= kept;
    }
}

}  // namespace velloran
