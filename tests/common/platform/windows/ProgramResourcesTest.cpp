// The console program's resources as Windows reads them: the icon Explorer shows
// in every size it asks for, the version information and the manifest.
#include <gtest/gtest.h>

#include "common/platform/windows/Win32.hpp"

#include <string>
#include <vector>

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

// The size of an icon image as Windows decodes it; 0 when it does not.
int DecodedWidth(HMODULE module, WORD id) {
    HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(id), MAKEINTRESOURCEW(3));  // RT_ICON
    if (!found) return 0;
    auto* bits = static_cast<BYTE*>(LockResource(LoadResource(module, found)));
    HICON icon =
        CreateIconFromResourceEx(bits, SizeofResource(module, found), TRUE, 0x00030000, 0, 0, 0);
    if (!icon) return 0;
    ICONINFO info{};
    BITMAP bitmap{};
    if (GetIconInfo(icon, &info)) {
        GetObjectW(info.hbmColor ? info.hbmColor : info.hbmMask, sizeof bitmap, &bitmap);
        if (info.hbmColor) DeleteObject(info.hbmColor);
        if (info.hbmMask) DeleteObject(info.hbmMask);
    }
    DestroyIcon(icon);
    return bitmap.bmWidth;
}

TEST(ProgramResources, IconOneHoldsEverySizeAndEachImageDecodes) {
    Module module;
    ASSERT_NE(module.get(), nullptr);
    // Icon group 1 is the one Explorer shows for the file.
    HRSRC group = FindResourceW(module.get(), MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(14));
    ASSERT_NE(group, nullptr) << "no icon group 1";
    const auto* dir = static_cast<const BYTE*>(LockResource(LoadResource(module.get(), group)));
    const int count = dir[4] | dir[5] << 8;
    std::vector<int> sizes;
    for (int i = 0; i < count; ++i) {
        // 14 bytes an entry: width (0 for 256), height, colours, reserved, planes,
        // bits, bytes, then the image's resource ID.
        const BYTE* entry = dir + 6 + 14 * i;
        const int size = entry[0] ? entry[0] : 256;
        const WORD id = static_cast<WORD>(entry[12] | entry[13] << 8);
        sizes.push_back(size);
        // 256 is stored as PNG, the others as bitmaps: both must decode.
        EXPECT_EQ(DecodedWidth(module.get(), id), size) << "image " << id;
    }
    EXPECT_EQ(sizes, (std::vector<int>{16, 20, 24, 32, 40, 48, 64, 128, 256}));

    // As a program asks for it by size.
    HICON icon =
        static_cast<HICON>(LoadImageW(module.get(), MAKEINTRESOURCEW(1), IMAGE_ICON, 48, 48, 0));
    EXPECT_NE(icon, nullptr);
    if (icon) DestroyIcon(icon);
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
