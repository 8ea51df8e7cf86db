#pragma once
// The Mork text databases of Netscape 6/7, the Mozilla Suite and early Firefox
// (history.dat, formhistory.dat). Mork only ever appends: a removed row or value
// stays in the file's dictionaries, rows and transactions. So the file is read into
// its final state (the tables and the rows they hold) and, after an edit, written
// anew from that state alone, the way Mork itself compacts a file.
#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace velloran {

// The text is no Mork file or is damaged; the message says where and what.
class MorkError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A cell's value: bytes, or a name of the column namespace (a table's kind).
struct MorkValue {
    std::string text;
    bool isName = false;
    bool operator==(const MorkValue&) const = default;
};

struct MorkCell {
    std::string column;
    MorkValue value;
    bool operator==(const MorkCell&) const = default;
};

// Rows are known by their scope (a name) and a number within it.
struct MorkRowId {
    std::string scope;
    std::uint64_t id = 0;
    auto operator<=>(const MorkRowId&) const = default;
};

struct MorkTable {
    MorkRowId id;                      // the table's number; its scope is its rows' scope
    std::vector<MorkCell> meta;        // the kind ("k") and other attributes
    std::optional<MorkRowId> metaRow;  // the table's own row of attributes
    std::vector<MorkRowId> rows;       // in order
};

class MorkStore {
public:
    // Largest file read; a history of this size is far beyond any real one.
    static constexpr std::size_t kMaxBytes = 256u << 20;

    // Applies every committed transaction; throws MorkError on damaged text. An
    // empty text is an empty store.
    static MorkStore Parse(std::string_view text);
    // The final state as a new file: fresh dictionaries holding only what the
    // tables' rows use, no transactions, no cuts.
    std::string Write() const;

    const std::vector<MorkTable>& Tables() const { return tables_; }
    // The cells of a row, or nullptr for a row the file does not hold.
    const std::vector<MorkCell>* Row(const MorkRowId& row) const;
    // The value of `column` in a row's cells; nullopt without such a cell.
    static std::optional<std::string> Value(const std::vector<MorkCell>& cells,
                                            std::string_view column);

    // Takes every row for which `drop` is true out of every table; returns how many
    // distinct rows went.
    std::size_t RemoveRows(const std::function<bool(const std::vector<MorkCell>&)>& drop);

private:
    friend class MorkParser;
    std::vector<MorkTable> tables_;
    std::map<MorkRowId, std::vector<MorkCell>> rows_;
};

}  // namespace velloran
