#include "common/controls/ModListView.hpp"

#include "common/controls/ListView.hpp"

namespace velloran {

void FitColumns(ListView& lv) {
    for (int i = 0; i < lv.ColumnCount(); ++i) lv.SetColumnWidth(i, LVSCW_AUTOSIZE_USEHEADER);
}

void FitLastColumn(ListView& lv) {
    lv.SetColumnWidth(lv.ColumnCount() - 1, LVSCW_AUTOSIZE_USEHEADER);
}

}  // namespace velloran
