#pragma once
#include "common/Target.hpp"
#include "common/platform/Platform.hpp"

namespace velloran {

class LinuxPlatform : public Platform {
public:
    explicit LinuxPlatform(Target target) : target_(std::move(target)) {}

    std::optional<OsVersionInfo> GetVersionEx() override { return std::nullopt; }
    std::string WindowsDirectory() override;
    std::string SystemDirectory() override;
    std::string TempPath() override;
    std::string UserName() override;
    std::optional<std::string> SpecialFolderPath(int csidl) override;
    std::optional<DiskSpace> DiskFreeSpace(const std::string& root) override;
    bool FileExists(const std::string& path) override;
    bool DirectoryExists(const std::string& path) override;
    std::string HomeDirectory() override;
    void ShellOpen(const std::string& path) override;

    const Target& GetTarget() const { return target_; }

private:
    std::string AppDataDirectory();
    Target target_;
};

}  // namespace velloran
