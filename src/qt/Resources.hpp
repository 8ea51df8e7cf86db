#pragma once

namespace velloran::gui {
// The bundled icons live in a static library; this keeps them linked in.
void InitResources();
}  // namespace velloran::gui
