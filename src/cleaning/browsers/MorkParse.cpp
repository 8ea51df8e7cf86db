// Reading a Mork file into its final state: dictionaries, tables, rows and the
// transactions that change them, applied in file order. Anything the grammar does
// not allow is an error, so that a damaged file is left alone rather than rewritten
// from a guess.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <set>

#include "cleaning/browsers/MorkFile.hpp"

namespace velloran {

namespace {

constexpr std::string_view kMagic = "// <!-- <mdb:mork:z v=\"1.4\"/> -->";
constexpr int kEnd = -1;
constexpr int kMaxHexDigits = 16;  // a 64-bit id

bool IsHex(int c) { return c >= 0 && std::isxdigit(c); }
int HexValue(int c) { return std::isdigit(c) ? c - '0' : std::toupper(c) - 'A' + 10; }
bool IsNameStart(int c) { return c >= 0 && (std::isalpha(c) || c == '_'); }
bool IsNameMore(int c) { return c >= 0 && (std::isalnum(c) || c == '_' || c == ':'); }
bool IsWhite(int c) { return c == ' ' || c == '\t' || c == '\f' || c == '\v'; }
bool IsLineBreak(int c) { return c == '\r' || c == '\n'; }

std::string Shown(int c) {
    if (c == kEnd) return "the end of the file";
    if (std::isprint(c)) return std::string("'") + static_cast<char>(c) + "'";
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, "byte %02X", c);
    return buffer;
}

std::string HexText(std::uint64_t id) {
    char buffer[24];
    std::snprintf(buffer, sizeof buffer, "%llX", static_cast<unsigned long long>(id));
    return buffer;
}

void SetCell(std::vector<MorkCell>& cells, MorkCell cell) {
    for (MorkCell& c : cells)
        if (c.column == cell.column) {
            c.value = std::move(cell.value);
            return;
        }
    cells.push_back(std::move(cell));
}

void CutCell(std::vector<MorkCell>& cells, const std::string& column) {
    std::erase_if(cells, [&](const MorkCell& c) { return c.column == column; });
}

}  // namespace

class MorkParser {
public:
    MorkParser(std::string_view text, MorkStore& store)
        : s_(text), end_(text.size()), store_(store) {}

    void Run() {
        if (s_.empty()) return;
        if (!s_.starts_with(kMagic)) throw MorkError("it is not a Mork 1.4 file");
        Content(false);  // the first line is a comment
        for (auto& [table, rows] : members_) store_.tables_[table].rows = rows.Live();
    }

private:
    [[noreturn]] void Fail(const std::string& what) const {
        const auto line = 1 + std::count(s_.begin(), s_.begin() + static_cast<long>(pos_), '\n');
        throw MorkError("damaged at line " + std::to_string(line) + ": " + what);
    }
    [[noreturn]] void Unexpected(int c, const char* where) const { Fail(Shown(c) + " " + where); }

    int Peek() const { return pos_ < end_ ? static_cast<unsigned char>(s_[pos_]) : kEnd; }
    int Get() { return pos_ < end_ ? static_cast<unsigned char>(s_[pos_++]) : kEnd; }
    void Back(int c) {
        if (c != kEnd) --pos_;
    }

    void EatLineBreak(int c) {
        const int next = Peek();
        if (IsLineBreak(next) && next != c) ++pos_;  // CR LF or LF CR
    }

    void Comment() {
        const int c = Get();
        if (c == '/') {
            while (Peek() != kEnd && !IsLineBreak(Peek())) ++pos_;
            return;
        }
        if (c != '*') Unexpected(c, "after '/'");
        for (int depth = 1; depth > 0;) {  // C comments nest in Mork
            const int d = Get();
            if (d == kEnd) Fail("a comment does not end");
            if ((d == '*' || d == '/') && Peek() == (d == '*' ? '/' : '*')) {
                ++pos_;
                depth += d == '*' ? -1 : 1;
            }
        }
    }

