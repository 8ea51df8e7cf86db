#include "common/registry/WineRegFile.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <optional>
#include <thread>
#include <unordered_map>
#include <utility>

#include "common/VbError.hpp"
#include "common/platform/FileIO.hpp"
#include "common/registry/ByteMarks.hpp"

namespace velloran {

namespace {

constexpr std::uint64_t kTicks1601To1970 = 116444736000000000ULL;
constexpr std::uint64_t kTicksPerSecond = 10000000ULL;
constexpr std::string_view kFirstLine = "WINE REGISTRY Version 2";

bool IsSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}
constexpr auto kHexDigits = [] {
    std::array<signed char, 256> t{};
    for (int c = 0; c < 256; ++c)
        t[static_cast<size_t>(c)] = static_cast<signed char>(c >= '0' && c <= '9'   ? c - '0'
                                                             : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                                             : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                                                    : -1);
    return t;
}();
int HexDigit(char c) { return kHexDigits[static_cast<unsigned char>(c)]; }
// `s` without its first `n` bytes, `n` at most its size. Cheaper than substr on
// the paths every line of a file takes.
std::string_view After(std::string_view s, size_t n) { return {s.data() + n, s.size() - n}; }
std::string_view SkipSpace(std::string_view s) {
    size_t i = 0;
    while (i < s.size() && IsSpace(s[i])) ++i;
    return After(s, i);
}
bool AllSpace(std::string_view s) { return SkipSpace(s).empty(); }

// Lines as wineserver reads them: "\n" ends a line and one "\r" before it is dropped.
class LineReader {
public:
    explicit LineReader(std::string_view text) : text_(text) {}
    bool Next(std::string_view& line, size_t& start) {
        if (pos_ >= text_.size()) return false;
        start = pos_;
        size_t nl = text_.find('\n', pos_);
        size_t end = nl == std::string_view::npos ? text_.size() : nl;
        pos_ = nl == std::string_view::npos ? text_.size() : nl + 1;
        ++line_;
        line = std::string_view(text_.data() + start, end - start);
        if (nl != std::string_view::npos && !line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        return true;
    }
    size_t Pos() const { return pos_; }
    int Line() const { return line_; }
    // Goes on from `pos`, the start of a line (numbered from there as from the start).
    void Seek(size_t pos) { pos_ = pos; }

private:
    std::string_view text_;
    size_t pos_ = 0;
    int line_ = 0;
};

class ParseError {
public:
    // `line` 0: the line being read when it is thrown.
    explicit ParseError(std::string why, int line = 0) : why_(std::move(why)), line_(line) {}
    const std::string& Why() const { return why_; }
    int Line() const { return line_; }

private:
    std::string why_;
    int line_;
};

// One UTF-8 sequence starting at src[i]; returns its length, or 0 when invalid.
size_t DecodeUtf8(std::string_view src, size_t i, char32_t& cp) {
    unsigned char c = static_cast<unsigned char>(src[i]);
    size_t len = c >= 0xF0 && c < 0xF5 ? 4 : c >= 0xE0 ? (c < 0xF0 ? 3 : 0) : c >= 0xC2 ? 2 : 0;
    if (!len || i + len > src.size()) return 0;
    cp = len == 4 ? (c & 0x07) : len == 3 ? (c & 0x0F) : (c & 0x1F);
    for (size_t k = 1; k < len; ++k) {
        unsigned char cc = static_cast<unsigned char>(src[i + k]);
        if ((cc & 0xC0) != 0x80) return 0;
        cp = (cp << 6) | (cc & 0x3F);
    }
    if ((len == 3 && (cp < 0x800 || (cp >= 0xD800 && cp < 0xE000))) ||
        (len == 4 && (cp < 0x10000 || cp > 0x10FFFF)))
        return 0;
    return len;
}

std::string FormatSeconds(std::uint64_t filetime) {
    unsigned secs = static_cast<unsigned>((filetime - kTicks1601To1970) / kTicksPerSecond);
    return std::to_string(secs);
}

std::string FormatFiletime(std::uint64_t filetime) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%x%08x", static_cast<unsigned>(filetime >> 32),
                  static_cast<unsigned>(filetime & 0xFFFFFFFFu));
    return buf;
}

// ---- reading ----

struct TypeTag {
    std::string_view tag;
    std::uint32_t type;
    enum Parse { String, Dword, Hex } parse;
};
constexpr TypeTag kTags[] = {
    {"\"", kRegSz, TypeTag::String},
    {"str:\"", kRegSz, TypeTag::String},
    {"str(2):\"", kRegExpandSz, TypeTag::String},
    {"str(7):\"", kRegMultiSz, TypeTag::String},
    {"hex:", kRegBinary, TypeTag::Hex},
    {"dword:", kRegDword, TypeTag::Dword},
};

