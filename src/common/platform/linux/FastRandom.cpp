#include "common/platform/linux/FastRandom.hpp"

#include <sys/random.h>

#include <chrono>
#include <cstring>

namespace velloran {

namespace {
using V = std::uint64_t __attribute__((vector_size(64)));

std::uint64_t SplitMix(std::uint64_t& x) {
    std::uint64_t z = (x += 0x9e3779b97f4a7c15ULL);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
    return z ^ (z >> 31);
}
}  // namespace

FastRandom::FastRandom() {
    std::uint64_t seed[4] = {};
    if (getrandom(seed, sizeof seed, 0) != static_cast<ssize_t>(sizeof seed))
        seed[0] =
            static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    // Expand the seed so that no lane starts at the all-zero state.
    std::uint64_t x = seed[0] ^ seed[1] ^ seed[2] ^ seed[3];
    for (int w = 0; w < 4; ++w)
        for (int l = 0; l < kLanes; ++l) st_.s[w][l] = SplitMix(x) ^ seed[w];
}

void FastRandom::Fill(void* out, std::size_t len) {
    V s0, s1, s2, s3;
    std::memcpy(&s0, st_.s[0], sizeof s0);
    std::memcpy(&s1, st_.s[1], sizeof s1);
    std::memcpy(&s2, st_.s[2], sizeof s2);
    std::memcpy(&s3, st_.s[3], sizeof s3);
    auto* p = static_cast<unsigned char*>(out);
    while (len > 0) {
        V r = s0 + s3;
        V t = s1 << 17;
        s2 ^= s0;
        s3 ^= s1;
        s1 ^= s2;
        s0 ^= s3;
        s2 ^= t;
        s3 = (s3 << 45) | (s3 >> 19);
        std::size_t n = len < sizeof r ? len : sizeof r;
        std::memcpy(p, &r, n);
        p += n;
        len -= n;
    }
    std::memcpy(st_.s[0], &s0, sizeof s0);
    std::memcpy(st_.s[1], &s1, sizeof s1);
    std::memcpy(st_.s[2], &s2, sizeof s2);
    std::memcpy(st_.s[3], &s3, sizeof s3);
}

}  // namespace velloran
