// Drives velloran.exe through its real windows, as a user would: it plants
// most-recently-used lists in the registry, ticks boxes, presses Clean and reads
// the run log from the progress window's list, then checks what the run left.
//   Driver VELLORAN.EXE clean       a whole run, its log and its message
//   Driver VELLORAN.EXE cancel      Cancel while the run waits at a question
//   Driver VELLORAN.EXE shots DIR   every window opened from its button, as BMPs
// Exit status 0 when every check held; each failed check is told on stderr.
#include <windows.h>

#include <commctrl.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

int g_failures = 0;

void Check(bool ok, const std::string& what) {
    if (ok) return;
    ++g_failures;
    std::fprintf(stderr, "FAILED: %s\n", what.c_str());
}

std::wstring Wide(const std::string& s) {
    std::wstring out(s.size(), L'\0');
    const int n = MultiByteToWideChar(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), out.data(),
                                      static_cast<int>(out.size()));
    out.resize(static_cast<std::size_t>(n));
    return out;
}

std::string Narrow(const std::wstring& s) {
    std::string out(s.size() * 3, '\0');
    const int n = WideCharToMultiByte(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), out.data(),
                                      static_cast<int>(out.size()), nullptr, nullptr);
    out.resize(static_cast<std::size_t>(n));
    return out;
}

// Waits for `ready`, giving up after a minute: a hang is a failure, not a wait.
template <class T>
T WaitFor(const std::function<T()>& ready, const std::string& what) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (std::chrono::steady_clock::now() < end) {
        if (T found = ready()) return found;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    Check(false, "gave up waiting for " + what);
    return T{};
}

// ---------------------------------------------------------------- the registry

constexpr wchar_t kExplorer[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer";
constexpr wchar_t kWinZip[] = L"Software\\Nico Mak Computing\\WinZip";
constexpr wchar_t kTypedUrls[] = L"Software\\Microsoft\\Internet Explorer\\TypedURLs";

void Plant(const std::wstring& key,
           const std::vector<std::pair<std::wstring, std::wstring>>& values) {
    HKEY k = nullptr;
    RegCreateKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &k,
                    nullptr);
    for (const auto& [name, data] : values)
        RegSetValueExW(k, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(data.c_str()),
                       static_cast<DWORD>((data.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(k);
}

// Values of a key; none when the key is gone.
int ValueCount(const std::wstring& key) {
    HKEY k = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, KEY_READ, &k) != ERROR_SUCCESS) return 0;
    DWORD values = 0;
    RegQueryInfoKeyW(k, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values, nullptr,
                     nullptr, nullptr, nullptr);
    RegCloseKey(k);
    return static_cast<int>(values);
}

void PlantLists() {
    // No stored selection from an earlier run: every box starts clear.
    RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Velloran");
    Plant(std::wstring(kExplorer) + L"\\RunMRU",
          {{L"a", L"notepad\\1"}, {L"b", L"regedit\\1"}, {L"MRUList", L"ab"}});
    Plant(std::wstring(kExplorer) + L"\\RecentDocs", {{L"MRUList", L"a"}});
    Plant(std::wstring(kWinZip) + L"\\extract", {{L"extract0", L"C:\\secret"}});
    Plant(kTypedUrls, {{L"url1", L"http://example.org/"}});
}

// ---------------------------------------------------------------- the windows

struct Program {
    PROCESS_INFORMATION info{};
    HWND main = nullptr;
};

Program Start(const std::string& exe) {
    Program p;
    STARTUPINFOW si{};
    si.cb = sizeof si;
    std::wstring line = L"\"" + Wide(exe) + L"\"";
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si,
                        &p.info)) {
        Check(false, "velloran.exe does not start: " + exe);
        return p;
    }
    p.main =
        WaitFor<HWND>([] { return FindWindowW(L"Velloran.FrmMain", nullptr); }, "the main window");
    WaitForInputIdle(p.info.hProcess, 30000);
    return p;
}

// A window of the program's own: the view names each child by its control.
HWND Child(HWND parent, const std::string& name) {
    struct Search {
        std::wstring name;
        HWND found = nullptr;
    } search{Wide(name)};
    EnumChildWindows(
        parent,
        [](HWND h, LPARAM l) -> BOOL {
            auto* s = reinterpret_cast<Search*>(l);
            const auto atom =
                static_cast<ATOM>(reinterpret_cast<UINT_PTR>(GetPropW(h, L"Velloran.Name")));
            wchar_t text[128] = {};
            if (atom && GlobalGetAtomNameW(atom, text, 128) && s->name == text) {
                s->found = h;
                return FALSE;
            }
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&search));
    Check(search.found != nullptr, "no control " + name);
    return search.found;
}

