// The console program's resources as Windows reads them: the icon Explorer shows
// in every size it asks for, the version information and the manifest.
#include <gtest/gtest.h>

#include "common/platform/windows/Win32.hpp"

#include <string>

#include "common/platform/Paths.hpp"

namespace velloran::test {
namespace {

const std::wstring kProgram = PathFromUtf8(VELLORAN_CLI_PATH).native();

class Module {
public:
    Module()
        : h_(LoadLibraryExW(kProgram.c_str(), nullptr,
                            LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE)) {}
    ~Module() {
        if (h_) FreeLibrary(h_);
    }
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;
    HMODULE get() const { return h_; }

private:
    HMODULE h_;
};

TEST(ProgramResources, IconInEverySizeFromTheBitmapsAndThePng) {
    Module module;
    ASSERT_NE(module.get(), nullptr);
    // 256 is the PNG entry; the others are bitmaps.
    for (int size : {16, 20, 24, 32, 40, 48, 64, 128, 256}) {
        HICON icon = static_cast<HICON>(
            LoadImageW(module.get(), MAKEINTRESOURCEW(1), IMAGE_ICON, size, size, 0));
        ASSERT_NE(icon, nullptr) << size;
        ICONINFO info{};
        ASSERT_TRUE(GetIconInfo(icon, &info)) << size;
        BITMAP bitmap{};
        GetObjectW(info.hbmColor, sizeof bitmap, &bitmap);
        EXPECT_EQ(bitmap.bmWidth, size);
        EXPECT_EQ(bitmap.bmHeight, size);
        if (info.hbmColor) DeleteObject(info.hbmColor);
        if (info.hbmMask) DeleteObject(info.hbmMask);
        DestroyIcon(icon);
    }
}

TEST(ProgramResources, VersionInformationIsTheProjects) {
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(kProgram.c_str(), &ignored);
    ASSERT_GT(size, 0u);
    std::string block(size, '\0');
    ASSERT_TRUE(GetFileVersionInfoW(kProgram.c_str(), 0, size, block.data()));

    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&fixed), &length));
    EXPECT_EQ(HIWORD(fixed->dwFileVersionMS), VELLORAN_VERSION_MAJOR);
    EXPECT_EQ(LOWORD(fixed->dwFileVersionMS), VELLORAN_VERSION_MINOR);
    EXPECT_EQ(HIWORD(fixed->dwFileVersionLS), VELLORAN_VERSION_PATCH);
    EXPECT_EQ(fixed->dwFileType, static_cast<DWORD>(VFT_APP));

    auto text = [&](const wchar_t* name) {
        wchar_t* value = nullptr;
        UINT chars = 0;
        const std::wstring path = std::wstring(L"\\StringFileInfo\\040904B0\\") + name;
        if (!VerQueryValueW(block.data(), path.c_str(), reinterpret_cast<void**>(&value), &chars))
            return std::string();
        return win::Narrow(std::wstring_view(value, chars ? chars - 1 : 0));
    };
    const std::string version = std::to_string(VELLORAN_VERSION_MAJOR) + "." +
                                std::to_string(VELLORAN_VERSION_MINOR) + "." +
                                std::to_string(VELLORAN_VERSION_PATCH);
    EXPECT_EQ(text(L"ProductName"), "Velloran");
    EXPECT_EQ(text(L"ProductVersion"), version);
    EXPECT_EQ(text(L"FileVersion"), version);
    EXPECT_EQ(text(L"OriginalFilename"), "velloran-cli.exe");
    EXPECT_FALSE(text(L"FileDescription").empty());
}

TEST(ProgramResources, ConsoleManifestRunsAsInvokerWithoutCodePageOrDpiSettings) {
    Module module;
    ASSERT_NE(module.get(), nullptr);
    HRSRC found = FindResourceW(module.get(), MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(24));
    ASSERT_NE(found, nullptr) << "no application manifest";
    const char* data = static_cast<const char*>(LockResource(LoadResource(module.get(), found)));
    const std::string manifest(data, SizeofResource(module.get(), found));
    EXPECT_NE(manifest.find("level=\"asInvoker\""), std::string::npos) << manifest;
    // Windows 10 and 11.
    EXPECT_NE(manifest.find("{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"), std::string::npos);
    // The programs use the W calls; a UTF-8 code page would change what the A ones read.
    EXPECT_EQ(manifest.find("activeCodePage"), std::string::npos);
    EXPECT_EQ(manifest.find("dpiAware"), std::string::npos) << "a console draws nothing";
}

}  // namespace
}  // namespace velloran::test