    // The next byte that is not white space, a comment or a line continuation.
    int Next() {
        for (;;) {
            const int c = Get();
            if (c == '/') {
                Comment();
            } else if (IsLineBreak(c)) {
                EatLineBreak(c);
            } else if (c == '\\') {
                const int d = Get();
                if (!IsLineBreak(d)) Unexpected(d, "after '\\' outside a value");
                EatLineBreak(d);
            } else if (!IsWhite(c)) {
                return c;
            }
        }
    }

    void ExpectText(std::string_view text) {
        for (char want : text)
            if (Get() != static_cast<unsigned char>(want))
                Fail("expected \"" + std::string(text) + "\"");
    }

    std::uint64_t Hex() {
        int c = Next();
        if (!IsHex(c)) Unexpected(c, "where a hex number belongs");
        std::uint64_t value = static_cast<std::uint64_t>(HexValue(c));
        for (int digits = 1; IsHex(Peek()); ++digits) {
            if (digits == kMaxHexDigits) Fail("a number is too long");
            value = value * 16 + static_cast<std::uint64_t>(HexValue(Get()));
        }
        return value;
    }

    std::string NameText(int first) {
        std::string name(1, static_cast<char>(first));
        while (IsNameMore(Peek())) name += static_cast<char>(Get());
        return name;
    }

    // A token of the column namespace: below 0x80 the byte itself names it.
    std::string Name(std::uint64_t id) const {
        if (id < 0x80) return std::string(1, static_cast<char>(id));
        auto it = names_.find(id);
        if (it == names_.end()) Fail("the name ^" + HexText(id) + " is not defined");
        return it->second;
    }

    std::string Scope() {
        const int c = Get();
        if (c == '^') return Name(Hex());
        if (IsNameStart(c)) return NameText(c);
        Unexpected(c, "after ':'");
    }

    MorkRowId Mid(const std::string& defaultScope) {
        MorkRowId mid{defaultScope, Hex()};
        if (Peek() == ':') {
            ++pos_;
            mid.scope = Scope();
        }
        return mid;
    }

    // A value up to its ')': '\' escapes the next byte or continues the line, "$XX"
    // is a byte in hex.
    std::string Literal() {
        std::string out;
        for (;;) {
            int c = Get();
            if (c == kEnd) Fail("a value does not end");
            if (c == ')') return out;
            if (c == '\\') {
                c = Get();
                if (c == kEnd) Fail("a value does not end");
                if (IsLineBreak(c)) {
                    EatLineBreak(c);
                    continue;
                }
            } else if (c == '$') {
                const int high = Get(), low = Get();
                if (!IsHex(high) || !IsHex(low)) Fail("a '$' escape without two hex digits");
                c = HexValue(high) * 16 + HexValue(low);
            }
            out += static_cast<char>(c);
        }
    }

    MorkValue Reference() {
        const std::uint64_t id = Hex();
        std::string scope = "a";
        if (Peek() == ':') {
            ++pos_;
            scope = Scope();
        }
        if (scope == "c") return {Name(id), true};
        if (scope != "a") Fail("values of the scope \"" + scope + "\" are not supported");
        auto it = atoms_.find(id);
        if (it == atoms_.end()) Fail("the value ^" + HexText(id) + " is not defined");
        return {it->second, false};
    }

    // After '(': a column, then "=literal", "^id" or nothing (a cut names no value).
    MorkCell Cell() {
        MorkCell cell;
        int c = Get();
        if (c == '^') {
            cell.column = Name(Hex());
            if (Peek() == ':') {  // a column's scope is always "c"
                ++pos_;
                Scope();
            }
        } else if (IsNameStart(c)) {
            cell.column = NameText(c);
        } else {
            Unexpected(c, "at the start of a cell");
        }
        c = Next();
        if (c == '=') {
            cell.value.text = Literal();
        } else if (c == '^') {
            cell.value = Reference();
            if ((c = Next()) != ')') Unexpected(c, "after a cell's value");
        } else if (c != ')') {
            Unexpected(c, "in a cell");
        }
        return cell;
    }

    // Cells between brackets that describe a dictionary or a row; not kept.
    void SkipMeta(int close) {
        for (int c = Next(); c != close; c = Next())
            if (c == '(')
                Cell();
            else
                Unexpected(c, "in a meta block");
    }

