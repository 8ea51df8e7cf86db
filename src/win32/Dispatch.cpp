#include "win32/Dispatch.hpp"

#include <windows.h>

#include <exception>
#include <iostream>

#include "common/Host.hpp"

namespace velloran::win32 {

namespace {
bool g_ending = false;
int g_code = 0;
}  // namespace

bool Ending() { return g_ending; }
int EndCode() { return g_code; }

void BeginEnd(int code) {
    if (g_ending) return;
    g_ending = true;
    g_code = code;
    PostQuitMessage(code);
}

void ThrowIfEnding() {
    if (g_ending) throw ProgramEnd{g_code};
}

void ResetEnding() {
    g_ending = false;
    g_code = 0;
    MSG msg;
    while (PeekMessageW(&msg, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE)) {
    }
}

void Dispatch(const std::function<void()>& body) {
    if (g_ending) return;
    try {
        body();
    } catch (const ProgramEnd& end) {
        BeginEnd(end.code);
    } catch (const std::exception& e) {
        std::cerr << "velloran: unexpected error: " << e.what() << std::endl;
        BeginEnd(1);
    } catch (...) {
        std::cerr << "velloran: unexpected error of unknown type" << std::endl;
        BeginEnd(1);
    }
}

}  // namespace velloran::win32
