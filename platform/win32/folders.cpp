#include <windows.h>

#include <knownfolders.h>
#include <shlobj.h>

#include <filesystem>

#include "platform/replaceable.h"
#include "platform/win32/utf8.h"

namespace platform {

namespace {

[[noreturn]] void raise(const char* operation, const std::wstring& path, DWORD error) {
    throw std::filesystem::filesystem_error(operation, path,
                                            std::error_code(static_cast<int>(error), std::system_category()));
}

bool isMissing(DWORD error) {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_BAD_NETPATH ||
           error == ERROR_INVALID_NAME;
}

PathKind kindOfAttributes(DWORD attributes) {
    return attributes & FILE_ATTRIBUTE_DIRECTORY ? PathKind::kDirectory : PathKind::kFile;
}

// What a link or junction leads to.
PathKind kindOfTarget(const std::wstring& path) {
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE target = CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (target == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        if (isMissing(error)) return PathKind::kMissing;
        raise("status", path, error);
    }
    BY_HANDLE_FILE_INFORMATION information;
    const bool known = GetFileInformationByHandle(target, &information);
    const DWORD error = known ? ERROR_SUCCESS : GetLastError();
    CloseHandle(target);
    if (!known) raise("status", path, error);
    return kindOfAttributes(information.dwFileAttributes);
}

class SystemFolders : public Folders {
  public:
    std::string temporary() override {
        wchar_t path[MAX_PATH] = {};
        const DWORD length = GetTempPathW(MAX_PATH, path);
        return length >= 1 && length < MAX_PATH ? utf8FromWide(std::wstring(path, length)) : "";
    }

    std::string localData() override {
        wchar_t* folder = nullptr;
        const HRESULT result = SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &folder);
        const std::string path = SUCCEEDED(result) && folder ? utf8FromWide(folder) : "";
        CoTaskMemFree(folder);
        return path;
    }

    PathKind kindOf(const std::string& path) override {
        const std::wstring wide = wideFromUtf8(path);
        const DWORD attributes = GetFileAttributesW(wide.c_str());
        if (attributes == INVALID_FILE_ATTRIBUTES) {
            const DWORD error = GetLastError();
            if (isMissing(error)) return PathKind::kMissing;
            raise("exists", wide, error);
        }
        return attributes & FILE_ATTRIBUTE_REPARSE_POINT ? kindOfTarget(wide) : kindOfAttributes(attributes);
    }
};

}  // namespace

Folders& systemFolders() {
    static SystemFolders system;
    return system;
}

}  // namespace platform
