#include "common/platform/windows/Win32RegistryStore.hpp"

#include "common/VbError.hpp"
#include "common/platform/windows/Win32.hpp"

namespace velloran {

namespace {

constexpr const char* kSource = "Registry";

std::string FullName(std::uint32_t root, std::string_view path) {
    std::string s = RootKeyName(root);
    if (!path.empty()) s += "\\" + std::string(path);
    return s;
}

HKEY RootHandle(std::uint32_t root) {
    switch (root) {
        case kHKeyClassesRoot:
            return HKEY_CLASSES_ROOT;
        case kHKeyCurrentUser:
            return HKEY_CURRENT_USER;
        case kHKeyLocalMachine:
            return HKEY_LOCAL_MACHINE;
        case kHKeyUsers:
            return HKEY_USERS;
        default:
            throw VbError(vbErrInvalidCall,
                          "Registry root not supported here: " + RootKeyName(root), kSource);
    }
}

// The path as the registry wants it: backslashes only, none at either end.
std::wstring KeyPath(std::string_view path) {
    std::wstring p = win::Wide(path);
    for (wchar_t& c : p)
        if (c == L'/') c = L'\\';
    while (!p.empty() && p.front() == L'\\') p.erase(0, 1);
    while (!p.empty() && p.back() == L'\\') p.pop_back();
    return p;
}

[[noreturn]] void Fail(LSTATUS status, const std::string& what, std::uint32_t root,
                       std::string_view path) {
    const DWORD error = static_cast<DWORD>(status);
    if (error == ERROR_FILE_NOT_FOUND)
        throw VbError(vbErrInvalidCall, "Registry key not found: " + FullName(root, path), kSource);
    if (error == ERROR_ACCESS_DENIED)
        throw VbError(vbErrPermissionDenied,
                      what + " " + FullName(root, path) +
                          ": access denied (this key needs administrator rights)",
                      kSource);
    throw VbError(vbErrPathFileAccess,
                  what + " " + FullName(root, path) + ": " + win::ErrorText(error), kSource);
}

class Key {
public:
    Key() = default;
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    ~Key() {
        if (h_) RegCloseKey(h_);
    }
    HKEY* out() { return &h_; }
    HKEY get() const { return h_; }

private:
    HKEY h_ = nullptr;
};

LSTATUS Open(std::uint32_t root, std::string_view path, REGSAM access, Key& key) {
    return RegOpenKeyExW(RootHandle(root), KeyPath(path).c_str(), 0, access, key.out());
}

void OpenOrThrow(std::uint32_t root, std::string_view path, REGSAM access, Key& key,
                 const char* what) {
    if (const LSTATUS s = Open(root, path, access, key); s != ERROR_SUCCESS)
        Fail(s, what, root, path);
}

std::string Utf8(const wchar_t* text, DWORD length) {
    return win::Narrow(std::wstring_view(text, length));
}

}  // namespace

bool Win32RegistryStore::KeyExists(std::uint32_t root, std::string_view path) const {
    Key key;
    const LSTATUS s = Open(root, path, KEY_QUERY_VALUE, key);
    // A key the user may not read exists all the same.
    return s == ERROR_SUCCESS || s == ERROR_ACCESS_DENIED;
}

void Win32RegistryStore::CreateKey(std::uint32_t root, std::string_view path) {
    Key key;
    const LSTATUS s =
        RegCreateKeyExW(RootHandle(root), KeyPath(path).c_str(), 0, nullptr,
                        REG_OPTION_NON_VOLATILE, KEY_QUERY_VALUE, nullptr, key.out(), nullptr);
    if (s != ERROR_SUCCESS) Fail(s, "Cannot create", root, path);
}

bool Win32RegistryStore::DeleteKey(std::uint32_t root, std::string_view path, bool recursive) {
    const std::wstring p = KeyPath(path);
    if (p.empty())
        throw VbError(vbErrPermissionDenied,
                      "A registry root cannot be deleted: " + FullName(root, path), kSource);
    if (!KeyExists(root, path)) return false;
    LSTATUS s;
    if (recursive) {
        s = RegDeleteTreeW(RootHandle(root), p.c_str());
    } else {
        Key key;
        OpenOrThrow(root, path, KEY_QUERY_VALUE, key, "Cannot open");
        DWORD subkeys = 0;
        s = RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr,
                             nullptr, nullptr, nullptr, nullptr, nullptr);
        if (s == ERROR_SUCCESS && subkeys > 0)
            throw VbError(vbErrPermissionDenied,
                          "Registry key has subkeys: " + FullName(root, path), kSource);
        s = RegDeleteKeyW(RootHandle(root), p.c_str());
    }
    if (s == ERROR_FILE_NOT_FOUND) return false;
    if (s != ERROR_SUCCESS) Fail(s, "Cannot delete", root, path);
    return true;
}