std::uint32_t ParseDword(std::string_view s) {
    // strtoul(..., 16) as wineserver calls it, but with nothing after the number.
    s = SkipSpace(s);
    bool negative = false;
    if (!s.empty() && (s[0] == '+' || s[0] == '-')) {
        negative = s[0] == '-';
        s.remove_prefix(1);
    }
    if (s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X') && HexDigit(s[2]) >= 0)
        s.remove_prefix(2);
    std::uint64_t v = 0;
    size_t i = 0;
    bool overflow = false;
    for (; i < s.size() && HexDigit(s[i]) >= 0; ++i) {
        if (v > (~0ULL >> 4)) overflow = true;
        v = (v << 4) | static_cast<unsigned>(HexDigit(s[i]));
    }
    if (i == 0) throw ParseError("malformed DWORD value");
    if (!AllSpace(After(s, i))) throw ParseError("unexpected text after the DWORD value");
    if (overflow) v = ~0ULL;
    if (negative) v = ~v + 1;
    return static_cast<std::uint32_t>(v);
}

// Appends the bytes of one line of hex data; returns the rest of the line (empty, or
// starting with the continuation backslash).
// `out` null: the line is only checked.
std::string_view ParseHexLine(std::string_view s, RegBytes* out) {
    size_t i = 0;
    // Wine's own form, "xx," over and over, goes fast.
    while (i + 3 <= s.size() && s[i + 2] == ',' && HexDigit(s[i]) >= 0 && HexDigit(s[i + 1]) >= 0) {
        if (out)
            out->push_back(static_cast<std::uint8_t>(HexDigit(s[i]) * 16 + HexDigit(s[i + 1])));
        i += 3;
    }
    while (i < s.size() && HexDigit(s[i]) >= 0) {
        unsigned v = 0;
        size_t j = i;
        while (j < s.size() && HexDigit(s[j]) >= 0) {
            v = v * 16 + static_cast<unsigned>(HexDigit(s[j++]));
            if (v > 0xFF) throw ParseError("malformed hex data");
        }
        if (out) out->push_back(static_cast<std::uint8_t>(v));
        i = j;
        while (i < s.size() && IsSpace(s[i])) ++i;
        if (i < s.size() && s[i] == ',') ++i;
        while (i < s.size() && IsSpace(s[i])) ++i;
    }
    return SkipSpace(After(s, i));
}

void AppendUnits(RegBytes& out, std::u16string_view units) {
    const size_t at = out.size();
    out.resize(at + units.size() * 2);
    for (size_t i = 0; i < units.size(); ++i) {
        out[at + 2 * i] = static_cast<std::uint8_t>(units[i] & 0xFF);
        out[at + 2 * i + 1] = static_cast<std::uint8_t>(units[i] >> 8);
    }
}

std::u16string Folded(std::u16string_view name) {
    std::u16string out(name);
    for (char16_t& c : out) c = RegFoldCase(c);
    return out;
}

// Keys and values as a file lists them. Wine's own files are sorted, so a new name
// usually goes last and the sorted arrays are kept as they are; a parent that gets
// names out of order switches to a hash index and is sorted once at the end, so
// loading stays linear whatever the order.
class LoadIndex {
public:
    explicit LoadIndex(RegHive& hive) : hive_(hive) {}

    RegKeyNode* Subkey(RegKeyNode* parent, std::u16string_view name, std::uint64_t modified) {
        auto unsorted = keys_.find(parent);
        if (unsorted == keys_.end()) {
            size_t at = 0;
            RegKeyNode* found = parent->FindSubkey(name, &at);
            if (found) return found;
            if (at == parent->subkeys.size() || parent->subkeys.size() < kSmall)
                return Add(parent, at, name, modified);
            unsorted = keys_.emplace(parent, Names<RegKeyNode*>{}).first;
            for (auto& k : parent->subkeys) unsorted->second.emplace(Folded(k->name), k.get());
        }
        auto [it, added] = unsorted->second.emplace(Folded(name), nullptr);
        if (!added) return it->second;
        it->second = Add(parent, parent->subkeys.size(), name, modified);
        return it->second;
    }

    RegKeyNode::Value& Value(RegKeyNode* key, std::u16string_view name) {
        auto unsorted = values_.find(key);
        if (unsorted == values_.end()) {
            auto& vals = key->values;
            if (vals.empty() || RegCompareNames(vals.back().name, name) < 0 || vals.size() < kSmall)
                return key->SetValue(name);
            if (RegKeyNode::Value* found = key->FindValue(name)) return *found;
            unsorted = values_.emplace(key, Names<size_t>{}).first;
            for (size_t i = 0; i < vals.size(); ++i)
                unsorted->second.emplace(Folded(vals[i].name), i);
        }
        auto [it, added] = unsorted->second.emplace(Folded(name), key->values.size());
        if (added) key->values.push_back(RegKeyNode::Value{std::u16string(name), {}});
        return key->values[it->second];
    }

    // Puts every parent that went out of order back into Wine's order.
    void Finish() {
        for (auto& [parent, names] : keys_)
            std::sort(
                parent->subkeys.begin(), parent->subkeys.end(),
                [](const auto& a, const auto& b) { return RegCompareNames(a->name, b->name) < 0; });
        for (auto& [key, names] : values_)
            std::sort(key->values.begin(), key->values.end(), [](const auto& a, const auto& b) {
                return RegCompareNames(a.name, b.name) < 0;
            });
        keys_.clear();
        values_.clear();
    }

private:
    RegKeyNode* Add(RegKeyNode* parent, size_t at, std::u16string_view name,
                    std::uint64_t modified) {
        RegKeyPtr key = hive_.NewKey();
        key->name = name;
        key->parent = parent;
        key->modified = modified;
        RegKeyNode* added = key.get();
        parent->subkeys.insert(parent->subkeys.begin() + static_cast<std::ptrdiff_t>(at),
                               std::move(key));
        return added;
    }

    // Below this many names a sorted insert costs less than an index.
    static constexpr size_t kSmall = 64;
    RegHive& hive_;
    template <class T>
    using Names = std::unordered_map<std::u16string, T>;
    std::unordered_map<RegKeyNode*, Names<RegKeyNode*>> keys_;
    std::unordered_map<RegKeyNode*, Names<size_t>> values_;
};

// Where the escaped text that UnescapeWineString would read ends (just after
// `end`), without making the text: an escape takes the byte after the backslash,
// and no byte an escape goes on to take can be `end`.
// Searched for with memchr, as the bytes between are most of a large file.
size_t ScanWineString(std::string_view src, char end) {
    for (size_t p = 0; p < src.size();) {
        const auto* found =
            static_cast<const char*>(std::memchr(src.data() + p, end, src.size() - p));
        if (!found) break;
        const auto at = static_cast<size_t>(found - src.data());
        const auto* escape = static_cast<const char*>(std::memchr(src.data() + p, '\\', at - p));
        if (!escape) return at + 1;
        p = static_cast<size_t>(escape - src.data()) + 2;
    }
    return std::string_view::npos;
}

// Where a name of plain ASCII without escapes ends (just after its quote), or npos
// for any other name; such a name has as many UTF-16 units as bytes.
size_t PlainNameEnd(std::string_view src) {
    for (size_t p = 0; p < src.size(); ++p) {
        const unsigned char c = static_cast<unsigned char>(src[p]);
        if (c == '"') return p + 1;
        if (c == '\\' || c >= 0x80) break;
    }
    return std::string_view::npos;
}

// One value line (and the continuation lines of its hex data): its name and value.
// The texts are reused from line to line, since a file is mostly value lines.
class ValueLineParser {
public:
    std::u16string name;
    RegValue value;
    // False while a file is only checked: a string's data is not needed then.
    bool keepData = true;

    explicit ValueLineParser(bool keep = true) : keepData(keep) {}

    void Parse(std::string_view p, LineReader& rd) {
        name.clear();
        size_t len = 1;
        if (p[0] == '"') {
            size_t r = keepData ? std::string_view::npos : PlainNameEnd(After(p, 1));
            if (r != std::string_view::npos) {
                if (r - 1 > kMaxValueNameUnits) throw ParseError("value name too long");
            } else {
                size_t invalid = 0;
                r = UnescapeWineString(After(p, 1), '"', name, &invalid);
                if (r == std::string_view::npos) throw ParseError("malformed value name");
                if (invalid) throw ParseError("value name is not valid UTF-8");
                if (name.size() > kMaxValueNameUnits) throw ParseError("value name too long");
            }
            len = r + 1;
        }
        std::string_view rest = SkipSpace(After(p, len));
        if (rest.empty() || rest[0] != '=') throw ParseError("malformed value (no \"=\")");
        rest = SkipSpace(After(rest, 1));

        value.type = 0;
        value.data.clear();
        const TypeTag* tag = nullptr;
        for (const auto& t : kTags)
            if (rest.starts_with(t.tag)) {
                tag = &t;
                break;
            }
        TypeTag::Parse parse;
        if (tag) {
            value.type = tag->type;
            parse = tag->parse;
            rest.remove_prefix(tag->tag.size());
        } else if (rest.starts_with("hex(")) {
            size_t i = 4;
            std::uint64_t t = 0;
            while (i < rest.size() && HexDigit(rest[i]) >= 0)
                t = t * 16 + static_cast<unsigned>(HexDigit(rest[i++]));
            if (i == 4 || rest.substr(i, 2) != "):") throw ParseError("malformed value type");
            value.type = static_cast<std::uint32_t>(t);
            parse = TypeTag::Hex;
            rest.remove_prefix(i + 2);
        } else {
            throw ParseError("unknown value type");
        }

        switch (parse) {
            case TypeTag::String: {
                units_.clear();
                std::u16string& units = units_;
                const size_t r =
                    keepData ? UnescapeWineString(rest, '"', units) : ScanWineString(rest, '"');
                if (r == std::string_view::npos) throw ParseError("unterminated string");
                if (!AllSpace(After(rest, r))) throw ParseError("unexpected text after the string");
                units.push_back(u'\0');
                if (keepData) AppendUnits(value.data, units);
                break;
            }
            case TypeTag::Dword: {
                std::uint32_t dw = ParseDword(rest);
                for (int i = 0; i < 4; ++i)
                    value.data.push_back(static_cast<std::uint8_t>(dw >> (8 * i)));
                break;
            }
            case TypeTag::Hex: {
                for (;;) {
                    rest = ParseHexLine(rest, keepData ? &value.data : nullptr);
                    if (rest.empty()) break;
                    if (rest[0] != '\\' || !AllSpace(After(rest, 1)))
                        throw ParseError("malformed hex data");
                    size_t start = 0;
                    if (!rd.Next(rest, start))
                        throw ParseError("hex data continues past the end of the file");
                    rest = SkipSpace(rest);
                }
                break;
            }
        }
    }

private:
    std::u16string units_;
};

// Whether a value line goes on in the next one: hex data that ends with a backslash.
// For a valid line this is exactly when the value parser reads on.
bool ContinuesOnNextLine(std::string_view line) {
    while (!line.empty() && IsSpace(line.back())) line.remove_suffix(1);
    return !line.empty() && line.back() == '\\';
}

// Whether a part of the text may start at the key line after the newline at `nl`:
// the line before it carries no value on into it.
bool PartMayStartAfter(std::string_view text, size_t nl) {
    if (nl == 0) return true;
    const size_t before = text.rfind('\n', nl - 1);
    const size_t lineStart = before == std::string_view::npos ? 0 : before + 1;
    return !ContinuesOnNextLine(text.substr(lineStart, nl - lineStart));
}

// Where the first key line a part may start at lies, at or after `from`; npos
// when there is none.
size_t SectionStartIn(std::string_view text, size_t from) {
    for (size_t at = text.find("\n[", from); at != std::string_view::npos;
         at = text.find("\n[", at + 1))
        if (PartMayStartAfter(text, at)) return at + 1;
    return std::string_view::npos;
}

// Checks the value lines of a large file on the other core while the loading
// thread reads the keys.
class LaterValueCheck {
public:
    // The part starts at a key line at or after `from`: no value goes on from
    // before it.
    static size_t Start(std::string_view text) {
        return text.size() < kMinBytes ? std::string_view::npos : SectionStartIn(text, 0);
    }

    LaterValueCheck(std::string_view text, size_t from)
        : text_(text), from_(from), thread_([this] { Check(); }) {}
    ~LaterValueCheck() {
        limit_.store(0);
        if (thread_.joinable()) thread_.join();
    }

    // The first error on a line that starts before `limit`, numbered in the whole text.
    std::optional<ParseError> Result(size_t limit) {
        if (thread_.joinable()) {
            limit_.store(limit);
            thread_.join();
        }
        if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
        if (!error_ || errorAt_ >= limit) return std::nullopt;
        const int before = static_cast<int>(std::count(text_.begin(), text_.begin() + from_, '\n'));
        return ParseError(error_->Why(), before + error_->Line());
    }

private:
    // The loading thread reads every line for the keys, which costs more than this
    // check in files of few values a key and of many alike: the check takes all
    // value lines from the first section on.
    static constexpr size_t kMinBytes = 4 << 20;

    void Check() {
        LineReader rd(text_.substr(from_));
        ValueLineParser values(false);
        std::string_view line;
        size_t start = 0;
        try {
            while (rd.Next(line, start)) {
                if (from_ + start >= limit_.load(std::memory_order_relaxed)) return;
                std::string_view p = SkipSpace(line);
                if (p.empty() || (p[0] != '@' && p[0] != '"')) continue;
                try {
                    values.Parse(p, rd);
                } catch (const ParseError& e) {
                    error_.emplace(e.Why(), rd.Line());
                    errorAt_ = from_ + start;
                    return;
                }
            }
        } catch (...) {
            failure_ = std::current_exception();
        }
    }

    std::string_view text_;
    size_t from_;
    std::atomic<size_t> limit_{std::string_view::npos};
    std::optional<ParseError> error_;
    size_t errorAt_ = 0;
    std::exception_ptr failure_;
    std::thread thread_;
};

// The other thread checks this value; only its lines are passed over here.
void SkipContinuation(std::string_view line, LineReader& rd) {
    size_t start = 0;
    while (ContinuesOnNextLine(line) && rd.Next(line, start)) {
    }
}

// An option line before the first key: "#arch=".
void ParseGlobalOption(RegHive& hive, std::string_view p, int line) {
    if (p.substr(0, 6) != "#arch=") return;
    std::string_view a = p.substr(6);
    if (a != "win32" && a != "win64") throw ParseError("unknown architecture");
    hive.arch = std::string(a);
    hive.archLine = line;
}

// A key option line ("#time=", "#class=", "#link") of the key's section.
void ApplyKeyOption(RegKeyNode* key, std::string_view p) {
    if (p.substr(0, 6) == "#time=") {
        std::uint64_t t = 0;
        for (size_t i = 6; i < p.size() && HexDigit(p[i]) >= 0; ++i)
            t = (t << 4) | static_cast<unsigned>(HexDigit(p[i]));
        key->modified = t;
    } else if (p.substr(0, 7) == "#class=") {
        std::u16string cls;
        if (p.size() < 8 || p[7] != '"' ||
            UnescapeWineString(p.substr(8), '"', cls) == std::string_view::npos)
            throw ParseError("malformed key class");
        key->keyClass = std::move(cls);
    } else if (p.substr(0, 5) == "#link") {
        key->link = true;
    }
    // Other options are ignored, as wineserver does.
}

// The time after a key line's "]" (seconds since 1970) as a FILETIME; 0 when none.
std::uint64_t HeaderTime(std::string_view afterName) {
    const std::string_view rest = SkipSpace(afterName);
    if (rest.empty() || rest[0] < '0' || rest[0] > '9') return 0;
    std::uint64_t secs = 0;
    for (size_t i = 0; i < rest.size() && rest[i] >= '0' && rest[i] <= '9'; ++i)
        secs =
            std::min<std::uint64_t>(secs * 10 + static_cast<unsigned>(rest[i] - '0'), 0xFFFFFFFFu);
    return secs * kTicksPerSecond + kTicks1601To1970;
}

class Parser {
public:
    Parser(RegHive& hive, const std::string& fileName)
        : hive_(hive), file_(fileName), index_(hive) {}

    void Run() {
        const std::string_view text = hive_.text.View();
        LineReader rd(text);
        std::string_view line;
        size_t start = 0;
        const size_t later = LaterValueCheck::Start(text);
        std::optional<LaterValueCheck> laterCheck;
        if (later != std::string_view::npos) laterCheck.emplace(text, later);
        try {
            if (!rd.Next(line, start) || line != kFirstLine)
                throw ParseError("the first line is not \"WINE REGISTRY Version 2\"");
            RegKeyNode* key = nullptr;
            hive_.headerEnd = hive_.text.size();
            // A section takes a few hundred bytes: room for most files' sections at
            // once, rather than copies of the list while it grows.
            hive_.chunks.reserve(hive_.text.size() / 192 + 16);
            // Keys and their names take about as much memory as their text.
            hive_.ReservePool(hive_.text.size());
            while (rd.Next(line, start)) {
                std::string_view p = SkipSpace(line);
                char c = p.empty() ? '\0' : p[0];
                switch (c) {
                    case '[':
                        if (!hive_.chunks.empty())
                            hive_.chunks.back().end = start;
                        else
                            hive_.headerEnd = start;
                        KeepValueLines(key);
                        key = ParseKey(p);
                        hive_.chunks.push_back({start, rd.Pos(), hive_.text.size(), key});
                        break;
                    case '@':
                    case '"':
                        if (!key) throw ParseError("value outside of any key");
                        // Checked now, parsed when the key's values are first asked for.
                        if (start < later)
                            values_.Parse(p, rd);
                        else
                            SkipContinuation(line, rd);
                        if (valuesBegin_ == std::string::npos) valuesBegin_ = start;
                        valuesEnd_ = rd.Pos();
                        hive_.chunks.back().contentEnd = rd.Pos();
                        break;
                    case '#':
                        if (key) {
                            ApplyKeyOption(key, p);
                            hive_.chunks.back().contentEnd = rd.Pos();
                        } else {
                            ParseGlobalOption(hive_, p, rd.Line());
                        }
                        break;
                    case ';':
                    case '\0':
                        break;
                    default:
                        throw ParseError("unrecognized line");
                }
            }
            KeepValueLines(key);
            if (laterCheck)
                if (auto e = laterCheck->Result(std::string_view::npos)) throw *e;
            index_.Finish();
        } catch (const ParseError& found) {
            ParseError e = found.Line() ? found : ParseError(found.Why(), std::max(rd.Line(), 1));
            // A value error the other thread found further up comes first.
            if (laterCheck && !found.Line())
                if (auto earlier = laterCheck->Result(start)) e = *earlier;
            std::string msg = file_ + ", line " + std::to_string(e.Line()) + ": " + e.Why() +
                              ". This is not a valid Wine registry file; it is left as it is.";
            hive_.Clear();
            throw VbError::BadFileFormat(msg).From("Registry");
        }
    }

private:
    RegKeyNode* ParseKey(std::string_view p) {
        std::u16string& name = name_;
        name.clear();
        size_t invalid = 0;
        size_t r = UnescapeWineString(After(p, 1), ']', name, &invalid);
        if (r == std::string_view::npos) throw ParseError("malformed key name (no closing \"]\")");
        // Wine would drop the bytes and could merge this key with another.
        if (invalid) throw ParseError("key name is not valid UTF-8");
        const std::uint64_t modified = HeaderTime(After(p, 1 + r));
        if (!name.empty() && name[0] == u'\\') throw ParseError("malformed key name");
        RegKeyNode* key = hive_.root.get();
        size_t i = SharedWithPreviousKey();
        if (!path_.empty()) key = path_.back().second;
        for (; i < name.size(); ++i) {
            size_t j = name.find(u'\\', i);
            if (j == std::u16string::npos) j = name.size();
            if (j > i) {
                if (j - i > kMaxKeyNameUnits) throw ParseError("key name too long");
                if (path_.size() + 1 > kMaxKeyDepth)
                    throw ParseError("key nested deeper than " + std::to_string(kMaxKeyDepth) +
                                     " levels");
                key = index_.Subkey(key, std::u16string_view(name).substr(i, j - i), modified);
                path_.emplace_back(j, key);
            }
            i = j;
        }
        if (modified) key->modified = modified;
        std::swap(name_, previousName_);
        return key;
    }

    // Sections usually follow their siblings: the keys of the leading components
    // this name shares with the previous section's are found already. Keeps those
    // in `path_` and returns where the rest of the name starts.
    size_t SharedWithPreviousKey() {
        const std::u16string& name = name_;
        const auto diff =
            std::mismatch(name.begin(), name.end(), previousName_.begin(), previousName_.end());
        const auto same = static_cast<size_t>(diff.first - name.begin());
        while (!path_.empty()) {
            const size_t end = path_.back().first;
            if (end <= same && (end == name.size() || name[end] == u'\\')) break;
            path_.pop_back();
        }
        return path_.empty() ? 0 : path_.back().first + 1;
    }

    // The value lines of the section being read go to its key when it ends.
    void KeepValueLines(RegKeyNode* key) {
        if (key && valuesBegin_ != std::string::npos)
            key->values.AddPending(
                hive_.text.View().substr(valuesBegin_, valuesEnd_ - valuesBegin_));
        valuesBegin_ = std::string::npos;
    }

    ValueLineParser values_{false};
    std::u16string name_;
    std::u16string previousName_;
    // The keys of the previous section's name: (where each component ends, key).
    std::vector<std::pair<size_t, RegKeyNode*>> path_;
    size_t valuesBegin_ = std::string::npos;
    size_t valuesEnd_ = 0;
    RegHive& hive_;
    const std::string& file_;
    LoadIndex index_;
};

// ---- reading lazily ----

// Wine writes its files sorted, and then every key's descendants are one run of
// sections. Such a file is read as a list of its sections alone; a key is made
// when something first looks below its parent, from the sections of that run.
// Anything else (sections out of order, names this reader leaves alone, any
// error) goes to the full reader, which also words every error.

// A name of printable ASCII whose only escapes are the "\\" between its parts is
// plain: compared and cut up as bytes. Checks such a name's parts against Wine's
// limits on the way; an empty part, too long a part or too deep a name is left to
// the full reader.
enum class NameKind { Plain, Other, Refused };
NameKind KindOfName(std::string_view n) {
    size_t parts = 0;
    size_t len = 0;
    for (size_t i = 0; i <= n.size(); ++i) {
        if (i == n.size() || n[i] == '\\') {
            if (i < n.size() && (++i == n.size() || n[i] != '\\')) return NameKind::Other;
            if (len == 0 || len > kMaxKeyNameUnits || ++parts > kMaxKeyDepth)
                return NameKind::Refused;
            len = 0;
            continue;
        }
        const auto c = static_cast<unsigned char>(n[i]);
        if (c < 0x20 || c > 0x7e) return NameKind::Other;
        ++len;
    }
    return NameKind::Plain;
}

// The same for the name at [from, to) of a marked text, from its marks: a name
// of printable ASCII is cut at its backslashes without looking at its bytes.
NameKind KindOfName(const ByteMarks& marks, std::string_view text, size_t from, size_t to) {
    if (marks.Any(ByteMarks::kNotPrintable, from, to))
        return KindOfName(text.substr(from, to - from));
    size_t parts = 0;
    for (size_t partStart = from;;) {
        const size_t b = marks.Next(ByteMarks::kBackslash, partStart);
        if (b < to && (b + 1 == to || text[b + 1] != '\\')) return NameKind::Other;
        const size_t len = std::min(b, to) - partStart;
        if (len == 0 || len > kMaxKeyNameUnits || ++parts > kMaxKeyDepth) return NameKind::Refused;
        if (b >= to) return NameKind::Plain;
        partStart = b + 2;
    }
}

// Whether decoded parts are all there and within Wine's limits.
bool PartsWithinLimits(const std::vector<std::u16string>& parts) {
    if (parts.empty() || parts.size() > kMaxKeyDepth) return false;
    for (const auto& p : parts)
        if (p.empty() || p.size() > kMaxKeyNameUnits) return false;
    return true;
}

// How many bytes two texts start with alike, compared eight at a time: names of
// keys in a file share long starts with the key before.
size_t CommonStart(std::string_view a, std::string_view b) {
    const size_t n = std::min(a.size(), b.size());
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        std::uint64_t x, y;
        std::memcpy(&x, a.data() + i, 8);
        std::memcpy(&y, b.data() + i, 8);
        if (x == y) continue;
        const std::uint64_t diff = x ^ y;
        if constexpr (std::endian::native == std::endian::little)
            return i + static_cast<size_t>(std::countr_zero(diff)) / 8;
        else
            return i + static_cast<size_t>(std::countl_zero(diff)) / 8;
    }
    while (i < n && a[i] == b[i]) ++i;
    return i;
}

