#include "common/controls/ListView.hpp"

#include "common/VbError.hpp"

namespace velloran {

namespace {

void CheckIndex(int i, std::size_t n) {
    if (i < 0 || static_cast<std::size_t>(i) >= n) throw VbError::IndexOutOfBounds();
}
}  // namespace

void ListView::AddColumn(std::string text, int width) {
    columns_.push_back({std::move(text), width});
    Changed();
}

void ListView::SetColumnWidth(int i, int width) {
    if (i < 0 || i >= ColumnCount()) return;  // the message is ignored for a missing column
    columns_[static_cast<std::size_t>(i)].width = width;
    ColumnWidthRequested(i, width);
}

int ListView::SelectedIndex() const {
    for (int i = 0; i < Count(); ++i)
        if (rows_[static_cast<std::size_t>(i)].selected) return i;
    return -1;
}

void ListView::Select(int i) {
    for (int r = 0; r < Count(); ++r) {
        bool& sel = rows_[static_cast<std::size_t>(r)].selected;
        if (sel != (r == i)) {
            sel = r == i;
            RowChanged(r);
        }
    }
}

int ListView::Add(std::string key, std::string text, std::vector<std::string> subItems,
                  std::string tag) {
    if (!key.empty()) {
        if (keys_.count(key)) throw VbError::KeyNotUnique();
        keys_.emplace(key, Count());
    }
    rows_.push_back({std::move(key), std::move(text), std::move(subItems), std::move(tag)});
    const int at = Count() - 1;
    RowsInserted(at, 1);
    return at;
}

int ListView::FindKey(const std::string& key) const {
    auto it = keys_.find(key);
    return it == keys_.end() ? -1 : it->second;
}

void ListView::SetChecked(int i, bool checked) {
    CheckIndex(i, rows_.size());
    auto& row = rows_[static_cast<std::size_t>(i)];
    if (row.checked == checked) return;
    row.checked = checked;
    RowChanged(i);
}

void ListView::SetSubItem(int i, int sub, std::string text) {
    CheckIndex(i, rows_.size());
    auto& subs = rows_[static_cast<std::size_t>(i)].subItems;
    if (sub < 1) throw VbError::IndexOutOfBounds();
    if (subs.size() < static_cast<std::size_t>(sub)) subs.resize(static_cast<std::size_t>(sub));
    subs[static_cast<std::size_t>(sub - 1)] = std::move(text);
    RowChanged(i);
}

void ListView::SetTag(int i, std::string tag) {
    CheckIndex(i, rows_.size());
    rows_[static_cast<std::size_t>(i)].tag = std::move(tag);
}

void ListView::Remove(int i) {
    CheckIndex(i, rows_.size());
    rows_.erase(rows_.begin() + i);
    Reindex();
    RowRemoved(i);
}

void ListView::Clear() {
    rows_.clear();
    keys_.clear();
    Reset();
}

void ListView::Reindex() {
    keys_.clear();
    for (int i = 0; i < Count(); ++i)
        if (!rows_[static_cast<std::size_t>(i)].key.empty())
            keys_.emplace(rows_[static_cast<std::size_t>(i)].key, i);
}

int TreeView::Add(std::string parentKey, std::string key, std::string text, std::string image) {
    if (!parentKey.empty() && !keys_.count(parentKey)) throw VbError::ElementNotFound();
    if (!key.empty()) {
        if (keys_.count(key)) throw VbError::KeyNotUnique();
        keys_.emplace(key, Count());
    }
    nodes_.push_back({std::move(key), std::move(parentKey), std::move(text), std::move(image)});
    NodeAdded(Count() - 1);
    return Count() - 1;
}

int TreeView::FindKey(const std::string& key) const {
    auto it = keys_.find(key);
    return it == keys_.end() ? -1 : it->second;
}

void TreeView::SetChecked(int i, bool checked) {
    CheckIndex(i, nodes_.size());
    auto& n = nodes_[static_cast<std::size_t>(i)];
    if (n.checked == checked) return;
    n.checked = checked;
    NodeChanged(i);
}

void TreeView::SetExpanded(int i, bool expanded) {
    CheckIndex(i, nodes_.size());
    auto& n = nodes_[static_cast<std::size_t>(i)];
    if (n.expanded == expanded) return;
    n.expanded = expanded;
    NodeChanged(i);
}

void TreeView::Clear() {
    nodes_.clear();
    keys_.clear();
    Reset();
}

}  // namespace velloran