std::string Text(HWND h) {
    wchar_t text[1024] = {};
    GetWindowTextW(h, text, 1024);
    return Narrow(text);
}

// A message box of the program's: its text, and the box to answer.
HWND MessageBoxOf(const Program& p) {
    struct Search {
        DWORD pid;
        HWND found = nullptr;
    } search{p.info.dwProcessId};
    EnumWindows(
        [](HWND h, LPARAM l) -> BOOL {
            auto* s = reinterpret_cast<Search*>(l);
            DWORD pid = 0;
            GetWindowThreadProcessId(h, &pid);
            wchar_t cls[32] = {};
            GetClassNameW(h, cls, 32);
            if (pid == s->pid && IsWindowVisible(h) && lstrcmpW(cls, L"#32770") == 0) {
                s->found = h;
                return FALSE;
            }
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.found;
}

std::string MessageText(HWND box) {
    wchar_t text[2048] = {};
    GetDlgItemTextW(box, 0xFFFF, text, 2048);
    return Narrow(text);
}

// The rows of a list view of the other process, read through memory of its own.
std::vector<std::string> ListRows(const Program& p, HWND list) {
    std::vector<std::string> rows;
    HANDLE process = OpenProcess(PROCESS_VM_OPERATION | PROCESS_VM_READ | PROCESS_VM_WRITE, FALSE,
                                 p.info.dwProcessId);
    constexpr int kChars = 1024;
    auto* remote = static_cast<char*>(
        VirtualAllocEx(process, nullptr, sizeof(LVITEMW) + kChars * 2, MEM_COMMIT, PAGE_READWRITE));
    const int n = static_cast<int>(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0));
    for (int i = 0; i < n; ++i) {
        LVITEMW item{};
        item.iItem = i;
        item.pszText = reinterpret_cast<wchar_t*>(remote + sizeof(LVITEMW));
        item.cchTextMax = kChars;
        WriteProcessMemory(process, remote, &item, sizeof item, nullptr);
        SendMessageW(list, LVM_GETITEMTEXTW, i, reinterpret_cast<LPARAM>(remote));
        wchar_t text[kChars] = {};
        ReadProcessMemory(process, remote + sizeof(LVITEMW), text, sizeof text - 2, nullptr);
        rows.push_back(Narrow(text));
    }
    VirtualFreeEx(process, remote, 0, MEM_RELEASE);
    CloseHandle(process);
    return rows;
}

bool HasLine(const std::vector<std::string>& lines, const std::string& start) {
    for (const auto& l : lines)
        if (l.rfind(start, 0) == 0) return true;
    return false;
}

// A tick through the box itself: the click reaches the form as a user's does.
void Tick(HWND main, const std::string& page, const std::string& box) {
    SendMessageW(Child(main, page), BM_CLICK, 0, 0);
    HWND h = Child(main, box);
    SendMessageW(h, BM_CLICK, 0, 0);
    Check(SendMessageW(h, BM_GETCHECK, 0, 0) == BST_CHECKED, box + " is not ticked after a click");
}

// Ends the program through its main window; true when it ended by itself with 0.
bool Close(Program& p) {
    if (!p.info.hProcess) return false;
    PostMessageW(p.main, WM_CLOSE, 0, 0);
    const bool ended = WaitForSingleObject(p.info.hProcess, 60000) == WAIT_OBJECT_0;
    DWORD code = 1;
    GetExitCodeProcess(p.info.hProcess, &code);
    if (!ended) TerminateProcess(p.info.hProcess, 2);
    CloseHandle(p.info.hProcess);
    CloseHandle(p.info.hThread);
    return ended && code == 0;
}

// ---------------------------------------------------------------- scenarios

void CleanRun(const std::string& exe) {
    PlantLists();
    Program p = Start(exe);
    if (!p.main) return;
    Tick(p.main, "Picture1", "win_chk(5)");
    Tick(p.main, "Picture1", "win_chk(6)");
    Tick(p.main, "Picture8", "oprg_chk(1)");
    // Posted: the button's handler runs the whole modal run.
    PostMessageW(Child(p.main, "cmdClean"), BM_CLICK, 0, 0);
    HWND box = WaitFor<HWND>([&p] { return MessageBoxOf(p); }, "the completion message");
    HWND cleaner = FindWindowW(L"Velloran.FrmCleaner", nullptr);
    Check(cleaner != nullptr, "no progress window while the run ends");
    Check(MessageText(box) == "Selected Task(s) completed successfully.",
          "completion message reads \"" + MessageText(box) + "\"");
    const auto log = ListRows(p, Child(cleaner, "txtprogress"));
    for (const char* line :
         {"Verifying Windows jobs...", "Cleaning Run history ...",
          "Cleared Windows {run dialog} history. (", "Cleaning Recent Document list ...",
          "Verifying program jobs...", "Cleaning Winzip Tracks ...",
          "Cleared Winzip {extract to} history. ("})
        Check(HasLine(log, line), std::string("the log has no line \"") + line + "\"");
    Check(!HasLine(log, "Verifying IE jobs..."), "an IE group ran with no IE box ticked");
    PostMessageW(box, WM_COMMAND, IDOK, 0);
    HWND bar = Child(cleaner, "pbar");
    Check(WaitFor<bool>([bar] { return Text(bar) == "Completed All Jobs"; },
                        "the bar's last caption"),
          "bar reads " + Text(bar));
    PostMessageW(cleaner, WM_CLOSE, 0, 0);
    WaitFor<bool>([] { return FindWindowW(L"Velloran.FrmCleaner", nullptr) == nullptr; },
                  "the progress window to close");
    Check(ValueCount(std::wstring(kExplorer) + L"\\RunMRU") == 0, "RunMRU still holds values");
    Check(ValueCount(std::wstring(kExplorer) + L"\\RecentDocs") == 0,
          "RecentDocs still holds values");
    Check(ValueCount(std::wstring(kWinZip) + L"\\extract") == 0,
          "WinZip's list still holds values");
    Check(ValueCount(kTypedUrls) == 1, "the typed URLs went though no IE box was ticked");
    Check(Close(p), "the program did not end with 0 when its main window closed");
}

// Cancel while the Internet Explorer group asks for the browser to be closed:
// the window goes at once, and the groups after it still run (no group reads a
// cancel flag), so the programs' list goes too; no completion message follows
// a run that met an open browser.
void CancelRun(const std::string& exe) {
    PlantLists();
    WNDCLASSW wc{};
    wc.lpfnWndProc = DefWindowProcW;
    wc.hInstance = GetModuleHandleW(nullptr);
    wc.lpszClassName = L"IEFrame";
    RegisterClassW(&wc);
    HWND browser =
        CreateWindowW(L"IEFrame", L"Start - Microsoft Internet Explorer", WS_OVERLAPPEDWINDOW, 0, 0,
                      200, 100, nullptr, nullptr, wc.hInstance, nullptr);
    Program p = Start(exe);
    if (!p.main) return;
    Tick(p.main, "Picture1", "win_chk(5)");
    Tick(p.main, "Picture3", "ie_Chk(1)");
    Tick(p.main, "Picture8", "oprg_chk(1)");
    PostMessageW(Child(p.main, "cmdClean"), BM_CLICK, 0, 0);
    HWND box =
        WaitFor<HWND>([&p] { return MessageBoxOf(p); }, "the question about the open browser");
    Check(MessageText(box).rfind(
              "Microsoft Internet Explorer is open! \"Start - Microsoft Internet", 0) == 0,
          "question reads \"" + MessageText(box) + "\"");
    HWND cleaner = FindWindowW(L"Velloran.FrmCleaner", nullptr);
    const auto log = ListRows(p, Child(cleaner, "txtprogress"));
    Check(HasLine(log, "Cleared Windows {run dialog} history. ("),
          "the Windows group did not run first");
    PostMessageW(Child(cleaner, "cmdCancel"), BM_CLICK, 0, 0);
    WaitFor<bool>([] { return FindWindowW(L"Velloran.FrmCleaner", nullptr) == nullptr; },
                  "Cancel to close the progress window");
    if (HWND still = MessageBoxOf(p)) PostMessageW(still, WM_COMMAND, IDOK, 0);
    WaitFor<bool>([&p] { return IsWindowEnabled(p.main) && MessageBoxOf(p) == nullptr; },
                  "the run to end");
    Check(ValueCount(std::wstring(kWinZip) + L"\\extract") == 0,
          "the programs' group did not run after Cancel");
    Check(ValueCount(kTypedUrls) == 1, "the IE group ran with its browser open");
    Check(Close(p), "the program did not end with 0 after a cancelled run");
    DestroyWindow(browser);
}

// The window of `form` as a 24-bit BMP, read from the screen.
void Capture(HWND window, const std::string& path) {
    RECT r;
    GetWindowRect(window, &r);
    const int w = r.right - r.left, h = r.bottom - r.top;
    HDC screen = GetDC(nullptr);
    HDC memory = CreateCompatibleDC(screen);
    BITMAPINFO info{};
    info.bmiHeader = {sizeof(BITMAPINFOHEADER), w, h, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    void* bits = nullptr;
    HBITMAP bitmap = CreateDIBSection(screen, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    HGDIOBJ old = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, w, h, screen, r.left, r.top, SRCCOPY);
    GdiFlush();
    const DWORD stride = static_cast<DWORD>((w * 3 + 3) & ~3),
                size = stride * static_cast<DWORD>(h);
    BITMAPFILEHEADER file{
        0x4D42, static_cast<DWORD>(sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER) + size), 0,
        0, sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER)};
    if (FILE* out = _wfopen(Wide(path).c_str(), L"wb")) {
        std::fwrite(&file, sizeof file, 1, out);
        std::fwrite(&info.bmiHeader, sizeof info.bmiHeader, 1, out);
        std::fwrite(bits, size, 1, out);
        std::fclose(out);
    }
    SelectObject(memory, old);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
}