// How many backslashes a text holds, eight bytes at a time.
size_t CountBackslashes(std::string_view s) {
    constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
    constexpr std::uint64_t kLow7 = 0x7F7F7F7F7F7F7F7FULL;
    size_t n = 0;
    size_t i = 0;
    for (; i + 8 <= s.size(); i += 8) {
        std::uint64_t x;
        std::memcpy(&x, s.data() + i, 8);
        x ^= kOnes * '\\';
        // The high bit of each byte that was a backslash (now zero), and no other.
        const std::uint64_t zero = ~(((x & kLow7) + kLow7) | x | kLow7);
        // Their count: a multiply adds the bytes' ones into the top byte.
        n += static_cast<size_t>(((zero >> 7) * kOnes) >> 56);
    }
    for (; i < s.size(); ++i) n += s[i] == '\\';
    return n;
}

// Printable ASCII folded as Wine folds it, looked up without the full table.
struct AsciiFold {
    std::array<char16_t, 128> map{};
    AsciiFold() {
        for (unsigned c = 0; c < 128; ++c) map[c] = RegFoldCase(static_cast<char16_t>(c));
    }
};

class WineSections final : public RegKeySource {
public:
    struct Section {
        std::uint32_t nameBegin;   // after "["
        std::uint32_t nameEnd;     // at "]"
        std::uint32_t bodyBegin;   // the line after the key line
        std::uint32_t contentEnd;  // after its last line of content
        bool plain;
        std::uint8_t lead;  // blanks before "["
        // How many leading parts of the name equal those of the section before:
        // a key's subkeys are found from these alone, without their names.
        std::uint16_t shared;
        std::uint32_t LineBegin() const { return nameBegin - 1 - lead; }
    };