    void Alias(std::map<std::uint64_t, std::string>& into) {
        const std::uint64_t id = Hex();
        int c = Next();
        if (c == '<') {  // the value's own form (character set): the bytes stay as they are
            SkipMeta('>');
            c = Next();
        }
        if (c != '=') Unexpected(c, "in a dictionary entry");
        into[id] = Literal();
    }

    // "<(a=c)>" makes the entries that follow names of the column namespace.
    bool DictMeta() {
        bool names = false;
        for (int c = Next(); c != '>'; c = Next()) {
            if (c != '(') Unexpected(c, "in a dictionary's meta block");
            const MorkCell cell = Cell();
            if (cell.column != "a") continue;  // the form ("f") changes no byte
            if (cell.value.text != "a" && cell.value.text != "c")
                Fail("dictionaries of the scope \"" + cell.value.text + "\" are not supported");
            names = cell.value.text == "c";
        }
        return names;
    }

    void Dict() {
        bool names = false;
        for (int c = Next(); c != '>'; c = Next()) {
            if (c == '<')
                names = DictMeta();
            else if (c == '(')
                Alias(names ? names_ : atoms_);
            else
                Unexpected(c, "in a dictionary");
        }
    }

    // An optional "!hex" after a row gives its position; the order is kept anyway.
    void RowPosition() {
        const int c = Next();
        if (c == '!')
            Hex();
        else
            Back(c);
    }

    // After '[': "-" cuts every cell first; "-(" cuts one cell.
    MorkRowId Row(const std::string& defaultScope) {
        int c = Next();
        const bool cutAll = c == '-';
        if (!cutAll) Back(c);
        const MorkRowId id = Mid(defaultScope);
        std::vector<MorkCell>& cells = store_.rows_[id];
        if (cutAll) cells.clear();
        bool cutNext = false;
        for (c = Next(); c != ']'; c = Next()) {
            if (c == '(') {
                MorkCell cell = Cell();
                if (cutNext)
                    CutCell(cells, cell.column);
                else
                    SetCell(cells, std::move(cell));
                cutNext = false;
            } else if (c == '[') {
                SkipMeta(']');
            } else if (c == '-') {
                cutNext = true;
            } else {
                Unexpected(c, "in a row");
            }
        }
        RowPosition();
        return id;
    }

    // A row given by its id alone; its first character was already read.
    MorkRowId RowReference(int first, const std::string& defaultScope) {
        Back(first);
        const MorkRowId id = Mid(defaultScope);
        store_.rows_[id];  // a row named before its cells exists, empty
        RowPosition();
        return id;
    }

    void Place(std::size_t table, const MorkRowId& row, bool cut) {
        if (cut)
            members_[table].Cut(row);
        else
            members_[table].Add(row);
    }

    void TableMeta(std::size_t table) {
        const std::string scope = store_.tables_[table].id.scope;
        for (int c = Next(); c != '}'; c = Next()) {
            if (c == '(')
                SetCell(store_.tables_[table].meta, Cell());
            else if (c == '[')
                store_.tables_[table].metaRow = Row(scope);
            else if (IsHex(c))
                store_.tables_[table].metaRow = RowReference(c, scope);
            else
                Unexpected(c, "in a table's meta block");
        }
    }

    std::size_t TableFor(const MorkRowId& id) {
        auto& tables = store_.tables_;
        for (std::size_t i = 0; i < tables.size(); ++i)
            if (tables[i].id == id) return i;
        tables.push_back(MorkTable{id, {}, {}, {}});
        return tables.size() - 1;
    }

    // After '{': "-" empties the table first; "-" before a row takes it out.
    void Table() {
        int c = Next();
        const bool cutAll = c == '-';
        if (!cutAll) Back(c);
        const std::size_t table = TableFor(Mid("r"));
        if (cutAll) members_[table] = {};
        const std::string scope = store_.tables_[table].id.scope;
        bool cutNext = false;
        for (c = Next(); c != '}'; c = Next()) {
            if (c == '[' || IsHex(c)) {
                Place(table, c == '[' ? Row(scope) : RowReference(c, scope), cutNext);
                cutNext = false;
            } else if (c == '{') {
                TableMeta(table);
            } else if (c == '-') {
                cutNext = true;
            } else {
                Unexpected(c, "in a table");
            }
        }
    }

