#include "crash/StackText.h"

#include <algorithm>
#include <cwctype>
#include <stdexcept>

namespace {

constexpr uint64_t kLongestArray = 800;  // bytes
constexpr size_t kMaxExtraFrames = 100;  // reading stops behind the first one above

uint64_t readWord(uint64_t address, CrashWordReader read, void* context) {
    uint64_t value = 0;
    if (!read(context, address, value)) throw std::runtime_error("Can't read memory");
    return value;
}

}  // namespace

CrashText crashModuleName(std::wstring_view path, wchar_t separator) {
    const size_t cut = path.rfind(separator);
    if (cut == std::wstring_view::npos) return CrashText(path, crashMemory());
    CrashText name(path.substr(cut + 1), crashMemory());
    std::transform(name.begin(), name.end(), name.begin(), [](wchar_t c) { return std::towlower(c); });
    return name;
}

const CrashModuleInfo* findCrashModule(const CrashModules& modules, uint64_t address) {
    const auto found = std::find_if(modules.begin(), modules.end(), [address](const CrashModuleInfo& module) {
        return module.base < address && address - module.base < module.size;
    });
    return found == modules.end() ? nullptr : &*found;
}

void appendCrashEntry(CrashText& text, const CrashModuleInfo& module, uint64_t address) {
    text += module.name;
    text += L"+0x";
    appendHexadecimal(text, address - module.base);
    text += L';';
}

CrashAddresses readExtraFrames(uint64_t record, CrashWordReader read, void* context) {
    CrashAddresses frames({readWord(record + 0x18, read, context)}, crashMemory());
    const uint64_t begin = readWord(record + 0x20, read, context);
    const uint64_t usedEnd = readWord(record + 0x28, read, context);
    const uint64_t end = readWord(record + 0x30, read, context);
    if (!begin || !usedEnd || !end || end < usedEnd || end - begin > kLongestArray) return frames;
    for (uint64_t slot = begin; slot < end && frames.size() <= kMaxExtraFrames; slot += sizeof(uint64_t)) {
        frames.push_back(readWord(slot, read, context));
    }
    return frames;
}