    size_t ChunkCount() const override { return Count(); }
    RegHive::Chunk ChunkAt(size_t i) const override {
        const auto at = static_cast<std::uint32_t>(i);
        const Section& s = At(at);
        return {s.LineBegin(), s.contentEnd,
                at + 1 < Count() ? At(at + 1).LineBegin() : text_.size(), nullptr, at};
    }

    WineSections(RegHive& hive, FileText text)
        : head(&hive.blocks), tail(&tailBlocks), hive_(hive), text_(std::move(text)) {}

    // The sections, in two runs read on two cores: the first on the hive's
    // blocks, the second on blocks of its own (fresh memory costs a fault per
    // small page, so both sit on huge ones).
    std::pmr::vector<Section> head;
    KeyBlocks tailBlocks;
    std::pmr::vector<Section> tail;
    const Section& At(std::uint32_t i) const {
        return i < head.size() ? head[i] : tail[i - head.size()];
    }
    std::uint32_t Count() const { return static_cast<std::uint32_t>(head.size() + tail.size()); }

    // The name's parts, decoded; false when the reader leaves the name alone.
    bool Parts(const Section& s, std::vector<std::u16string>& out) {
        return PartsOf(LineName(s), s.plain, out);
    }
    // The same for a name as it stands between "[" and "]".
    static bool PartsOf(std::string_view name, bool plain, std::vector<std::u16string>& out) {
        out.clear();
        if (plain) {
            for (size_t i = 0; i <= name.size();) {
                size_t j = name.find("\\\\", i);
                if (j == std::string_view::npos) j = name.size();
                out.emplace_back(name.begin() + static_cast<std::ptrdiff_t>(i),
                                 name.begin() + static_cast<std::ptrdiff_t>(j));
                i = j + 2;
            }
        } else {
            std::u16string whole;
            size_t invalid = 0;
            if (UnescapeWineString(std::string(name) + ']', ']', whole, &invalid) ==
                    std::string_view::npos ||
                invalid)
                return false;
            for (size_t i = 0; i <= whole.size();) {
                size_t j = whole.find(u'\\', i);
                if (j == std::u16string::npos) j = whole.size();
                out.emplace_back(whole, i, j - i);
                i = j + 1;
            }
        }
        return PartsWithinLimits(out);
    }

    // Order of two names as Wine sorts keys: part by part, without regard to case.
    // Called from both reading threads.
    int Compare(const Section& a, const Section& b) const {
        return CompareNames(Name(a), a.plain, Name(b), b.plain);
    }
    static int CompareNames(std::string_view a, bool aPlain, std::string_view b, bool bPlain,
                            std::uint16_t* shared = nullptr) {
        if (aPlain && bPlain) return ComparePlain(a, b, shared);
        if (shared) *shared = SharedParts(a, aPlain, b, bPlain);
        std::vector<std::u16string> left, right;
        PartsOf(a, aPlain, left);
        PartsOf(b, bPlain, right);
        const size_t n = std::min(left.size(), right.size());
        for (size_t i = 0; i < n; ++i)
            if (int d = RegCompareNames(left[i], right[i])) return d;
        return left.size() < right.size() ? -1 : left.size() > right.size() ? 1 : 0;
    }

    void MakeSubkeys(RegKeyNode* owner, std::uint32_t first, std::uint32_t last,
                     std::uint32_t depth, std::vector<RegKeyPtr>& out) override {
        std::u16string name;
        for (std::uint32_t i = first; i < last;) {
            Part(At(i), depth, name);
            // The child's run ends where a name differs in the child's part.
            std::uint32_t end = i + 1;
            while (end < last && At(end).shared > depth) ++end;
            out.push_back(MakeKey(owner, i, end, depth, name));
            i = end;
        }
    }

    // How many leading parts two names share, compared as Wine compares them;
    // plain names are counted by ComparePlain on its way.
    static std::uint16_t SharedParts(std::string_view a, bool aPlain, std::string_view b,
                                     bool bPlain) {
        std::uint16_t shared = 0;
        if (aPlain && bPlain) {
            ComparePlain(a, b, &shared);
            return shared;
        }
        std::vector<std::u16string> left, right;
        PartsOf(a, aPlain, left);
        PartsOf(b, bPlain, right);
        while (shared < left.size() && shared < right.size() &&
               RegNamesEqual(left[shared], right[shared]))
            ++shared;
        return shared;
    }
    std::uint16_t SharedParts(const Section& a, const Section& b) const {
        return SharedParts(Name(a), a.plain, Name(b), b.plain);
    }

private:
    std::string_view Name(const Section& s) const {
        return text_.Part(s.nameBegin, s.nameEnd - s.nameBegin);
    }
    // The key line from the name on, copied out of the file: making keys reads a
    // few bytes of many places, which would each take a page of the text's memory.
    // Valid until the next call.
    std::string_view KeyLine(const Section& s) {
        if (lineOf_ != &s) {
            lineOf_ = nullptr;
            text_.CopyTo(s.nameBegin, s.bodyBegin - s.nameBegin, line_);
            lineOf_ = &s;
        }
        return line_;
    }
    std::string_view LineName(const Section& s) {
        return KeyLine(s).substr(0, s.nameEnd - s.nameBegin);
    }

    // Bytes of two plain names: the end of a name sorts first, then the end of a
    // part, then its characters folded as Wine folds them. Bytes alike at the
    // start tell nothing (a part's separator is two bytes, both alike or neither).
    // With `shared`, also how many leading parts the names share.
    static int ComparePlain(std::string_view a, std::string_view b,
                            std::uint16_t* shared = nullptr) {
        static const AsciiFold fold;
        const auto next = [&map = fold.map](std::string_view s, size_t& i) -> int {
            if (i >= s.size()) return 0;
            if (s[i] == '\\') {
                i += 2;
                return 1;
            }
            return map[static_cast<unsigned char>(s[i++])] + 2;
        };
        size_t i = CommonStart(a, b);
        // Backslashes come in pairs, and alike bytes never end inside one.
        size_t parts = shared ? CountBackslashes(a.substr(0, i)) / 2 : 0;
        size_t j = i;
        for (;;) {
            const int x = next(a, i);
            const int y = next(b, j);
            if (x == y && x > 1) continue;
            // A name's end and a part's end both close the part.
            if (x <= 1 && y <= 1) ++parts;
            if (shared) *shared = static_cast<std::uint16_t>(std::min<size_t>(parts, 0xFFFF));
            if (x != y) return x < y ? -1 : 1;
            if (x == 0) return 0;
        }
    }