    // After '@': "$${id{@" ... "@$$}id}@". Only a committed transaction counts; one
    // that was aborted or never ended (the browser stopped while writing) is ignored,
    // as the browser ignores it.
    void Group() {
        ExpectText("$${");
        const std::uint64_t id = Hex();
        ExpectText("{@");
        const std::size_t start = pos_;
        const std::size_t close = s_.substr(0, end_).find("@$$}", start);
        if (close == std::string_view::npos) {
            pos_ = end_;
            return;
        }
        pos_ = close + 4;
        if (s_.substr(pos_, end_ - pos_).starts_with("~~}@")) {
            pos_ += 4;
            return;
        }
        if (const std::uint64_t endId = Hex(); endId != id)
            Fail("transaction " + HexText(id) + " ends as " + HexText(endId));
        ExpectText("}@");
        const std::size_t after = pos_, outerEnd = end_;
        pos_ = start;
        end_ = close;
        Content(true);
        pos_ = after;
        end_ = outerEnd;
    }

    void Content(bool inGroup) {
        for (int c = Next(); c != kEnd; c = Next()) {
            if (c == '<')
                Dict();
            else if (c == '{')
                Table();
            else if (c == '[')
                Row("r");
            else if (c == '@' && !inGroup)
                Group();
            else
                Unexpected(c, inGroup ? "inside a transaction" : "between the file's parts");
        }
    }

    std::string_view s_;
    std::size_t pos_ = 0;
    std::size_t end_;  // the end of the file, or of the transaction being read
    MorkStore& store_;
    std::map<std::uint64_t, std::string> names_;  // the column namespace ("c")
    std::map<std::uint64_t, std::string> atoms_;  // the values ("a")
    // The rows of each table. A cut only marks its row, so that expiring thousands
    // of rows in one transaction stays linear; the order is made at the end.
    struct TableRows {
        std::vector<MorkRowId> order;
        std::vector<bool> live;
        std::map<MorkRowId, std::size_t> at;  // where a row of the table is in `order`

        void Add(const MorkRowId& row) {
            if (!at.emplace(row, order.size()).second) return;
            order.push_back(row);
            live.push_back(true);
        }
        void Cut(const MorkRowId& row) {
            auto it = at.find(row);
            if (it == at.end()) return;
            live[it->second] = false;
            at.erase(it);
        }
        std::vector<MorkRowId> Live() const {
            std::vector<MorkRowId> rows;
            for (std::size_t i = 0; i < order.size(); ++i)
                if (live[i]) rows.push_back(order[i]);
            return rows;
        }
    };
    std::map<std::size_t, TableRows> members_;
};

MorkStore MorkStore::Parse(std::string_view text) {
    if (text.size() > kMaxBytes) throw MorkError("the file is too large to be a browser's");
    MorkStore store;
    MorkParser(text, store).Run();
    return store;
}

const std::vector<MorkCell>* MorkStore::Row(const MorkRowId& row) const {
    auto it = rows_.find(row);
    return it == rows_.end() ? nullptr : &it->second;
}

std::optional<std::string> MorkStore::Value(const std::vector<MorkCell>& cells,
                                            std::string_view column) {
    for (const MorkCell& c : cells)
        if (c.column == column) return c.value.text;
    return std::nullopt;
}

std::size_t MorkStore::RemoveRows(const std::function<bool(const std::vector<MorkCell>&)>& drop) {
    std::set<MorkRowId> gone;
    for (MorkTable& table : tables_)
        std::erase_if(table.rows, [&](const MorkRowId& id) {
            if (gone.count(id)) return true;
            auto it = rows_.find(id);
            if (it == rows_.end() || !drop(it->second)) return false;
            gone.insert(id);
            return true;
        });
    for (const MorkRowId& id : gone) rows_.erase(id);
    return gone.size();
}

}  // namespace velloran
