#pragma once
// Bulk pseudo-random bytes for overwrite passes: eight xoshiro256+ generators run
// side by side in vector registers, seeded from the kernel once per pass. Several
// GB/s on one core, so a random pass runs at disk speed. Overwriting needs bytes
// no one can predict from the disk, not a cryptographic stream.
#include <cstddef>
#include <cstdint>

namespace velloran {

class FastRandom {
public:
    static constexpr int kLanes = 8;
    struct State {
        std::uint64_t s[4][kLanes];
    };
    FastRandom();  // seeded from getrandom()
    explicit FastRandom(const State& state) : st_(state) {}
    const State& GetState() const { return st_; }
    // Fills `len` bytes; `len` a multiple of 64 keeps the stream identical
    // however it is cut into calls.
    void Fill(void* out, std::size_t len);

private:
    State st_;
};

}  // namespace velloran