// Until the program has drawn everything it was asked to.
void Settle(const Program& p, HWND window = nullptr) {
    if (window)
        RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN);
    WaitForInputIdle(p.info.hProcess, 10000);
    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
}

// Whether the window shows anything yet: a window not yet drawn reads black.
bool Drawn(HWND window) {
    RECT r;
    GetWindowRect(window, &r);
    HDC screen = GetDC(nullptr);
    const COLORREF middle = GetPixel(screen, (r.left + r.right) / 2, (r.top + r.bottom) / 2);
    ReleaseDC(nullptr, screen);
    return middle != 0 && middle != CLR_INVALID;
}

void Screenshots(const std::string& exe, const std::string& dir) {
    Program p = Start(exe);
    if (!p.main) return;
    Settle(p);
    WaitFor<bool>([&p] { return Drawn(p.main); }, "the main window to be drawn");
    Settle(p, p.main);
    Capture(p.main, dir + "/windows-main.bmp");
    const std::pair<const char*, const char*> pages[] = {{"Picture2", "windows-browsers"},
                                                         {"Picture3", "windows-ie"},
                                                         {"Picture8", "windows-programs"},
                                                         {"Picture4", "windows-settings"}};
    for (const auto& [button, file] : pages) {
        SendMessageW(Child(p.main, button), BM_CLICK, 0, 0);
        Settle(p, p.main);
        Capture(p.main, dir + "/" + file + ".bmp");
    }
    const struct {
        const char* button;
        const char* page;
        const wchar_t* windowClass;
        const char* file;
    } tools[] = {
        {"cmdjunk", "Picture1", L"Velloran.FrmJunk", "windows-junk"},
        {"cmderad", "Picture1", L"Velloran.frmErad", "windows-eradicator"},
        {"cmdMCookies", "Picture3", L"Velloran.FrmCookies", "windows-cookies"},
        {"Picture7", "Picture1", L"Velloran.frmAbout", "windows-about"},
    };
    for (const auto& t : tools) {
        SendMessageW(Child(p.main, t.page), BM_CLICK, 0, 0);
        PostMessageW(Child(p.main, t.button), BM_CLICK, 0, 0);
        HWND w = WaitFor<HWND>([&t] { return FindWindowW(t.windowClass, nullptr); }, t.file);
        Settle(p, w);
        if (w) Capture(w, dir + "/" + t.file + ".bmp");
        PostMessageW(w, WM_CLOSE, 0, 0);
        WaitFor<bool>([&t] { return FindWindowW(t.windowClass, nullptr) == nullptr; }, t.file);
    }
    Tick(p.main, "Picture1", "win_chk(5)");
    PostMessageW(Child(p.main, "cmdClean"), BM_CLICK, 0, 0);
    HWND box = WaitFor<HWND>([&p] { return MessageBoxOf(p); }, "the completion message");
    PostMessageW(box, WM_COMMAND, IDOK, 0);
    WaitFor<bool>([&p] { return MessageBoxOf(p) == nullptr; }, "the message to close");
    Settle(p);
    HWND cleaner = FindWindowW(L"Velloran.FrmCleaner", nullptr);
    if (cleaner) Capture(cleaner, dir + "/windows-progress.bmp");
    PostMessageW(cleaner, WM_CLOSE, 0, 0);
    Close(p);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: Driver VELLORAN.EXE clean|cancel|shots DIR\n");
        return 2;
    }
    const std::string exe = argv[1], scenario = argv[2];
    if (scenario == "clean")
        CleanRun(exe);
    else if (scenario == "cancel")
        CancelRun(exe);
    else if (scenario == "shots" && argc > 3)
        Screenshots(exe, argv[3]);
    else
        return 2;
    return g_failures == 0 ? 0 : 1;
}
