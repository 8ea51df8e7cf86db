#include "qt/ListViewModel.hpp"

#include "qt/Dispatch.hpp"

namespace velloran::gui {

ListViewModel::ListViewModel(ListView& list, QObject* parent)
    : QAbstractTableModel(parent), list_(list), committed_(list.Count()) {
    flushTimer_.setSingleShot(true);
    flushTimer_.setInterval(0);
    connect(&flushTimer_, &QTimer::timeout, this, &ListViewModel::Flush);

    Connect(bindings_, list_.RowsInserted, [this](int first, int count) {
        if (first != committed_ + pending_) {
            // Not an append: the view must see every row before this one first.
            Flush();
            beginInsertRows({}, first, first + count - 1);
            committed_ += count;
            endInsertRows();
            return;
        }
        pending_ += count;
        ScheduleFlush();
    });
    Connect(bindings_, list_.RowChanged, [this](int row) {
        if (row >= committed_) return;  // shown with its current data when announced
        dirtyFirst_ = dirtyFirst_ < 0 ? row : std::min(dirtyFirst_, row);
        dirtyLast_ = std::max(dirtyLast_, row);
        ScheduleFlush();
    });
    Connect(bindings_, list_.RowRemoved, [this](int row) {
        if (row >= committed_) {
            --pending_;
            return;
        }
        // Changes marked below the removed row move up with their rows.
        if (dirtyFirst_ >= 0) {
            if (dirtyFirst_ > row) --dirtyFirst_;
            if (dirtyLast_ >= row) dirtyLast_ = std::max(dirtyFirst_, dirtyLast_ - 1);
        }
        beginRemoveRows({}, row, row);
        --committed_;
        endRemoveRows();
    });
    Connect(bindings_, list_.Reset, [this] {
        beginResetModel();
        committed_ = list_.Count();
        pending_ = 0;
        dirtyFirst_ = dirtyLast_ = -1;
        endResetModel();
    });
    Connect(bindings_, list_.ColumnWidthRequested, [this](int column, int) {
        fitColumns_.insert(column);
        ScheduleFlush();
    });
    Connect(bindings_, list_.Changed, [this] {
        // Columns or check boxes changed: the header and flags are read again.
        emit headerDataChanged(Qt::Horizontal, 0, std::max(0, columnCount() - 1));
    });
}

ListViewModel::~ListViewModel() = default;

void ListViewModel::ScheduleFlush() {
    if (!flushTimer_.isActive()) flushTimer_.start();
}

void ListViewModel::Flush() {
    flushTimer_.stop();
    if (pending_ > 0) {
        beginInsertRows({}, committed_, committed_ + pending_ - 1);
        committed_ += pending_;
        pending_ = 0;
        endInsertRows();
    }
    if (dirtyFirst_ >= 0) {
        const int last = std::min(dirtyLast_, committed_ - 1);
        if (dirtyFirst_ <= last)
            emit dataChanged(index(dirtyFirst_, 0), index(last, std::max(0, columnCount() - 1)));
        dirtyFirst_ = dirtyLast_ = -1;
    }
    const std::set<int> columns = std::move(fitColumns_);
    fitColumns_.clear();
    for (int c : columns) emit FitColumnRequested(c);
}

int ListViewModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : committed_;
}

int ListViewModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : list_.ColumnCount();
}

QVariant ListViewModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= list_.Count()) return {};
    const ListRow& row = list_.Row(index.row());
    if (role == Qt::DisplayRole || role == Qt::ToolTipRole) {
        if (index.column() == 0) return ToQt(row.text);
        const auto sub = static_cast<std::size_t>(index.column() - 1);
        return sub < row.subItems.size() ? ToQt(row.subItems[sub]) : QString();
    }
    if (role == Qt::CheckStateRole && index.column() == 0 && list_.Checkboxes())
        return row.checked ? Qt::Checked : Qt::Unchecked;
    return {};
}

bool ListViewModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (role != Qt::CheckStateRole || index.column() != 0 || index.row() >= list_.Count())
        return false;
    const bool checked = value.toInt() == Qt::Checked;
    const int row = index.row();
    // The control decides; its RowChanged repaints the row.
    Dispatch([this, row, checked] {
        if (row < list_.Count()) list_.SetChecked(row, checked);
    });
    return true;
}

Qt::ItemFlags ListViewModel::flags(const QModelIndex& index) const {
    Qt::ItemFlags f = QAbstractTableModel::flags(index);
    if (index.isValid() && index.column() == 0 && list_.Checkboxes()) f |= Qt::ItemIsUserCheckable;
    return f;
}

QVariant ListViewModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole && section < list_.ColumnCount())
        return ToQt(list_.Column(section).text);
    return QAbstractTableModel::headerData(section, orientation, role);
}

}  // namespace velloran::gui
