#include "win32/Gui.hpp"

#include <algorithm>
#include <cmath>

namespace velloran::win32 {

namespace {

template <class F>
F UserCall(const char* name) {
    return reinterpret_cast<F>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"user32.dll"), name)));
}

}  // namespace

std::wstring ButtonText(const std::string& caption) {
    std::wstring out;
    for (wchar_t c : Wide(caption)) {
        out += c;
        if (c == L'&') out += L'&';
    }
    return out;
}

UINT DpiOf(HWND window) {
    // Windows 10's call where it exists; the system's DPI before it.
    using GetDpiForWindowFn = UINT(WINAPI*)(HWND);
    static const auto forWindow = UserCall<GetDpiForWindowFn>("GetDpiForWindow");
    if (forWindow && window) {
        if (UINT dpi = forWindow(window)) return dpi;
    }
    HDC screen = GetDC(nullptr);
    const int dpi = GetDeviceCaps(screen, LOGPIXELSY);
    ReleaseDC(nullptr, screen);
    return dpi > 0 ? static_cast<UINT>(dpi) : 96;
}

void EnablePerMonitorDpi() {
    using SetContextFn = BOOL(WINAPI*)(HANDLE);
    // DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2; refused when the manifest set it.
    if (const auto set = UserCall<SetContextFn>("SetProcessDpiAwarenessContext"))
        set(reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-4)));
}

HFONT MessageFont(UINT dpi, int weight, int percent) {
    NONCLIENTMETRICSW metrics{};
    metrics.cbSize = sizeof metrics;
    using ForDpiFn = BOOL(WINAPI*)(UINT, UINT, PVOID, UINT, UINT);
    static const auto forDpi = UserCall<ForDpiFn>("SystemParametersInfoForDpi");
    LOGFONTW font{};
    if (forDpi && forDpi(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0, dpi)) {
        font = metrics.lfMessageFont;
    } else if (SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0)) {
        font = metrics.lfMessageFont;
        font.lfHeight =
            MulDiv(font.lfHeight, static_cast<int>(dpi), static_cast<int>(DpiOf(nullptr)));
    } else {
        font.lfHeight = -MulDiv(8, static_cast<int>(dpi), 72);
        wcscpy(font.lfFaceName, L"Tahoma");
    }
    font.lfHeight = font.lfHeight * percent / 100;
    font.lfWeight = weight;
    return CreateFontIndirectW(&font);
}

namespace {

// One box of `size` pixels at column `slot` of a top-down BGRA image `width` wide.
void DrawBox(std::uint32_t* pixels, int width, int size, int slot, UINT state) {
    const std::uint32_t border = 0xFF1C5180, face = 0xFFFFFFFF, grey = 0xFFD4D0C8,
                        mark = state == kStateGreyed ? 0xFF808080 : 0xFF000000;
    const int inset = std::max(1, size / 8), box = size - 2 * inset;
    auto put = [&](int x, int y, std::uint32_t c) {
        if (x >= 0 && y >= 0 && x < size && y < size) pixels[y * width + slot * size + x] = c;
    };
    for (int y = 0; y < box; ++y)
        for (int x = 0; x < box; ++x) {
            const bool edge = x == 0 || y == 0 || x == box - 1 || y == box - 1;
            put(inset + x, inset + y, edge ? border : state == kStateGreyed ? grey : face);
        }
    if (state == kStateClear) return;
    // A tick of two strokes, as thick as the box is large.
    const int thick = std::max(2, box / 6);
    const double x0 = inset + box * 0.22, y0 = inset + box * 0.50, x1 = inset + box * 0.42,
                 y1 = inset + box * 0.70, x2 = inset + box * 0.78, y2 = inset + box * 0.28;
    auto stroke = [&](double ax, double ay, double bx, double by) {
        const int steps = box * 4;
        for (int i = 0; i <= steps; ++i) {
            const double t = static_cast<double>(i) / steps;
            const int cx = static_cast<int>(std::lround(ax + (bx - ax) * t));
            const int cy = static_cast<int>(std::lround(ay + (by - ay) * t));
            for (int d = 0; d < thick; ++d) put(cx, cy + d - thick / 2, mark);
        }
    };
    stroke(x0, y0, x1, y1);
    stroke(x1, y1, x2, y2);
}

}  // namespace

HIMAGELIST CheckImages(UINT dpi, CheckImageUse use) {
    const int size = Scale(16, dpi);
    const int first = use == CheckImageUse::TreeView ? 0 : 1;  // the state that image 0 shows
    const int width = size * (4 - first);
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -size;  // top-down
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    HBITMAP bitmap = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    if (!bitmap) return nullptr;
    auto* pixels = static_cast<std::uint32_t*>(bits);
    std::fill(pixels, pixels + width * size, 0u);  // a tree's image 0 stays empty
    for (UINT state : {kStateClear, kStateTicked, kStateGreyed})
        DrawBox(pixels, width, size, static_cast<int>(state) - first, state);
    HIMAGELIST list = ImageList_Create(size, size, ILC_COLOR32, 4 - first, 0);
    ImageList_Add(list, bitmap, nullptr);
    DeleteObject(bitmap);
    return list;
}

bool PumpOne(const MSG& msg) {
    if (msg.message == WM_QUIT) {
        PostQuitMessage(static_cast<int>(msg.wParam));
        return false;
    }
    // Tab, arrows, mnemonics and Enter as in a dialog, in whichever window has them.
    HWND top = msg.hwnd ? GetAncestor(msg.hwnd, GA_ROOT) : nullptr;
    if (top && IsDialogMessageW(top, const_cast<MSG*>(&msg))) return true;
    TranslateMessage(&msg);
    DispatchMessageW(&msg);
    return true;
}

bool PumpPending() {
    MSG msg;
    while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE))
        if (!PumpOne(msg)) return false;
    return true;
}

}  // namespace velloran::win32
