#include "common/platform/Autostart.hpp"

#include <filesystem>

#include "common/platform/Platform.hpp"
#include "common/platform/UserFolders.hpp"
#include "common/platform/windows/Win32.hpp"
#include "common/registry/RegistryStore.hpp"

namespace velloran {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kRunKey = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr std::string_view kRunValue = "Velloran";

// Asked by making a file there: folder permissions alone do not tell (a read-only
// medium, a program folder under Program Files for a standard user).
bool Writable(const fs::path& folder) {
    const fs::path probe =
        folder / (L".velloran-" + std::to_wstring(GetCurrentProcessId()) + L".tmp");
    win::Handle h(CreateFileW(win::LongPathOf(probe).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                              FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    return static_cast<bool>(h);
}

}  // namespace

std::string StartupDeleteListPath() {
    fs::path folder = win::ProgramFolder();
    if (folder.empty() || !Writable(folder)) folder = XdgStateHome() / L"Velloran";
    return win::DisplayPath((folder / L"delstart.dat").native());
}

// As the program always did it: nothing without the Run key (it is not created),
// and an existing value is deleted before it is written anew.
void SetLoginStart(Platform& /*platform*/, RegistryStore& registry, const std::string& program,
                   const std::string& argument) {
    if (!registry.KeyExists(kHKeyCurrentUser, kRunKey)) return;
    if (const auto old = registry.ReadValue(kHKeyCurrentUser, kRunKey, kRunValue);
        old && !old->AsString().empty())
        registry.DeleteValue(kHKeyCurrentUser, kRunKey, kRunValue);
    registry.WriteValue(kHKeyCurrentUser, kRunKey, kRunValue,
                        RegValue::String(program + " " + argument));
}

void RemoveLoginStart(Platform& /*platform*/, RegistryStore& registry) {
    if (registry.KeyExists(kHKeyCurrentUser, kRunKey))
        registry.DeleteValue(kHKeyCurrentUser, kRunKey, kRunValue);
}

}  // namespace velloran
