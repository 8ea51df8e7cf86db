// Writing a Mork store as a new, compact file in the layout the browsers write:
// the magic line, the column names, the values, then each table with one row per
// line. Only what the tables hold is written, so nothing removed survives.
#include <cstdio>
#include <set>

#include "cleaning/browsers/MorkFile.hpp"

namespace velloran {

namespace {

std::string Hex(std::uint64_t id) {
    char buffer[24];
    std::snprintf(buffer, sizeof buffer, "%llX", static_cast<unsigned long long>(id));
    return buffer;
}

// '\' escapes the bytes that end or escape a value; other bytes outside printable
// ASCII go as "$XX", so the file stays plain text whatever the values hold.
std::string Escape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char ch : text) {
        const auto c = static_cast<unsigned char>(ch);
        if (c == '\\' || c == ')' || c == '$') {
            out += '\\';
            out += ch;
        } else if (c < 0x20 || c >= 0x7F) {
            char buffer[4];
            std::snprintf(buffer, sizeof buffer, "$%02X", c);
            out += buffer;
        } else {
            out += ch;
        }
    }
    return out;
}

bool IsLetter(const std::string& name) {
    return name.size() == 1 &&
           ((name[0] >= 'a' && name[0] <= 'z') || (name[0] >= 'A' && name[0] <= 'Z'));
}

// Texts numbered from 0x80 in the order of their first use.
class Dictionary {
public:
    std::uint64_t Id(const std::string& text) {
        auto [it, added] = ids_.emplace(text, 0x80 + order_.size());
        if (added) order_.push_back(&it->first);
        return it->second;
    }
    bool Empty() const { return order_.empty(); }
    // One entry per line after `head`.
    std::string Text(const std::string& head) const {
        std::string out = head;
        for (std::size_t i = 0; i < order_.size(); ++i)
            out += (i ? "\n  (" : "(") + Hex(0x80 + i) + "=" + Escape(*order_[i]) + ")";
        return out + ">\n";
    }

private:
    std::map<std::string, std::uint64_t> ids_;
    std::vector<const std::string*> order_;
};

class MorkWriter {
public:
    explicit MorkWriter(const MorkStore& store) : store_(store) {}

    std::string Text() {
        std::string body;
        for (const MorkTable& table : store_.Tables()) body += TableText(table);
        std::string out = "// <!-- <mdb:mork:z v=\"1.4\"/> -->\n";
        if (!names_.Empty()) out += names_.Text("< <(a=c)> // (f=iso-8859-1)\n  ") + "\n";
        if (!atoms_.Empty()) out += atoms_.Text("<") + "\n";
        return out + body;
    }

private:
    // Single letters stand for themselves; other names go through the dictionary.
    std::string NameRef(const std::string& name) {
        return IsLetter(name) ? name : "^" + Hex(names_.Id(name));
    }

    std::string ValueRef(const MorkValue& value) {
        if (value.isName)
            return "^" +
                   Hex(IsLetter(value.text) ? static_cast<unsigned char>(value.text[0])
                                            : names_.Id(value.text)) +
                   ":c";
        if (value.text.empty()) return "=";
        return "^" + Hex(atoms_.Id(value.text));
    }

    std::string CellsText(const std::vector<MorkCell>& cells, bool literal) {
        std::string out;
        for (const MorkCell& cell : cells)
            out += "(" + NameRef(cell.column) +
                   (literal && !cell.value.isName ? "=" + Escape(cell.value.text)
                                                  : ValueRef(cell.value)) +
                   ")";
        return out;
    }

    std::string IdText(const MorkRowId& id, const std::string& tableScope) {
        return Hex(id.id) + (id.scope == tableScope ? "" : ":" + NameRef(id.scope));
    }

    // A row held by several tables is written whole once, then named by its id.
    std::string RowText(const MorkRowId& id, const std::string& tableScope) {
        if (!written_.insert(id).second) return IdText(id, tableScope);
        const std::vector<MorkCell>* cells = store_.Row(id);
        return "[" + IdText(id, tableScope) + (cells ? CellsText(*cells, false) : "") + "]";
    }

    std::string TableText(const MorkTable& table) {
        const std::string& scope = table.id.scope;
        std::string out = "{" + Hex(table.id.id) + ":" + NameRef(scope);
        if (!table.meta.empty() || table.metaRow) {
            out += " {" + CellsText(table.meta, true);
            if (table.metaRow) {
                const std::vector<MorkCell>* cells = store_.Row(*table.metaRow);
                out += "[" + IdText(*table.metaRow, scope) +
                       (cells ? CellsText(*cells, false) : "") + "]";
            }
            out += "}";
        }
        for (const MorkRowId& row : table.rows) out += "\n  " + RowText(row, scope);
        return out + "}\n";
    }

    const MorkStore& store_;
    Dictionary names_, atoms_;
    std::set<MorkRowId> written_;
};

}  // namespace

std::string MorkStore::Write() const { return MorkWriter(*this).Text(); }

}  // namespace velloran
