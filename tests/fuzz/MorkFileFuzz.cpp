// Fuzz target for the Mork reader and writer: whatever the reader accepts, the
// writer's text must read back to the same store and be written again unchanged.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "cleaning/browsers/MorkFile.hpp"

namespace {

std::string Dump(const velloran::MorkStore& store) {
    std::string out;
    auto cells = [&](const std::vector<velloran::MorkCell>* row) {
        if (!row) return;
        for (const auto& c : *row)
            out += "(" + c.column + (c.value.isName ? "^" : "=") + c.value.text + ")";
    };
    for (const auto& t : store.Tables()) {
        out += "{" + t.id.scope + std::to_string(t.id.id);
        cells(&t.meta);
        if (t.metaRow) cells(store.Row(*t.metaRow));
        for (const auto& r : t.rows) {
            out += "[" + r.scope + std::to_string(r.id);
            cells(store.Row(r));
        }
    }
    return out;
}

[[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "round trip failed: %s\n", what);
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    std::string written;
    std::string dump;
    try {
        const velloran::MorkStore store = velloran::MorkStore::Parse(input);
        written = store.Write();
        dump = Dump(store);
    } catch (const velloran::MorkError&) {
        return 0;
    }
    try {
        const velloran::MorkStore again = velloran::MorkStore::Parse(written);
        if (Dump(again) != dump) Fail("the written text reads back differently");
        if (again.Write() != written) Fail("writing again changes the text");
    } catch (const velloran::MorkError&) {
        Fail("the written text is refused");
    }
    return 0;
}