std::vector<std::string> Win32RegistryStore::EnumerateKeys(std::uint32_t root,
                                                           std::string_view path) const {
    Key key;
    OpenOrThrow(root, path, KEY_ENUMERATE_SUB_KEYS | KEY_QUERY_VALUE, key, "Cannot list");
    std::vector<std::string> out;
    // Key names are at most 255 units.
    wchar_t name[256];
    for (DWORD i = 0;; ++i) {
        DWORD length = 256;
        const LSTATUS s =
            RegEnumKeyExW(key.get(), i, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (s == ERROR_NO_MORE_ITEMS) break;
        if (s != ERROR_SUCCESS) Fail(s, "Cannot list", root, path);
        out.push_back(Utf8(name, length));
    }
    return out;
}

std::vector<RegValueEntry> Win32RegistryStore::EnumerateValues(std::uint32_t root,
                                                               std::string_view path) const {
    Key key;
    OpenOrThrow(root, path, KEY_QUERY_VALUE, key, "Cannot list");
    DWORD maxName = 0, maxData = 0;
    LSTATUS s = RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                 nullptr, &maxName, &maxData, nullptr, nullptr);
    if (s != ERROR_SUCCESS) Fail(s, "Cannot list", root, path);
    std::vector<RegValueEntry> out;
    std::wstring name(maxName + 1, L'\0');
    RegBytes data(maxData + 1);
    for (DWORD i = 0;;) {
        DWORD nameLength = static_cast<DWORD>(name.size());
        DWORD dataLength = static_cast<DWORD>(data.size());
        DWORD type = 0;
        s = RegEnumValueW(key.get(), i, name.data(), &nameLength, nullptr, &type, data.data(),
                          &dataLength);
        if (s == ERROR_NO_MORE_ITEMS) break;
        if (s == ERROR_MORE_DATA) {
            // A value grew while listing: make room and ask again.
            name.resize(name.size() * 2 + 256);
            data.resize(std::max<std::size_t>(data.size() * 2, dataLength));
            continue;
        }
        if (s != ERROR_SUCCESS) Fail(s, "Cannot list", root, path);
        RegValueEntry e;
        e.name = Utf8(name.data(), nameLength);
        e.value.type = type;
        e.value.data.assign(data.begin(), data.begin() + dataLength);
        out.push_back(std::move(e));
        ++i;
    }
    return out;
}

std::optional<RegValue> Win32RegistryStore::ReadValue(std::uint32_t root, std::string_view path,
                                                      std::string_view name) const {
    Key key;
    OpenOrThrow(root, path, KEY_QUERY_VALUE, key, "Cannot read");
    const std::wstring n = win::Wide(name);
    RegValue v;
    for (;;) {
        DWORD type = 0;
        DWORD length = static_cast<DWORD>(v.data.size());
        const LSTATUS s = RegQueryValueExW(key.get(), n.c_str(), nullptr, &type,
                                           v.data.empty() ? nullptr : v.data.data(), &length);
        if (s == ERROR_FILE_NOT_FOUND) return std::nullopt;
        if (s == ERROR_MORE_DATA || (s == ERROR_SUCCESS && v.data.size() < length)) {
            v.data.resize(length);
            continue;
        }
        if (s != ERROR_SUCCESS) Fail(s, "Cannot read", root, path);
        v.type = type;
        v.data.resize(length);
        return v;
    }
}

void Win32RegistryStore::WriteValue(std::uint32_t root, std::string_view path,
                                    std::string_view name, const RegValue& value) {
    Key key;
    LSTATUS s =
        RegCreateKeyExW(RootHandle(root), KeyPath(path).c_str(), 0, nullptr,
                        REG_OPTION_NON_VOLATILE, KEY_SET_VALUE, nullptr, key.out(), nullptr);
    if (s != ERROR_SUCCESS) Fail(s, "Cannot write", root, path);
    s = RegSetValueExW(key.get(), win::Wide(name).c_str(), 0, value.type,
                       value.data.empty() ? nullptr : value.data.data(),
                       static_cast<DWORD>(value.data.size()));
    if (s != ERROR_SUCCESS) Fail(s, "Cannot write", root, path);
}

bool Win32RegistryStore::DeleteValue(std::uint32_t root, std::string_view path,
                                     std::string_view name) {
    Key key;
    OpenOrThrow(root, path, KEY_SET_VALUE, key, "Cannot change");
    const LSTATUS s = RegDeleteValueW(key.get(), win::Wide(name).c_str());
    if (s == ERROR_FILE_NOT_FOUND) return false;
    if (s != ERROR_SUCCESS) Fail(s, "Cannot change", root, path);
    return true;
}

}  // namespace velloran
