#pragma once
// Report-style list view: columns and rows (key, text, sub-items, tag, checked).
// Views observe row-level signals so that large lists need no full refresh.
#include <string>
#include <unordered_map>
#include <vector>

#include "common/controls/Control.hpp"

namespace velloran {

struct ListColumn {
    std::string text;
    int width = 0;  // pixels; -2 means "fit contents and header"
};

struct ListRow {
    std::string key;
    std::string text;
    std::vector<std::string> subItems;
    std::string tag;
    bool checked = false;
    bool selected = false;
};

class ListView : public Control {
public:
    using Control::Control;

    // Columns
    void AddColumn(std::string text, int width = 0);
    int ColumnCount() const { return static_cast<int>(columns_.size()); }
    const ListColumn& Column(int i) const { return columns_.at(static_cast<std::size_t>(i)); }
    // LVM_SETCOLUMNWIDTH: -2 asks the view to fit the column to contents and header.
    void SetColumnWidth(int i, int width);

    bool Checkboxes() const { return checkboxes_; }
    void SetCheckboxes(bool c) { Set(checkboxes_, c); }

    // Rows, numbered from 0 here; a key must be unique when given (error 35602).
    int Add(std::string key, std::string text, std::vector<std::string> subItems = {},
            std::string tag = {});
    int Count() const { return static_cast<int>(rows_.size()); }
    const ListRow& Row(int i) const { return rows_.at(static_cast<std::size_t>(i)); }
    int FindKey(const std::string& key) const;  // -1 when absent
    void SetChecked(int i, bool checked);
    void SetSubItem(int i, int sub, std::string text);
    void SetTag(int i, std::string tag);
    void Remove(int i);
    void Clear();
    // The row the user selected; -1 when none is.
    int SelectedIndex() const;
    void Select(int i);
    // Items kept at the same time with one reset, for bulk filling.
    void Reserve(std::size_t n) { rows_.reserve(n); }

    Signal<int, int> RowsInserted;  // first, count
    Signal<int> RowChanged;
    Signal<int> RowRemoved;
    Signal<> Reset;
    Signal<int, int> ColumnWidthRequested;  // column, width

private:
    void Reindex();
    std::vector<ListColumn> columns_;
    std::vector<ListRow> rows_;
    std::unordered_map<std::string, int> keys_;
    bool checkboxes_ = false;
};

struct TreeNode {
    std::string key;
    std::string parentKey;  // empty for a root node
    std::string text;
    std::string image;
    bool checked = false;
    bool expanded = false;
};

class TreeView : public Control {
public:
    using Control::Control;
    bool Checkboxes() const { return checkboxes_; }
    void SetCheckboxes(bool c) { Set(checkboxes_, c); }

    int Add(std::string parentKey, std::string key, std::string text, std::string image = {});
    int Count() const { return static_cast<int>(nodes_.size()); }
    const TreeNode& Node(int i) const { return nodes_.at(static_cast<std::size_t>(i)); }
    int FindKey(const std::string& key) const;
    void SetChecked(int i, bool checked);
    void SetExpanded(int i, bool expanded);
    void Clear();

    Signal<int> NodeAdded;
    Signal<int> NodeChanged;
    Signal<> Reset;

private:
    std::vector<TreeNode> nodes_;
    std::unordered_map<std::string, int> keys_;
    bool checkboxes_ = false;
};

}  // namespace velloran
