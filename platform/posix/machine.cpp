#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <utility>

#include "platform/posix/system_machine.h"
#include "platform/replaceable.h"

namespace platform {

namespace {

namespace fs = std::filesystem;

constexpr char kCpuFolder[] = "/sys/devices/system/cpu/";
constexpr char kPciFolder[] = "/sys/bus/pci/devices";

std::string firstLine(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

// The number at the start of the text, after "0x" for base 16. False when there is none.
template <typename T>
bool parseNumber(std::string_view text, T& number, int base = 10) {
    if (base == 16 && text.substr(0, 2) == "0x") text.remove_prefix(2);
    return std::from_chars(text.data(), text.data() + text.size(), number, base).ec == std::errc();
}

template <typename T>
bool readNumber(const std::string& path, T& number, int base = 10) {
    return parseNumber(firstLine(path), number, base);
}

// The processors of a kernel list such as "0-3,8,10-11".
std::vector<unsigned> parseList(const std::string& list) {
    constexpr unsigned kMostProcessors = 8192;
    std::vector<unsigned> processors;
    const char* at = list.c_str();
    for (;;) {
        char* end = nullptr;
        const unsigned long first = std::strtoul(at, &end, 10);
        if (end == at) break;
        const unsigned long last = *end == '-' ? std::strtoul(end + 1, &end, 10) : first;
        for (unsigned long i = first; i <= last && i < kMostProcessors; ++i) processors.push_back(unsigned(i));
        if (*end != ',') break;
        at = end + 1;
    }
    return processors;
}

// The fields of one processor's paragraph in /proc/cpuinfo.
using Paragraph = std::map<std::string, std::string>;

std::vector<Paragraph> readCpuInfo(const std::string& root) {
    std::ifstream file(root + "/proc/cpuinfo");
    std::vector<Paragraph> paragraphs;
    Paragraph paragraph;
    const auto close = [&] {
        if (paragraph.count("processor")) paragraphs.push_back(paragraph);
        paragraph.clear();
    };
    for (std::string line; std::getline(file, line);) {
        const size_t colon = line.find(':');
        if (line.empty()) close();
        if (colon == std::string::npos) continue;
        const size_t nameEnd = line.find_last_not_of(" \t", colon - (colon > 0)) + 1;
        const size_t valueAt = line.find_first_not_of(" \t", colon + 1);
        paragraph[line.substr(0, nameEnd)] = valueAt == std::string::npos ? "" : line.substr(valueAt);
    }
    close();
    return paragraphs;
}

bool coresFromTopology(const std::string& root, unsigned& physical, unsigned& logical) {
    const std::vector<unsigned> online = parseList(firstLine(root + kCpuFolder + "online"));
    std::set<std::pair<std::string, std::string>> cores;
    for (const unsigned processor : online) {
        const std::string topology = root + kCpuFolder + "cpu" + std::to_string(processor) + "/topology/";
        const std::string core = firstLine(topology + "core_id");
        if (core.empty()) return false;
        cores.emplace(firstLine(topology + "physical_package_id"), core);
    }
    if (cores.empty()) return false;
    physical = static_cast<unsigned>(cores.size());
    logical = static_cast<unsigned>(online.size());
    return true;
}

bool coresFromCpuInfo(const std::string& root, unsigned& physical, unsigned& logical) {
    const std::vector<Paragraph> processors = readCpuInfo(root);
    if (processors.empty()) return false;
    std::set<std::pair<std::string, std::string>> cores;
    for (Paragraph processor : processors) {
        // Without core ids each processor counts as a core of its own.
        const bool told = processor.count("core id");
        cores.emplace(processor["physical id"], told ? processor["core id"] : "processor " + processor["processor"]);
    }
    physical = static_cast<unsigned>(cores.size());
    logical = static_cast<unsigned>(processors.size());
    return true;
}

bool parseMegahertz(const std::string& text, double scale, unsigned& megahertz) {
    const double value = std::strtod(text.c_str(), nullptr) * scale;
    if (!(value >= 1 && value < 1e6)) return false;
    megahertz = static_cast<unsigned>(std::lround(value));
    return true;
}

bool frequencyFromCpuInfo(const std::string& root, unsigned& megahertz) {
    std::vector<Paragraph> processors = readCpuInfo(root);
    if (processors.empty()) return false;
    // Intel writes the nominal clock into the name: "... @ 2.60GHz".
    const std::string& name = processors[0]["model name"];
    const size_t at = name.rfind("@ ");
    if (at != std::string::npos && name.find("GHz", at) != std::string::npos &&
        parseMegahertz(name.substr(at + 2), 1000, megahertz)) {
        return true;
    }
    return parseMegahertz(processors[0]["cpu MHz"], 1, megahertz);
}

// Names by PCI ids, from the list that distributions keep.
class PciNames {
  public:
    explicit PciNames(const std::string& root) {
        for (const char* path : {"/usr/share/hwdata/pci.ids", "/usr/share/misc/pci.ids"}) {
            list_.open(root + path);
            if (list_) return;
            list_.clear();
        }
    }

    // Looks both up at once; a name that the list lacks stays empty.
    void find(unsigned vendor, unsigned device, std::string& vendorName, std::string& deviceName) {
        if (!list_.is_open()) return;
        list_.clear();
        list_.seekg(0);
        const std::string vendorStart = id(vendor) + "  ";
        const std::string deviceStart = '\t' + id(device) + "  ";
        bool inVendor = false;
        for (std::string line; std::getline(list_, line);) {
            if (line.empty() || line[0] == '#') continue;
            if (line[0] != '\t') {
                if (inVendor) return;
                inVendor = line.compare(0, vendorStart.size(), vendorStart) == 0;
                if (inVendor) vendorName = line.substr(vendorStart.size());
            } else if (inVendor && line.compare(0, deviceStart.size(), deviceStart) == 0) {
                deviceName = line.substr(deviceStart.size());
                return;
            }
        }
    }

    static std::string id(unsigned number) {
        char text[16];
        std::snprintf(text, sizeof text, "%04x", number & 0xFFFF);
        return text;
    }

  private:
    std::ifstream list_;
};

// "AlderLake-S GT1 [UHD Graphics 770]" is known to people by the part in brackets.
std::string marketedName(const std::string& name) {
    const size_t open = name.rfind('[');
    const size_t close = name.rfind(']');
    if (open == std::string::npos || close == std::string::npos || close <= open + 1) return name;
    return name.substr(open + 1, close - open - 1);
}

std::string adapterName(unsigned vendor, unsigned device, PciNames& names) {
    std::string vendorName;
    std::string deviceName;
    names.find(vendor, device, vendorName, deviceName);
    if (vendor == 0x8086) vendorName = "Intel";
    if (vendor == 0x10de) vendorName = "NVIDIA";
    if (vendor == 0x1002) vendorName = "AMD";
    if (vendorName.empty()) vendorName = "Vendor " + PciNames::id(vendor);
    if (deviceName.empty()) return vendorName + " Graphics " + PciNames::id(device);
    return vendorName + ' ' + marketedName(deviceName);
}

// A driver without a version of its own is part of the kernel and has the kernel's.
std::string driverVersion(const std::string& root, const std::string& device) {
    std::error_code error;
    const std::string driver = fs::read_symlink(device + "/driver", error).filename().string();
    if (error || driver.empty()) return "";
    const std::string own = firstLine(root + "/sys/module/" + driver + "/version");
    return own.empty() ? firstLine(root + "/proc/sys/kernel/osrelease") : own;
}

bool isDisplay(const std::string& device) {
    constexpr unsigned kDisplayClass = 0x03;
    unsigned pciClass = 0;
    return readNumber(device + "/class", pciClass, 16) && pciClass >> 16 == kDisplayClass;
}

}  // namespace

bool SystemMachine::cpuCores(unsigned& physical, unsigned& logical) {
    return coresFromTopology(root_, physical, logical) || coresFromCpuInfo(root_, physical, logical);
}

bool SystemMachine::cpuFrequency(unsigned& megahertz) {
    const std::string cpu = root_ + kCpuFolder + "cpu0/";
    return parseMegahertz(firstLine(cpu + "cpufreq/base_frequency"), 1e-3, megahertz) ||
           parseMegahertz(firstLine(cpu + "acpi_cppc/nominal_freq"), 1, megahertz) ||
           parseMegahertz(firstLine(cpu + "cpufreq/cpuinfo_max_freq"), 1e-3, megahertz) ||
           frequencyFromCpuInfo(root_, megahertz);
}

std::vector<Adapter> SystemMachine::adapters() {
    std::vector<std::string> devices;
    std::error_code error;
    for (fs::directory_iterator entry(root_ + kPciFolder, error), end; !error && entry != end; entry.increment(error)) {
        devices.push_back(entry->path().string());
    }
    std::sort(devices.begin(), devices.end());

    std::vector<Adapter> adapters;
    PciNames names(root_);
    for (const std::string& device : devices) {
        unsigned vendor = 0;
        unsigned model = 0;
        uint64_t memory = 0;
        if (!isDisplay(device) || !readNumber(device + "/vendor", vendor, 16)) continue;
        readNumber(device + "/device", model, 16);
        readNumber(device + "/mem_info_vram_total", memory);
        adapters.push_back({adapterName(vendor, model, names),
                            static_cast<unsigned>(std::min<uint64_t>(memory >> 20, UINT32_MAX)),
                            driverVersion(root_, device)});
    }
    return adapters;
}

Machine& systemMachine() {
    static SystemMachine system{""};
    return system;
}

}  // namespace platform
