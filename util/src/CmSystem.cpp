#include "util/include/CmSystem.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>

#include "platform/include/machine.h"
#include "platform/include/module.h"
#include "platform/include/process.h"
#include "util/include/CmTrace.h"

namespace {

std::atomic<int> g_libraryListeners{0};

bool isWindowsPath() {
    return platform::pathSeparator() == '\\';
}

bool isSeparator(char c) {
    return c == '/' || (isWindowsPath() && c == '\\');
}

size_t fileNameStart(std::string_view path) {
    return path.find_last_of(isWindowsPath() ? "/\\" : "/") + 1;
}

bool isAbsolute(std::string_view path) {
    return !path.empty() && (isSeparator(path[0]) || (isWindowsPath() && path.size() > 1 && path[1] == ':'));
}

char lower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

bool hasToldExtension(std::string_view path) {
    constexpr std::string_view kExtension = ".dll";
    return path.size() > kExtension.size() &&
           std::equal(kExtension.begin(), kExtension.end(), path.end() - kExtension.size(),
                      [](char a, char b) { return a == lower(b); });
}

std::string fileOfThisSystem(const std::string& path) {
    if (!hasToldExtension(path)) return path;
    const size_t name = fileNameStart(path);
    return path.substr(0, name) + platform::libraryFileName(path.substr(name));
}

void* load(const std::string& path, bool dependenciesBeside) {
    void* const library = platform::loadLibrary(path, dependenciesBeside);
    if (library == nullptr || g_libraryListeners.load() == 0) return library;
    char shown[512];
    kmo_get_filepath_trace(path.c_str(), shown, sizeof shown);
    CM_INFO("kmo_load_library_s, loaded path=" << shown << ", module=" << library);
    return library;
}

bool sameInPath(char a, char b) {
    if (isSeparator(a) || isSeparator(b)) return isSeparator(a) && isSeparator(b);
    return isWindowsPath() ? lower(a) == lower(b) : a == b;
}

// Characters of `path` that are the directory `home`, 0 when it does not lie in there.
size_t homeLength(std::string_view path, std::string_view home) {
    while (!home.empty() && isSeparator(home.back())) home.remove_suffix(1);
    if (fileNameStart(home) == 0) return 0;  // a root or a bare word is nobody's home
    if (path.size() < home.size() || !std::equal(home.begin(), home.end(), path.begin(), sameInPath)) return 0;
    return path.size() == home.size() || isSeparator(path[home.size()]) ? home.size() : 0;
}

std::string withoutHome(const std::string& path) {
    for (const char* const variable : {"USERPROFILE", "HOME"}) {
        const size_t length = homeLength(path, platform::environmentVariable(variable));
        if (length != 0) return "~" + path.substr(length);
    }
    return path;
}

// Bytes of `text` that fit into `room` without splitting a character of UTF-8.
size_t wholeCharacters(std::string_view text, size_t room) {
    if (text.size() <= room) return text.size();
    size_t length = room;
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
    return length;
}

// The numbers of a failed load stand on every system for what they mean to Windows.
std::string wordsFor(unsigned long error) {
    if (error == 126) return "the module or one that it needs was not found or could not be loaded";
    if (error == 127) return "the module has no such symbol";
    std::string words = std::system_category().message(static_cast<int>(error));
    while (!words.empty() && std::isspace(static_cast<unsigned char>(words.back()))) words.pop_back();
    return words;
}

}  // namespace

void* kmo_load_library_s(const char* path, enPathAppendType type, bool dependenciesBeside) {
    const std::string file = fileOfThisSystem(path != nullptr ? path : "");
    const std::string directory = platform::executableDirectory();
    if (type == enPathAppendNone || file.empty() || isAbsolute(file) || directory.empty()) {
        return load(file, dependenciesBeside);
    }
    void* const library = load(directory + platform::pathSeparator() + file, dependenciesBeside);
    if (library != nullptr || type == enPathAppendProgram) return library;
    return load(file, dependenciesBeside);
}

void kmo_free_library_s(void* library) {
    if (library == nullptr) return;
    platform::freeLibrary(library);
    if (g_libraryListeners.load() != 0) CM_INFO("kmo_free_library_s, module=" << library);
}

int kmo_get_filepath_trace(const char* path, char* out, size_t size) {
    if (out == nullptr || size == 0) return EINVAL;
    out[0] = 0;
    if (path == nullptr) return EINVAL;
    const std::string shown = withoutHome(path);
    const size_t length = wholeCharacters(shown, size - 1);
    std::memcpy(out, shown.data(), length);
    out[length] = 0;
    return length == shown.size() ? 0 : ERANGE;
}

kmo_AutoDllNotification_s::kmo_AutoDllNotification_s() {
    ++g_libraryListeners;
}

kmo_AutoDllNotification_s::~kmo_AutoDllNotification_s() {
    --g_libraryListeners;
}

CSystemMessageHelper* CSystemMessageHelper::Instance() {
    static CSystemMessageHelper helper;
    return &helper;
}

void CSystemMessageHelper::Init(bool words) {
    m_words = words;
}

std::string CSystemMessageHelper::describe(unsigned long error) const {
    const std::string number = std::to_string(error);
    return m_words ? number + " (" + wordsFor(error) + ")" : number;
}

int get_cpu_core(unsigned& physical, unsigned& logical) {
    return platform::machine().cpuCores(physical, logical) ? 0 : ENODATA;
}

int get_cpu_frequency(unsigned& megahertz) {
    return platform::machine().cpuFrequency(megahertz) ? 0 : ENODATA;
}

int getGpuInfo(std::vector<std::string>& names, std::vector<unsigned>& memory, std::vector<std::string>* versions) {
    names.clear();
    memory.clear();
    if (versions != nullptr) versions->clear();
    for (const platform::Adapter& adapter : platform::machine().adapters()) {
        names.push_back(adapter.name);
        memory.push_back(adapter.memory);
        if (versions != nullptr) versions->push_back(adapter.version);
    }
    return 0;
}
