#pragma once
// Column fitting for report-style list views: each column as wide as the larger
// of its contents and its header.
namespace velloran {

class ListView;

inline constexpr int LVSCW_AUTOSIZE_USEHEADER = -2;

void FitColumns(ListView& lv);
void FitLastColumn(ListView& lv);

}  // namespace velloran
