#include "platform/include/text.h"

#include <windows.h>

#include "platform/win32/utf8.h"

namespace platform {

namespace {

std::string toCodePage(UINT codePage, const std::wstring& text) {
    const int length = static_cast<int>(text.size());
    const int size = length ? WideCharToMultiByte(codePage, 0, text.data(), length, nullptr, 0, nullptr, nullptr) : 0;
    std::string out(static_cast<size_t>(size), '\0');
    if (size) WideCharToMultiByte(codePage, 0, text.data(), length, out.data(), size, nullptr, nullptr);
    return out;
}

std::wstring fromCodePage(UINT codePage, const std::string& text) {
    const int length = static_cast<int>(text.size());
    const int size = length ? MultiByteToWideChar(codePage, 0, text.data(), length, nullptr, 0) : 0;
    std::wstring out(static_cast<size_t>(size), L'\0');
    if (size) MultiByteToWideChar(codePage, 0, text.data(), length, out.data(), size);
    return out;
}

}  // namespace

std::string narrow(const std::wstring& text) {
    return toCodePage(CP_THREAD_ACP, text);
}
std::wstring widen(const std::string& text) {
    return fromCodePage(CP_THREAD_ACP, text);
}

std::wstring wideFromUtf8(const std::string& text) {
    return fromCodePage(CP_UTF8, text);
}
std::string utf8FromWide(const std::wstring& text) {
    return toCodePage(CP_UTF8, text);
}

int utf8FromWide(const wchar_t* text, char* buffer, int size) {
    return WideCharToMultiByte(CP_UTF8, 0, text, -1, buffer, size, nullptr, nullptr);
}

}  // namespace platform
