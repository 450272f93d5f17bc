#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "platform/include/folders.h"
#include "platform/win32/utf8.h"

namespace platform::test {

namespace {

class ScopedTemporary {
  public:
    explicit ScopedTemporary(const std::wstring& value) {
        wchar_t before[1024];
        before_.assign(before, GetEnvironmentVariableW(L"TMP", before, 1024));
        SetEnvironmentVariableW(L"TMP", value.c_str());
    }
    ~ScopedTemporary() { SetEnvironmentVariableW(L"TMP", before_.c_str()); }
    ScopedTemporary(const ScopedTemporary&) = delete;
    ScopedTemporary& operator=(const ScopedTemporary&) = delete;

  private:
    std::wstring before_;
};

}  // namespace

TEST(WindowsFoldersTest, TemporaryFolderIsTheSystems) {
    const ScopedTemporary temporary(L"C:\\somewh\u00e4re");
    EXPECT_EQ(folders().temporary(), "C:\\somewh\xc3\xa4re\\");
}

TEST(WindowsFoldersTest, TemporaryFolderOf260CharactersIsRefused) {
    const ScopedTemporary temporary(L"C:\\" + std::wstring(260, L'x'));
    EXPECT_EQ(folders().temporary(), "");
}

TEST(WindowsFoldersTest, NamesThatTheSystemRefusesAreMissing) {
    EXPECT_EQ(folders().kindOf("C:\\nothing?here"), PathKind::kMissing);
    EXPECT_EQ(folders().kindOf("C:\\nothing\\here"), PathKind::kMissing);
}

}  // namespace platform::test
