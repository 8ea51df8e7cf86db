// The same include path with only headers of the layer and those below: it must
// compile, or the failure of its twin proves nothing.
#include "cleaning/ClsClean.hpp"
#include "common/Vb.hpp"
#include "traces/windows/ClsWindows.hpp"