    // Part `depth` of a name; false when the name has fewer parts.
    bool Part(const Section& s, std::uint32_t depth, std::u16string& out) {
        out.clear();
        if (!s.plain) {
            Parts(s, left_);
            if (depth >= left_.size()) return false;
            out = left_[depth];
            return true;
        }
        const std::string_view name = LineName(s);
        size_t i = 0;
        for (std::uint32_t d = 0; d < depth; ++d) {
            i = name.find("\\\\", i);
            if (i == std::string_view::npos) return false;
            i += 2;
        }
        const size_t j = std::min(name.find("\\\\", i), name.size());
        out.assign(name.begin() + static_cast<std::ptrdiff_t>(i),
                   name.begin() + static_cast<std::ptrdiff_t>(j));
        return true;
    }

    // The child that sections [i, end) lie in; section i is its own when its name
    // ends with the child.
    RegKeyPtr MakeKey(RegKeyNode* owner, std::uint32_t i, std::uint32_t end, std::uint32_t depth,
                      std::u16string_view name) {
        RegKeyPtr key(new RegKeyNode);
        key->name = name;
        key->parent = owner;
        const Section& s = At(i);
        key->modified = HeaderTime(KeyLine(s).substr(s.nameEnd + 1 - s.nameBegin));
        std::u16string deeper;
        const bool own = !Part(s, depth + 1, deeper);
        if (own) {
            ApplyBody(s, key.get());
            hive_.sectionKeys.emplace(i, key.get());
            ++i;
        }
        key->subkeys.SetPending(this, key.get(), i, end, depth + 1);
        return key;
    }

    // The options and values of a key's own section.
    void ApplyBody(const Section& s, RegKeyNode* key) const {
        const std::string_view body = text_.Part(s.bodyBegin, s.contentEnd - s.bodyBegin);
        LineReader rd(body);
        std::string_view line;
        size_t start = 0;
        bool values = false;
        while (rd.Next(line, start)) {
            const std::string_view p = SkipSpace(line);
            if (!p.empty() && p[0] == '#') ApplyKeyOption(key, p);
            values = values || (!p.empty() && (p[0] == '@' || p[0] == '"'));
        }
        if (values) key->values.AddPending(body);
    }

    RegHive& hive_;
    FileText text_;
    std::vector<std::u16string> left_;
    std::string line_;
    const Section* lineOf_ = nullptr;  // whose key line `line_` holds
};

// A part of the text in runs of whole sections. A text in memory is one run; a
// text read lazily comes through one buffer, reused, of a size the processor's
// cache holds, so the reading takes no fresh memory.
class SectionWindows {
public:
    SectionWindows(const FileText& text, size_t from, size_t to)
        : text_(text), at_(from), to_(to) {}

    // The next run and where it starts in the text; false when there is none.
    bool Next(std::string_view& run, size_t& at) {
        if (at_ >= to_) return false;
        at = at_;
        TextSource* source = text_.Source();
        if (!source) {
            run = text_.View().substr(at_, to_ - at_);
            at_ = to_;
            return true;
        }
        for (size_t size = kWindow;; size *= 2) {
            const size_t n = std::min(size, to_ - at_);
            buffer_.resize(n);
            source->Read(at_, n, buffer_.data());
            const std::string_view got(buffer_.data(), n);
            // The run ends before the last key line, which may go on past the buffer.
            const size_t cut = at_ + n == to_ ? n : LastSectionStart(got);
            if (cut == std::string_view::npos) continue;
            run = got.substr(0, cut);
            at_ += cut;
            return true;
        }
    }

private:
    static constexpr size_t kWindow = size_t{256} << 10;

    // Where the last key line that no value goes on into starts; npos when none
    // but the first does.
    static size_t LastSectionStart(std::string_view text) {
        for (size_t pos = text.size(); pos >= 2;) {
            const size_t at = text.rfind("\n[", pos - 2);
            if (at == std::string_view::npos) return at;
            if (PartMayStartAfter(text, at)) return at + 1;
            pos = at + 1;
        }
        return std::string_view::npos;
    }

    const FileText& text_;
    size_t at_;
    size_t to_;
    std::string buffer_;
};

// Reads a file's sections for WineSections; false when the file is left to the
// full reader. A large file is read in two parts, one on each core, each checking
// its own lines: the second starts at a key line, so no value goes on across.
class SectionScan {
public:
    explicit SectionScan(RegHive& hive) : hive_(hive) {}

    bool Run() {
        const FileText& text = hive_.text;
        if (text.size() >= 0xFFFFFFF0u) return false;
        auto source = std::make_unique<WineSections>(hive_, text);
        const size_t split = text.size() >= kSplitBytes ? Split() : std::string_view::npos;
        Part head(source->head);
        Part tail(source->tail);
        std::thread other;
        if (split != std::string_view::npos)
            other = std::thread([&] {
                // Whatever goes wrong there (memory, say), the full reader runs.
                try {
                    tail.ok = Scan(split, text.size(), tail);
                } catch (...) {
                    tail.ok = false;
                }
            });
        try {
            head.ok = Scan(0, std::min(split, text.size()), head);
        } catch (...) {
            if (other.joinable()) other.join();
            throw;
        }
        if (other.joinable()) other.join();
        if (!head.ok || (split != std::string_view::npos && !tail.ok)) return false;
        if (!tail.sections.empty()) {
            if (head.sections.empty() ||
                source->Compare(head.sections.back(), tail.sections.front()) >= 0)
                return false;
            tail.sections.front().shared =
                source->SharedParts(head.sections.back(), tail.sections.front());
        }
        hive_.headerEnd = head.headerEnd;
        hive_.root->subkeys.SetPending(source.get(), hive_.root.get(), 0, source->Count(), 0);
        hive_.keySource = std::move(source);
        hive_.chunksPending = true;
        return true;
    }

private:
    // Below this a file is read on one core.
    static constexpr size_t kSplitBytes = 4 << 20;

    // Where the second part starts: the first key line from the middle on.
    size_t Split() const {
        const FileText& text = hive_.text;
        const size_t middle = text.size() / 2;
        if (!text.Source()) return SectionStartIn(text.View(), middle);
        std::string buffer;
        for (size_t n = size_t{64} << 10;; n *= 2) {
            // From just before the middle, for the line before a key line there.
            const size_t from = middle - std::min(middle, size_t{4} << 10);
            const size_t len = std::min(n, text.size() - from);
            buffer.resize(len);
            text.Source()->Read(from, len, buffer.data());
            const size_t at = SectionStartIn(buffer, middle - from);
            if (at != std::string_view::npos) return from + at;
            if (from + len == text.size()) return std::string_view::npos;
        }
    }

    struct Part {
        explicit Part(std::pmr::vector<WineSections::Section>& into) : sections(into) {}
        std::pmr::vector<WineSections::Section>& sections;
        size_t headerEnd = 0;
        bool ok = false;
        // The last section's name as read, for the order of the next one: in the
        // run being read, or kept in `lastName` once the run's buffer is reused.
        std::string_view last;
        std::string lastName;
        bool lastPlain = false;
        ByteMarks marks;
    };

    // Bytes [from, to) of the text; the part at 0 holds the first line and the
    // options before the first key.
    bool Scan(size_t from, size_t to, Part& part) {
        part.headerEnd = to;
        // A section takes a few hundred bytes: room for most files' sections at once.
        part.sections.reserve((to - from) / 192 + 16);
        SectionWindows windows(hive_.text, from, to);
        std::string_view run;
        size_t at = 0;
        bool first = from == 0;
        while (windows.Next(run, at)) {
            if (!ScanRun(run, at, first, part)) return false;
            first = false;
        }
        return !(from == 0 && to == 0);
    }

