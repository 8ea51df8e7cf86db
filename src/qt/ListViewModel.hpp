#pragma once
// A Qt item model over a list view's rows. It follows the control's row signals
// instead of copying rows: appended rows are announced to the view in batches, so
// a scan that lists 100,000 files costs one insertion per event-loop turn, not one
// per file, and column fitting requested per row is done once per batch.
#include <QAbstractTableModel>
#include <QTimer>
#include <set>

#include "common/controls/ListView.hpp"
#include "qt/Mirror.hpp"

namespace velloran::gui {

// Connects any callable to a control signal for the life of `b`.
template <class... Args, class F>
void Connect(Bindings& b, Signal<Args...>& signal, F&& slot) {
    b.On(signal, std::function<void(Args...)>(std::forward<F>(slot)));
}

class ListViewModel : public QAbstractTableModel {
    Q_OBJECT
public:
    ListViewModel(ListView& list, QObject* parent = nullptr);
    ~ListViewModel() override;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // Announces the rows appended since the last batch, now.
    void Flush();
    // Rows the control holds that the view has not been told about yet.
    int PendingRows() const { return pending_; }

signals:
    // The control asked for a column to fit its contents and header.
    void FitColumnRequested(int column);

private:
    void ScheduleFlush();
    ListView& list_;
    Bindings bindings_;
    int committed_ = 0;  // rows the view knows
    int pending_ = 0;    // appended rows not yet announced
    int dirtyFirst_ = -1, dirtyLast_ = -1;
    std::set<int> fitColumns_;
    QTimer flushTimer_;
};

}  // namespace velloran::gui
