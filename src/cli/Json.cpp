#include "cli/Json.hpp"

#include <cstdio>

#include "common/Outcome.hpp"

namespace velloran {

std::string JsonString(std::string_view text) {
    std::string out = "\"";
    for (char c : text) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\r') {
            out += "\\r";
        } else if (c == '\t') {
            out += "\\t";
        } else if (u < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", u);
            out += buf;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

namespace {

std::string Body(const Outcome& o) {
    std::string s = "\"removed\":{\"items\":" + std::to_string(o.removedItems) +
                    ",\"bytes\":" + std::to_string(o.removedBytes) + "},\"skipped\":[";
    for (std::size_t i = 0; i < o.skipped.size(); ++i)
        s += std::string(i ? "," : "") + "{\"what\":" + JsonString(o.skipped[i].what) +
             ",\"reason\":" + JsonString(SkipReasonName(o.skipped[i].reason)) + "}";
    s += "],\"failed\":[";
    for (std::size_t i = 0; i < o.failed.size(); ++i)
        s += std::string(i ? "," : "") + "{\"what\":" + JsonString(o.failed[i].what) +
             ",\"reason\":" + JsonString(o.failed[i].reason) + "}";
    s += "],\"pending\":[";
    for (std::size_t i = 0; i < o.pending.size(); ++i)
        s += std::string(i ? "," : "") + JsonString(o.pending[i]);
    return s + "]";
}

}  // namespace

std::string OutcomeJson(const RunOutcome& outcome) {
    std::string s = "{" + Body(outcome.total) + ",\"tasks\":[";
    for (std::size_t i = 0; i < outcome.tasks.size(); ++i)
        s += std::string(i ? "," : "") + "{\"task\":" + JsonString(outcome.tasks[i].task) + "," +
             Body(outcome.tasks[i].outcome) + "}";
    return s + "]}";
}

}  // namespace velloran
