#include <windows.h>

#include <initguid.h>

#include <devguid.h>
#include <setupapi.h>

#include <bit>
#include <cstring>

#include "platform/replaceable.h"
#include "platform/win32/utf8.h"

namespace platform {

namespace {

constexpr wchar_t kProcessorKey[] = L"HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0";
constexpr wchar_t kClassKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Class\\";

// A value of the local machine's registry as bytes; empty when there is none.
std::vector<char> registryBytes(const std::wstring& key, const wchar_t* name) {
    DWORD size = 0;
    constexpr DWORD kAnyType = RRF_RT_ANY;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, kAnyType, nullptr, nullptr, &size) != ERROR_SUCCESS)
        return {};
    std::vector<char> bytes(size);
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, kAnyType, nullptr, bytes.data(), &size) != ERROR_SUCCESS) {
        return {};
    }
    bytes.resize(size);
    return bytes;
}

std::string textOf(const std::vector<char>& bytes) {
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    return utf8FromWide(text.substr(0, text.find(L'\0')));
}

// Drivers write sizes as 32 or 64 bits, some of them as plain bytes.
uint64_t numberOf(const std::vector<char>& bytes) {
    uint64_t number = 0;
    std::memcpy(&number, bytes.data(), bytes.size() < sizeof number ? bytes.size() : sizeof number);
    return number;
}

unsigned dedicatedMemory(const std::wstring& driverKey) {
    uint64_t bytes = numberOf(registryBytes(driverKey, L"HardwareInformation.qwMemorySize"));
    if (bytes == 0) bytes = numberOf(registryBytes(driverKey, L"HardwareInformation.MemorySize"));
    return static_cast<unsigned>(bytes >> 20);
}

std::wstring deviceText(HDEVINFO devices, SP_DEVINFO_DATA& device, DWORD property) {
    wchar_t text[512] = {};
    SetupDiGetDeviceRegistryPropertyW(devices, &device, property, nullptr, reinterpret_cast<BYTE*>(text),
                                      sizeof text - sizeof text[0], nullptr);
    return text;
}

Adapter readAdapter(HDEVINFO devices, SP_DEVINFO_DATA& device) {
    const std::wstring driverKey = kClassKey + deviceText(devices, device, SPDRP_DRIVER);
    Adapter adapter;
    adapter.name = textOf(registryBytes(driverKey, L"DriverDesc"));
    if (adapter.name.empty()) adapter.name = utf8FromWide(deviceText(devices, device, SPDRP_DEVICEDESC));
    adapter.memory = dedicatedMemory(driverKey);
    adapter.version = textOf(registryBytes(driverKey, L"DriverVersion"));
    return adapter;
}

std::vector<char> coreRecords() {
    DWORD size = 0;
    GetLogicalProcessorInformationEx(RelationProcessorCore, nullptr, &size);
    std::vector<char> records(size);
    auto* first = reinterpret_cast<SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX*>(records.data());
    if (size == 0 || !GetLogicalProcessorInformationEx(RelationProcessorCore, first, &size)) return {};
    return records;
}

class SystemMachine : public Machine {
  public:
    bool cpuCores(unsigned& physical, unsigned& logical) override {
        const std::vector<char> records = coreRecords();
        unsigned cores = 0;
        unsigned processors = 0;
        for (size_t at = 0; at < records.size();) {
            const auto* record = reinterpret_cast<const SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX*>(&records[at]);
            ++cores;
            for (WORD i = 0; i < record->Processor.GroupCount; ++i) {
                processors += static_cast<unsigned>(std::popcount(record->Processor.GroupMask[i].Mask));
            }
            at += record->Size;
        }
        if (cores == 0) return false;
        physical = cores;
        logical = processors;
        return true;
    }

    bool cpuFrequency(unsigned& megahertz) override {
        const uint64_t told = numberOf(registryBytes(kProcessorKey, L"~MHz"));
        if (told == 0) return false;
        megahertz = static_cast<unsigned>(told);
        return true;
    }

    std::vector<Adapter> adapters() override {
        std::vector<Adapter> adapters;
        const HDEVINFO devices = SetupDiGetClassDevsW(&GUID_DEVCLASS_DISPLAY, nullptr, nullptr, DIGCF_PRESENT);
        if (devices == INVALID_HANDLE_VALUE) return adapters;
        SP_DEVINFO_DATA device = {};
        device.cbSize = sizeof device;
        for (DWORD i = 0; SetupDiEnumDeviceInfo(devices, i, &device); ++i) {
            adapters.push_back(readAdapter(devices, device));
        }
        SetupDiDestroyDeviceInfoList(devices);
        return adapters;
    }
};

}  // namespace

Machine& systemMachine() {
    static SystemMachine system;
    return system;
}

}  // namespace platform