    // One run of whole sections, `base` bytes into the text.
    bool ScanRun(std::string_view text, size_t base, bool first, Part& part) {
        LineReader rd(text);
        std::string_view line;
        size_t start = 0;
        ValueLineParser values(false);
        std::vector<std::u16string> parts;
        part.marks.Mark(text);
        try {
            if (first && (!rd.Next(line, start) || line != kFirstLine)) return false;
            for (;;) {
                if (!part.sections.empty()) {
                    const size_t next = CommonLine(text, rd.Pos(), base, part);
                    if (next != std::string_view::npos) {
                        rd.Seek(next);
                        continue;
                    }
                }
                if (!rd.Next(line, start)) break;
                const std::string_view p = SkipSpace(line);
                switch (p.empty() ? '\0' : p[0]) {
                    case '[': {
                        if (part.sections.empty()) part.headerEnd = base + start;
                        const size_t lead = static_cast<size_t>(p.data() - line.data());
                        if (lead > 0xFF) return false;
                        const auto from = static_cast<size_t>(p.data() + 1 - text.data());
                        size_t r = p.find(']', 1);
                        NameKind kind = r == std::string_view::npos
                                            ? NameKind::Other
                                            : KindOfName(part.marks, text, from, from + r - 1);
                        if (kind != NameKind::Plain) {
                            r = ScanWineString(After(p, 1), ']');
                            if (r == std::string_view::npos) return false;
                            kind = KindOfName(p.substr(1, r - 1));
                        }
                        const std::string_view name = p.substr(1, r - 1);
                        const auto nameAt = static_cast<std::uint32_t>(base + from);
                        const auto pos = static_cast<std::uint32_t>(base + rd.Pos());
                        const bool plain = kind == NameKind::Plain;
                        std::uint16_t shared = 0;
                        if (kind == NameKind::Refused ||
                            (kind == NameKind::Other &&
                             !WineSections::PartsOf(name, false, parts)) ||
                            (!part.sections.empty() &&
                             WineSections::CompareNames(part.last, part.lastPlain, name, plain,
                                                        &shared) >= 0))
                            return false;
                        part.last = name;
                        part.lastPlain = plain;
                        part.sections.push_back({nameAt, nameAt + static_cast<std::uint32_t>(r - 1),
                                                 pos, pos, plain, static_cast<std::uint8_t>(lead),
                                                 shared});
                        break;
                    }
                    case '@':
                    case '"':
                        if (part.sections.empty()) return false;
                        values.Parse(p, rd);
                        Extend(part, base + rd.Pos());
                        break;
                    case '#':
                        if (part.sections.empty()) {
                            if (!first) return false;
                            ParseGlobalOption(hive_, p, rd.Line());
                        } else {
                            if (p.starts_with("#class=")) {
                                RegKeyNode scratch;
                                ApplyKeyOption(&scratch, p);
                            }
                            Extend(part, base + rd.Pos());
                        }
                        break;
                    case ';':
                    case '\0':
                        break;
                    default:
                        return false;
                }
            }
        } catch (const ParseError&) {
            return false;
        }
        // The buffer may be read into again.
        if (part.last.data() != part.lastName.data()) {
            part.lastName.assign(part.last);
            part.last = part.lastName;
        }
        return true;
    }

    // A line of a section in its most common form, read from the marks alone:
    // blank, a comment, an option, or a string or DWORD value with a plain name.
    // Returns where the next line starts, or npos for a line left to the general
    // reading above (which also refuses what is wrong).
    static size_t CommonLine(std::string_view text, size_t pos, size_t base, Part& part) {
        if (pos >= text.size()) return std::string_view::npos;
        const size_t nl = part.marks.Next(ByteMarks::kNewline, pos);
        const size_t next = nl < text.size() ? nl + 1 : nl;
        // The line as LineReader cuts it: one "\r" before the newline is dropped.
        const size_t end = nl < text.size() && nl > pos && text[nl - 1] == '\r' ? nl - 1 : nl;
        if (end == pos) return next;
        bool extends = true;
        switch (text[pos]) {
            case ';':
                extends = false;
                break;
            case '#':
                if (text.substr(pos, end - pos).starts_with("#class="))
                    return std::string_view::npos;
                break;
            case '"':
            case '@':
                if (!CommonValue(part.marks, text, pos, end)) return std::string_view::npos;
                break;
            default:
                return std::string_view::npos;
        }
        if (extends) Extend(part, base + next);
        return next;
    }

    // Whether [pos, end) is a value line with a plain name (or "@") and a string
    // or a DWORD of hex digits, without blanks around "=" or after the value.
    static bool CommonValue(const ByteMarks& marks, std::string_view text, size_t pos, size_t end) {
        size_t eq = pos + 1;
        if (text[pos] == '"') {
            const size_t q = marks.Next(ByteMarks::kQuote, pos + 1);
            if (q >= end || q - pos - 1 > kMaxValueNameUnits ||
                marks.Any(ByteMarks::kNotPlain, pos + 1, q))
                return false;
            eq = q + 1;
        }
        if (eq + 1 >= end || text[eq] != '=') return false;
        if (text[eq + 1] == '"') return StringEnd(marks, eq + 2) + 1 == end;
        constexpr std::string_view kDword = "dword:";
        const size_t digits = eq + 1 + kDword.size();
        if (digits >= end || text.substr(eq + 1, kDword.size()) != kDword) return false;
        for (size_t i = digits; i < end; ++i)
            if (HexDigit(text[i]) < 0) return false;
        return true;
    }

    // Where the closing quote of the string from `from` lies, as ScanWineString
    // finds it: an escape takes the byte after its backslash.
    static size_t StringEnd(const ByteMarks& marks, size_t from) {
        for (;;) {
            const size_t quote = marks.Next(ByteMarks::kQuote, from);
            const size_t escape = marks.Next(ByteMarks::kBackslash, from);
            if (quote < escape) return quote;
            if (escape == quote) return escape;  // neither
            from = escape + 2;
        }
    }

    // The last section goes on to `pos`.
    static void Extend(Part& part, size_t pos) {
        part.sections.back().contentEnd = static_cast<std::uint32_t>(pos);
    }

    RegHive& hive_;
};

// ---- writing ----

void DumpValue(std::string& out, const RegKeyNode::Value& v) {
    size_t count;
    if (!v.name.empty()) {
        out += '"';
        std::string n = EscapeWineString(v.name, "\"\"");
        out += n;
        out += "\"=";
        count = 1 + n.size() + 2;
    } else {
        out += "@=";
        count = 2;
    }
    const RegBytes& d = v.value.data;
    const std::uint32_t type = v.value.type;
    if (type == kRegSz || type == kRegExpandSz || type == kRegMultiSz) {
        // Only properly terminated strings are written as strings.
        if (d.size() >= 2 && d.size() % 2 == 0 && d[d.size() - 1] == 0 && d[d.size() - 2] == 0) {
            std::u16string units;
            units.reserve(d.size() / 2);
            for (size_t i = 0; i < d.size(); i += 2)
                units.push_back(static_cast<char16_t>(d[i] | (d[i + 1] << 8)));
            if (type != kRegSz) out += "str(" + std::to_string(type) + "):";
            out += '"';
            out += EscapeWineString(units, "\"\"", true);
            out += "\"\n";
            return;
        }
    } else if (type == kRegDword && d.size() == 4) {
        char buf[24];
        std::snprintf(buf, sizeof buf, "dword:%08x\n",
                      static_cast<unsigned>(d[0] | (d[1] << 8) | (d[2] << 16) |
                                            (static_cast<unsigned>(d[3]) << 24)));
        out += buf;
        return;
    }
    char buf[24];
    if (type == kRegBinary) {
        out += "hex:";
        count += 4;
    } else {
        int n = std::snprintf(buf, sizeof buf, "hex(%x):", type);
        out.append(buf, static_cast<size_t>(n));
        count += static_cast<size_t>(n);
    }
    static constexpr char kHex[] = "0123456789abcdef";
    for (size_t i = 0; i < d.size(); ++i) {
        out += kHex[d[i] >> 4];
        out += kHex[d[i] & 15];
        count += 2;
        if (i + 1 < d.size()) {
            out += ',';
            if (++count > 76) {
                out += "\\\n  ";
                count = 2;
            }
        }
    }
    out += '\n';
}

void DumpPath(std::string& out, const RegKeyNode* key) {
    if (key->parent && key->parent->parent) {
        DumpPath(out, key->parent);
        out += "\\\\";
    }
    out += EscapeWineString(key->name, "[]");
}

std::string RenderSection(const RegKeyNode* key) {
    std::string out = "[";
    if (key->parent) DumpPath(out, key);
    out += "] " + FormatSeconds(key->modified) + "\n";
    out += "#time=" + FormatFiletime(key->modified) + "\n";
    if (key->keyClass) out += "#class=\"" + EscapeWineString(*key->keyClass, "\"\"") + "\"\n";
    if (key->link) out += "#link\n";
    for (const auto& v : key->values) DumpValue(out, v);
    return out;
}

// Keys that only hold subkeys are implied by their subkeys' sections.
bool NeedsSection(const RegKeyNode* key) {
    return !key->values.empty() || key->subkeys.empty() || key->keyClass || key->link;
}

void EnsureBlankLine(PieceText& out) {
    if (out.empty()) return;
    if (!out.EndsWith("\n")) out.Append('\n');
    if (!out.EndsWith("\n\n") && !out.EndsWith("\n\r\n")) out.Append('\n');
}

bool HasComment(std::string_view trivia) {
    size_t i = 0;
    while (i < trivia.size()) {
        size_t nl = trivia.find('\n', i);
        if (nl == std::string_view::npos) nl = trivia.size();
        std::string_view l = SkipSpace(trivia.substr(i, nl - i));
        if (!l.empty() && l[0] == ';') return true;
        i = nl + 1;
    }
    return false;
}

}  // namespace

// ---- escaping ----

std::string EscapeWineString(std::u16string_view s, std::string_view delims, bool impliedNul) {
    static constexpr char kEscapes[] = ".......abtnvfr.............e....";
    std::string out;
    out.reserve(s.size());
    char buf[16];
    for (size_t i = 0; i < s.size(); ++i) {
        char16_t c = s[i];
        bool more = i + 1 < s.size();
        if (c > 127) {
            char16_t next = more ? s[i + 1] : 0;
            bool hexNext = more && next < 128 && HexDigit(static_cast<char>(next)) >= 0;
            int n = std::snprintf(buf, sizeof buf, hexNext ? "\\x%04x" : "\\x%x", unsigned{c});
            out.append(buf, static_cast<size_t>(n));
            continue;
        }
        if (c < 32) {
            if (c == 0 && !more && impliedNul) continue;
            if (kEscapes[c] != '.') {
                out += '\\';
                out += kEscapes[c];
            } else {
                bool octalNext = more && s[i + 1] >= u'0' && s[i + 1] <= u'7';
                int n = std::snprintf(buf, sizeof buf, octalNext ? "\\%03o" : "\\%o", unsigned{c});
                out.append(buf, static_cast<size_t>(n));
            }
            continue;
        }
        if (c == u'\\' || c == static_cast<char16_t>(delims[0]) ||
            c == static_cast<char16_t>(delims[1]))
            out += '\\';
        out += static_cast<char>(c);
    }
    return out;
}

