#include "qt/Resources.hpp"

#include <QtGlobal>

static void InitVelloranResources() { Q_INIT_RESOURCE(velloran); }

namespace velloran::gui {
void InitResources() { InitVelloranResources(); }
}  // namespace velloran::gui
