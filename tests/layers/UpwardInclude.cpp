// Compiled on purpose with the include path of the cleaning layer: the include of
// a window must fail, or the build no longer keeps the layers apart.
#include "app/FrmMain.hpp"
#include "cleaning/ClsClean.hpp"