size_t UnescapeWineString(std::string_view src, char end, std::u16string& out,
                          size_t* invalidBytes) {
    size_t p = 0;
    while (p < src.size() && src[p] != end) {
        // Runs of plain ASCII, most of any name or text, are widened in one go.
        size_t run = p;
        while (run < src.size()) {
            const unsigned char ch = static_cast<unsigned char>(src[run]);
            if (ch >= 0x80 || ch == '\\' || ch == static_cast<unsigned char>(end)) break;
            ++run;
        }
        if (run > p) {
            const size_t at = out.size();
            out.resize(at + (run - p));
            for (size_t i = p; i < run; ++i) out[at + (i - p)] = static_cast<unsigned char>(src[i]);
            p = run;
            continue;
        }
        unsigned char c = static_cast<unsigned char>(src[p]);
        if (c != '\\') {
            if (c < 0x80) {
                out.push_back(c);
                ++p;
            } else {
                char32_t cp = 0;
                size_t n = DecodeUtf8(src, p, cp);
                if (n) {
                    AppendUtf16(out, cp);
                    p += n;
                } else {
                    ++p;
                    if (invalidBytes) ++*invalidBytes;
                }
            }
            continue;
        }
        if (++p >= src.size()) return std::string_view::npos;
        char e = src[p];
        switch (e) {
            case 'a':
                out.push_back(u'\a');
                ++p;
                break;
            case 'b':
                out.push_back(u'\b');
                ++p;
                break;
            case 'e':
                out.push_back(27);
                ++p;
                break;
            case 'f':
                out.push_back(u'\f');
                ++p;
                break;
            case 'n':
                out.push_back(u'\n');
                ++p;
                break;
            case 'r':
                out.push_back(u'\r');
                ++p;
                break;
            case 't':
                out.push_back(u'\t');
                ++p;
                break;
            case 'v':
                out.push_back(u'\v');
                ++p;
                break;
            case 'x': {
                ++p;
                if (p >= src.size() || HexDigit(src[p]) < 0) {
                    out.push_back(u'x');
                    break;
                }
                unsigned v = 0;
                for (int k = 0; k < 4 && p < src.size() && HexDigit(src[p]) >= 0; ++k)
                    v = v * 16 + static_cast<unsigned>(HexDigit(src[p++]));
                out.push_back(static_cast<char16_t>(v));
                break;
            }
            case '0':
            case '1':
            case '2':
            case '3':
            case '4':
            case '5':
            case '6':
            case '7': {
                unsigned v = 0;
                for (int k = 0; k < 3 && p < src.size() && src[p] >= '0' && src[p] <= '7'; ++k)
                    v = v * 8 + static_cast<unsigned>(src[p++] - '0');
                out.push_back(static_cast<char16_t>(v));
                break;
            }
            default: {
                // Any other escaped character stands for itself.
                char32_t cp = static_cast<unsigned char>(e);
                size_t n = 1;
                if (cp >= 0x80) {
                    n = DecodeUtf8(src, p, cp);
                    if (!n) {
                        ++p;
                        if (invalidBytes) ++*invalidBytes;
                        break;
                    }
                }
                AppendUtf16(out, cp);
                p += n;
                break;
            }
        }
    }
    if (p >= src.size()) return std::string_view::npos;
    return p + 1;
}

// ---- public entry points ----

void ReadWineRegistry(RegHive& hive, std::string text, const std::string& fileName) {
    ReadWineRegistry(hive, FileText(std::move(text)), fileName);
}

void ReadWineRegistry(RegHive& hive, FileText text, const std::string& fileName) {
    hive.Clear();
    hive.text = std::move(text);
    hive.fromFile = true;
    if (SectionScan(hive).Run()) return;
    // The full reader reads, and words the errors of, the whole text.
    FileText kept = std::move(hive.text);
    hive.Clear();
    kept.NeedAll();
    hive.text = std::move(kept);
    hive.fromFile = true;
    Parser(hive, fileName).Run();
}

std::string WineBranchPath(WineBranch branch) {
    return branch == WineBranch::User ? "REGISTRY\\\\User\\\\S-1-5-21-0-0-0-1000"
                                      : "REGISTRY\\\\Machine";
}

