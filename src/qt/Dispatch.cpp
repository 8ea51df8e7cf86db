#include "qt/Dispatch.hpp"

#include <QCoreApplication>
#include <QTimer>
#include <exception>
#include <iostream>

#include "common/Host.hpp"

namespace velloran::gui {

namespace {
bool g_ending = false;
int g_code = 0;
}  // namespace

bool Ending() { return g_ending; }
int EndCode() { return g_code; }

void BeginEnd(int code) {
    if (!g_ending) {
        g_ending = true;
        g_code = code;
    }
    // Leaves the main loop and every nested loop (modal dialogs, message boxes).
    QCoreApplication::exit(g_code);
}

void ThrowIfEnding() {
    if (g_ending) throw ProgramEnd{g_code};
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

void ResetEnding() {
    g_ending = false;
    g_code = 0;
    // QCoreApplication::exit leaves a "quit now" mark that makes every later loop
    // return at once; running the application loop once clears it.
    QTimer::singleShot(0, [] { QCoreApplication::exit(0); });
    QCoreApplication::exec();
}

}  // namespace velloran::gui
