// Fuzz target for the Wine registry reader and writer: every accepted input must
// survive the round trips of RegRoundTrip.hpp. Built with clang's libFuzzer where
// it is installed; the suite runs it over the registry test data.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "common/registry/RegRoundTrip.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::string failure = velloran::regtest::CheckRoundTrip(input);
    if (!failure.empty()) {
        std::fprintf(stderr, "round trip failed: %s\n", failure.c_str());
        std::abort();
    }
    return 0;
}