namespace {

// One piece of the rendered file: a section copied as read, a section rendered
// in Wine's form, or the comments between sections of a removed key.
struct RenderItem {
    enum Kind { Verbatim, Canonical, Trivia } kind;
    long chunk;  // index into hive.chunks, -1 for a new section
    RegKeyNode* key;
    long count = 1;  // Verbatim: this many chunks from `chunk` on, one run of the text
};

// Wine writes depth first in sorted order; numbers the keys that way.
std::vector<RegKeyNode*> NumberInWineOrder(RegHive& hive) {
    std::vector<RegKeyNode*> order;
    std::vector<RegKeyNode*> stack{hive.root.get()};
    while (!stack.empty()) {
        RegKeyNode* k = stack.back();
        stack.pop_back();
        k->order = static_cast<std::int64_t>(order.size());
        order.push_back(k);
        for (auto s = k->subkeys.rbegin(); s != k->subkeys.rend(); ++s) stack.push_back(s->get());
    }
    return order;
}

// The file's sections in their order, each kept, re-rendered or reduced to its
// comments.
using RenderItems = std::pmr::vector<RenderItem>;
// The hive's chunks as the writer reads them: its list, or, for a file read by
// sections whose list was never needed, each made from its section when asked.
class ChunkView {
public:
    explicit ChunkView(RegHive& hive)
        : hive_(hive), source_(hive.ChunksFromSource() ? hive.keySource.get() : nullptr) {
        if (!source_) hive.Chunks();
    }
    bool FromSections() const { return source_ != nullptr; }
    size_t size() const { return source_ ? source_->ChunkCount() : hive_.chunks.size(); }
    RegHive::Chunk operator[](size_t i) const {
        return source_ ? source_->ChunkAt(i) : hive_.chunks[i];
    }

private:
    const RegHive& hive_;
    const RegKeySource* source_;
};

// Neighbouring sections kept as read are one item: a large file is mostly such
// runs.
RenderItems ChunkItems(RegHive& hive, const ChunkView& chunks) {
    RenderItems items(&hive.blocks);
    // `count` chunks from `i` on, as read.
    const auto keep = [&](size_t i, RegKeyNode* k, size_t count = 1) {
        const auto at = static_cast<long>(i);
        RenderItem* last = items.empty() ? nullptr : &items.back();
        if (last && last->kind == RenderItem::Verbatim && last->chunk + last->count == at &&
            chunks[i - 1].end == chunks[i].begin)
            last->count += static_cast<long>(count);
        else
            items.push_back({RenderItem::Verbatim, at, k, static_cast<long>(count)});
    };
    const auto add = [&](size_t i, const RegHive::Chunk& c, RegKeyNode* k) {
        if (!k) {
            // A key never made cannot have changed.
            keep(i, nullptr);
        } else if (!k->deleted && !k->touched) {
            keep(i, k);
            k->emittedIn = hive.renders;
        } else if (!k->deleted && k->emittedIn != hive.renders && NeedsSection(k)) {
            items.push_back({RenderItem::Canonical, static_cast<long>(i), k});
            k->emittedIn = hive.renders;
        } else if (HasComment(hive.text.Part(c.contentEnd, c.end - c.contentEnd))) {
            items.push_back({RenderItem::Trivia, static_cast<long>(i), nullptr});
        }
    };
    if (!chunks.FromSections()) {
        for (size_t i = 0; i < chunks.size(); ++i) {
            const RegHive::Chunk c = chunks[i];
            add(i, c, hive.KeyOf(c));
        }
        return items;
    }
    // Only sections whose keys were made can have changed; the runs between them
    // are kept whole.
    std::vector<std::pair<std::uint32_t, RegKeyNode*>> made(hive.sectionKeys.begin(),
                                                            hive.sectionKeys.end());
    std::sort(made.begin(), made.end());
    size_t next = 0;
    for (const auto& [section, k] : made) {
        if (section > next) keep(next, nullptr, section - next);
        add(section, chunks[section], k);
        next = section + 1;
    }
    if (next < chunks.size()) keep(next, nullptr, chunks.size() - next);
    return items;
}

// Changed keys that need a section and have none, each with the place it goes:
// after the nearest key before it in Wine's order (0: before every item, i + 1:
// after item i). In writing order; usually there are none.
using NewSections = std::vector<std::pair<size_t, RegKeyNode*>>;
// Runs of kept sections as one item each, for placing new sections between them.
void SplitRuns(const RegHive& hive, const ChunkView& chunks, RenderItems& items) {
    RenderItems split(items.get_allocator());
    for (const RenderItem& it : items) {
        if (it.kind != RenderItem::Verbatim || it.count == 1) {
            split.push_back(it);
            continue;
        }
        for (long i = it.chunk; i < it.chunk + it.count; ++i)
            split.push_back({RenderItem::Verbatim, i, hive.KeyOf(chunks[static_cast<size_t>(i)])});
    }
    items = std::move(split);
}

NewSections PlaceNewSections(RegHive& hive, const ChunkView& chunks, RenderItems& items) {
    const auto isNew = [&hive](const RegKeyNode* k) {
        return k->touched && k->emittedIn != hive.renders && NeedsSection(k);
    };
    // The tree is numbered only when some key is new, which is seldom. Keys not
    // made yet are unchanged: only those made are looked at.
    bool any = false;
    std::vector<const RegKeyNode*> stack{hive.root.get()};
    while (!any && !stack.empty()) {
        const RegKeyNode* k = stack.back();
        stack.pop_back();
        any = isNew(k);
        for (const auto& s : k->subkeys.Made()) stack.push_back(s.get());
    }
    if (!any) return {};
    SplitRuns(hive, chunks, items);
    // Numbering makes every key, so each kept section has its key from here on.
    const std::vector<RegKeyNode*> order = NumberInWineOrder(hive);
    std::vector<std::pair<std::int64_t, size_t>> placed;  // (key order, item index)
    for (size_t i = 0; i < items.size(); ++i) {
        if (items[i].kind == RenderItem::Trivia) continue;
        const RegKeyNode* k =
            items[i].key ? items[i].key : hive.KeyOf(chunks[static_cast<size_t>(items[i].chunk)]);
        if (k) placed.emplace_back(k->order, i);
    }
    std::sort(placed.begin(), placed.end());
    NewSections after;
    for (RegKeyNode* k : order) {
        if (!isNew(k)) continue;
        auto it =
            std::lower_bound(placed.begin(), placed.end(), std::make_pair(k->order, size_t{0}));
        after.emplace_back(it == placed.begin() ? 0 : std::prev(it)->second + 1, k);
    }
    std::stable_sort(after.begin(), after.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    return after;
}

// Writes the file text and records the layout of what it wrote in the hive.
class SectionWriter {
public:
    SectionWriter(RegHive& hive, const ChunkView& chunks)
        : hive_(hive), chunks_(chunks), text_(hive.text.View()), out_(hive.text) {
        adjacent_ = hive.fromFile ? -1 : kNone;
    }

    void Header(WineBranch branch, std::string_view arch) {
        if (hive_.fromFile) {
            out_.AppendBase(text_.substr(0, hive_.headerEnd));
        } else {
            out_.Append(std::string(kFirstLine) + "\n;; All keys relative to " +
                        WineBranchPath(branch) + "\n");
            if (!arch.empty()) out_.Append("\n#arch=" + std::string(arch) + "\n");
        }
        hive_.renderedHeaderEnd = out_.size();
        hive_.renderedLayout.clear();
    }

    void Canonical(RegKeyNode* k, long chunk = kNone) {
        Separate(chunk);
        size_t begin = out_.size();
        out_.Append(RenderSection(k));
        hive_.renderedLayout.push_back({0, 0, 0, {begin, out_.size(), 0, k}});
        adjacent_ = kNone;
    }

    void Item(const RenderItem& it) {
        const RegHive::Chunk c = chunks_[static_cast<size_t>(it.chunk)];
        switch (it.kind) {
            case RenderItem::Verbatim: {
                Separate(it.chunk);
                const RegHive::Chunk lastOfRun =
                    chunks_[static_cast<size_t>(it.chunk + it.count - 1)];
                hive_.renderedLayout.push_back({static_cast<size_t>(it.chunk),
                                                static_cast<size_t>(it.count),
                                                static_cast<std::ptrdiff_t>(out_.size()) -
                                                    static_cast<std::ptrdiff_t>(c.begin),
                                                {}});
                out_.AppendBase(text_.substr(c.begin, lastOfRun.end - c.begin));
                adjacent_ = it.chunk + it.count - 1;
                return;
            }
            case RenderItem::Canonical:
                Canonical(it.key, it.chunk);
                out_.AppendBase(text_.substr(c.contentEnd, c.end - c.contentEnd));
                break;
            case RenderItem::Trivia:
                if (!out_.empty() && !out_.EndsWith("\n")) out_.Append('\n');
                out_.AppendBase(text_.substr(c.contentEnd, c.end - c.contentEnd));
                break;
        }
        adjacent_ = it.chunk;
    }

    // `endsAsRead`: the file ends with its last section as read, trailing lines and all.
    PieceText Finish(bool endsAsRead) {
        // Wine's files end with the last value line, not with a blank line.
        if (!endsAsRead) {
            while (out_.EndsWith("\n\n")) out_.Chop(1);
            while (out_.EndsWith("\r\n\r\n")) out_.Chop(2);
        }
        // Blank lines and comments kept before the first section belong to the
        // header from now on, or the next save, which copies the header and the
        // sections, would lose them.
        const auto& layout = hive_.renderedLayout;
        hive_.renderedSize = out_.size();
        if (layout.empty())
            hive_.renderedHeaderEnd = out_.size();
        else if (layout.front().count == 0)
            hive_.renderedHeaderEnd = layout.front().chunk.begin;
        else
            hive_.renderedHeaderEnd = static_cast<size_t>(
                static_cast<std::ptrdiff_t>(chunks_[layout.front().first].begin) +
                layout.front().shift);
        return std::move(out_);
    }

private:
    static constexpr long kNone = -2;
    // Neighbours from the file keep the separation they had there.
    void Separate(long chunk) {
        if (adjacent_ != kNone && adjacent_ + 1 == chunk) {
            if (!out_.empty() && !out_.EndsWith("\n")) out_.Append('\n');
        } else {
            EnsureBlankLine(out_);
        }
    }

    RegHive& hive_;
    const ChunkView& chunks_;
    const std::string_view text_;
    PieceText out_;
    // The original chunk whose end was written last (-1: the header).
    long adjacent_;
};

}  // namespace

PieceText RenderWineRegistryPieces(RegHive& hive, WineBranch branch, std::string_view arch) {
    hive.JoinText();
    ++hive.renders;
    const ChunkView chunks(hive);
    RenderItems items = ChunkItems(hive, chunks);
    const NewSections after = PlaceNewSections(hive, chunks, items);

    SectionWriter writer(hive, chunks);
    writer.Header(branch, arch);
    size_t next = 0;
    const auto newSectionsAt = [&](size_t place) {
        for (; next < after.size() && after[next].first == place; ++next)
            writer.Canonical(after[next].second);
    };
    newSectionsAt(0);
    for (size_t i = 0; i < items.size(); ++i) {
        writer.Item(items[i]);
        newSectionsAt(i + 1);
    }
    const bool endsAsRead =
        !items.empty() && items.back().kind == RenderItem::Verbatim &&
        static_cast<size_t>(items.back().chunk + items.back().count) == chunks.size() &&
        (after.empty() || after.back().first != items.size());
    return writer.Finish(endsAsRead || (hive.fromFile && chunks.size() == 0 && after.empty()));
}

std::string RenderWineRegistry(RegHive& hive, WineBranch branch, std::string_view arch) {
    return RenderWineRegistryPieces(hive, branch, arch).Join();
}

void ParseWineValueLines(std::vector<RegNodeValue>& items, std::string_view lines) {
    ValueLineParser parser;
    LineReader rd(lines);
    std::string_view line;
    size_t start = 0;
    while (rd.Next(line, start)) {
        std::string_view p = SkipSpace(line);
        if (p.empty() || (p[0] != '@' && p[0] != '"')) continue;
        parser.Parse(p, rd);
        // Wine's files are sorted: the usual step is an append.
        auto at = items.end();
        if (!items.empty() && RegCompareNames(items.back().name, parser.name) >= 0)
            at = std::lower_bound(items.begin(), items.end(), parser.name,
                                  [](const RegNodeValue& v, const std::u16string& n) {
                                      return RegCompareNames(v.name, n) < 0;
                                  });
        if (at != items.end() && RegNamesEqual(at->name, parser.name))
            at->value = parser.value;  // a repeated name keeps its first spelling
        else
            items.insert(at, RegNodeValue{parser.name, parser.value});
    }
}

namespace {

// The chunks of the rendered text: applied to the list, or kept for when the
// list is made.
void MakeRenderedChunks(RegHive& hive) {
    if (hive.ChunksFromSource()) {
        // The chunks are still to be made from the sections: the layout waits for them.
        hive.pendingLayout = std::move(hive.renderedLayout);
        hive.pendingSize = hive.renderedSize;
    } else {
        hive.Chunks();
        hive.ApplyLayout(hive.renderedLayout, hive.renderedSize);
    }
    hive.renderedLayout.clear();
}

// The rendered layout is the file's now.
void AdoptLayout(RegHive& hive) {
    hive.headerEnd = hive.renderedHeaderEnd;
    MakeRenderedChunks(hive);
    hive.fromFile = true;
    for (RegKeyNode* k : hive.touchedKeys) k->touched = false;
    hive.touchedKeys.clear();
    hive.removed.clear();
    hive.dirty = false;
}

}  // namespace

void AdoptWineRegistry(RegHive& hive, std::string text) {
    hive.JoinText();
    // Values not asked for yet still point into the old text.
    if (!hive.text.empty()) hive.retiredTexts.push_back(std::move(hive.text));
    hive.text = FileText(std::move(text));
    AdoptLayout(hive);
}

void AdoptWineRegistry(RegHive& hive, PieceText text) {
    // Its runs point into the current text, which stays until it is joined.
    hive.unjoined = std::move(text);
    AdoptLayout(hive);
}

}  // namespace velloran
