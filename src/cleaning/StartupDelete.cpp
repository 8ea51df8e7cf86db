// Deletion at the next start-up. Error locations name "FrmMain" (the start-up
// run) and "ModFunctions" (the list and autostart entry), the modules reports list
// these procedures under.
#include "cleaning/StartupDelete.hpp"

#include <algorithm>
#include <optional>
#include <string_view>

#include "cleaning/Shell.hpp"
#include "common/ErrorHandler.hpp"
#include "common/Target.hpp"
#include "common/platform/Autostart.hpp"
#include "common/platform/Paths.hpp"

namespace velloran {

namespace {

std::string Parent(const std::string& path) {
    return Utf8FromPath(PathFromUtf8(path).parent_path());
}

bool HasLineBreak(std::string_view s) { return s.find_first_of("\r\n") != std::string_view::npos; }

}  // namespace

VbBool RequestStartupDelete(ProgramShell& app, const std::string& path) {
    VbBool result = vbFalse;
    WithErrorHandler(app, "ModFunctions:AddStartupDelete", [&] {
        if (HasLineBreak(path)) {
            app.MsgBox("\"" + path +
                           "\" cannot be deleted at the next start: its name holds a "
                           "line break, and the start-up list keeps one path a line.",
                       vbExclamation + vbOKOnly);
            return;
        }
        Platform& platform = app.GetPlatform();
        const std::string list = StartupDeleteListPath();
        platform.CreateDirectories(Parent(list));
        // Every request waits for the next start, not only the latest; a list that
        // someone else could have written is not carried over.
        platform.EditTextFile(list, [&](const std::optional<std::string>& now) {
            std::string text;
            const bool own = now && platform.ReadPrivateTextFile(list);
            for (std::size_t pos = 0; own && pos < now->size();) {
                const std::size_t eol = std::min(now->find('\n', pos), now->size());
                std::string line = now->substr(pos, eol - pos);
                if (!line.empty() && line.back() == '\r') line.pop_back();
                if (line.empty()) break;  // the start-up run stops there too
                if (line == path) return *now;
                text += line + "\n";
                pos = eol + 1;
            }
            return text + path + "\n";
        });
        SetAutostartEntry(app);
        result = vbTrue;
    });
    return result;
}

void SetAutostartEntry(ProgramShell& app) {
    WithErrorHandler(app, "ModFunctions:SetAutoStart", [&] {
        Platform& platform = app.GetPlatform();
        SetLoginStart(platform, app.SettingsRegistry(), platform.ExecutablePath(),
                      kStartupDeleteSwitch);
    });
}

void RemoveAutostartEntry(ProgramShell& app) {
    WithErrorHandler(app, "ModFunctions:RemoveAutoStart",
                     [&] { RemoveLoginStart(app.GetPlatform(), app.SettingsRegistry()); });
}

VbBool ShellDelete(ProgramShell& app, int operation, std::string& path, std::int16_t recycle) {
    WithErrorHandler(app, "ModFunctions:ShellDelete", [&] {
        if (!path.empty() && (path.back() == '\\' || path.back() == '/')) path.pop_back();
        // Nothing to name (the root loses its only separator), and no other operation
        // has a destination to work with.
        if (operation != kShellOpDelete || path.empty()) return;
        Platform& platform = app.GetPlatform();
        if (recycle == vbFalse || recycle == vbTrue) {
            try {
                if (recycle == vbTrue)
                    platform.MoveToRecycleBin(path);
                else
                    platform.DeletePath(path);
            } catch (const VbError&) {
                // Skipped without a message, as the shell does with its messages off.
            }
            return;
        }
        // Any other flag value leaves the shell's own confirmation and error messages on.
        if (app.MsgBox("Are you sure you want to permanently delete \"" + path + "\"?",
                       vbYesNo + vbQuestion) != vbYes)
            return;
        try {
            platform.DeletePath(path);
        } catch (const VbError& e) {
            app.MsgBox("Cannot delete \"" + path + "\": " + e.Description(), vbCritical + vbOKOnly);
        }
    });
    // The shell's abort flag is 1, never all bits set, so the answer is always True.
    return vbTrue;
}

void PerformStartupDelete(ProgramShell& app, int recycleOption) {
    if (app.CommandLine != kStartupDeleteSwitch) return;
    WithErrorHandler(app, "FrmMain:StartupDelete", [&] {
        Platform& platform = app.GetPlatform();
        const std::string list = StartupDeleteListPath();
        // A list that someone else could have written names nothing to delete.
        const auto text =
            platform.FileExists(list) ? platform.ReadPrivateTextFile(list) : std::nullopt;
        if (!text && platform.FileExists(list) && !platform.ReadTextFile(list))
            throw VbError::PermissionDenied(list);
        if (text) {
            const std::int16_t recycle = recycleOption == 1 ? vbTrue : vbFalse;
            std::size_t pos = 0;
            // An empty line ends the list, as the end of the file does.
            while (pos < text->size()) {
                const std::size_t eol = text->find('\n', pos);
                std::string line = text->substr(pos, eol == std::string::npos ? eol : eol - pos);
                if (!line.empty() && line.back() == '\r') line.pop_back();
                if (line.empty()) break;
                ShellDelete(app, kShellOpDelete, line, recycle);
                pos = eol == std::string::npos ? text->size() : eol + 1;
            }
        }
        RemoveAutostartEntry(app);
        platform.RemoveFile(list);
        // This mode has no window to offer.
        EndProgram(0);
    });
}

}  // namespace velloran
