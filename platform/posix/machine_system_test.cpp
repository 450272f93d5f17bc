#include <gtest/gtest.h>

#include <filesystem>

#include "platform/posix/system_machine.h"
#include "platform/test_support.h"

namespace platform::test {

namespace {

// A machine laid out in a folder, file by file.
class LaidOutMachineTest : public testing::Test {
  protected:
    void put(const std::string& path, const std::string& content) { folder_.write(path.substr(1), content); }

    void putProcessor(int number, const std::string& package, const std::string& core) {
        const std::string topology = "/sys/devices/system/cpu/cpu" + std::to_string(number) + "/topology/";
        put(topology + "physical_package_id", package + "\n");
        put(topology + "core_id", core + "\n");
    }

    void putDevice(const std::string& slot, const std::string& pciClass, const std::string& vendor,
                   const std::string& device, const std::string& driver) {
        const std::string path = "/sys/bus/pci/devices/" + slot;
        put(path + "/class", pciClass + "\n");
        put(path + "/vendor", vendor + "\n");
        put(path + "/device", device + "\n");
        if (driver.empty()) return;
        std::filesystem::create_symlink("../../drivers/" + driver, folder_.path(path.substr(1)) + "/driver");
    }

    SystemMachine machine() const { return SystemMachine(folder_.path()); }

  private:
    const TemporaryFolder folder_;
};

constexpr char kPciIds[] =
    "# a comment\n"
    "1002  Advanced Micro Devices, Inc. [AMD/ATI]\n"
    "\t744c  Navi 31 [Radeon RX 7900 XT/7900 XTX]\n"
    "\t\t1002 0e3b  RX 7900 GRE\n"
    "10de  NVIDIA Corporation\n"
    "\t2684  AD102 [GeForce RTX 4090]\n"
    "1a03  ASPEED Technology, Inc.\n"
    "\t2000  ASPEED Graphics Family\n"
    "8086  Intel Corporation\n"
    "\t4680  AlderLake-S GT1 [UHD Graphics 770]\n"
    "C 03  Display controller\n"
    "\t00  VGA compatible controller\n";

}  // namespace

TEST_F(LaidOutMachineTest, CoresAreCountedOverPackagesAndProcessorsOverThreads) {
    put("/sys/devices/system/cpu/online", "0-5,7\n");
    for (const int number : {0, 1}) putProcessor(number, "0", "0");
    for (const int number : {2, 3}) putProcessor(number, "0", "4");
    for (const int number : {4, 5, 7}) putProcessor(number, "1", "0");
    unsigned physical = 0;
    unsigned logical = 0;
    ASSERT_TRUE(machine().cpuCores(physical, logical));
    EXPECT_EQ(physical, 3u);
    EXPECT_EQ(logical, 7u);
}

TEST_F(LaidOutMachineTest, CoresComeFromTheProcessorListWithoutATopology) {
    put("/sys/devices/system/cpu/online", "0-3\n");
    put("/proc/cpuinfo",
        "processor\t: 0\nphysical id\t: 0\ncore id\t\t: 0\n\nprocessor\t: 1\nphysical id\t: 0\ncore id\t\t: 0\n\n"
        "processor\t: 2\nphysical id\t: 0\ncore id\t\t: 1\n\nprocessor\t: 3\nphysical id\t: 1\ncore id\t\t: 1\n");
    unsigned physical = 0;
    unsigned logical = 0;
    ASSERT_TRUE(machine().cpuCores(physical, logical));
    EXPECT_EQ(physical, 3u);
    EXPECT_EQ(logical, 4u);
}

TEST_F(LaidOutMachineTest, ProcessorsWithoutCoreIdsAreCoresOfTheirOwn) {
    put("/proc/cpuinfo", "processor\t: 0\nmodel name\t:\n\nprocessor\t: 1\n\n");
    unsigned physical = 0;
    unsigned logical = 0;
    ASSERT_TRUE(machine().cpuCores(physical, logical));
    EXPECT_EQ(physical, 2u);
    EXPECT_EQ(logical, 2u);
}

TEST_F(LaidOutMachineTest, NothingIsWrittenWhenNothingCanBeTold) {
    unsigned physical = 11;
    unsigned logical = 12;
    unsigned megahertz = 13;
    EXPECT_FALSE(machine().cpuCores(physical, logical));
    EXPECT_FALSE(machine().cpuFrequency(megahertz));
    EXPECT_TRUE(machine().adapters().empty());
    EXPECT_EQ(physical, 11u);
    EXPECT_EQ(logical, 12u);
    EXPECT_EQ(megahertz, 13u);
}

TEST_F(LaidOutMachineTest, GarbageCannotBeTold) {
    put("/sys/devices/system/cpu/online", "all of them\n");
    put("/sys/devices/system/cpu/cpu0/cpufreq/base_frequency", "fast\n");
    put("/proc/cpuinfo", ":\n: :\nprocessor\n\xff\n\ncpu MHz : nan\n");
    putDevice("0000:00:02.0", "VGA", "Intel", "", "");
    unsigned number = 1;
    EXPECT_FALSE(machine().cpuCores(number, number));
    EXPECT_FALSE(machine().cpuFrequency(number));
    EXPECT_TRUE(machine().adapters().empty());
    EXPECT_EQ(number, 1u);
}

TEST_F(LaidOutMachineTest, ClockIsTheNominalOneWhereItIsTold) {
    unsigned megahertz = 0;
    put("/proc/cpuinfo", "processor\t: 0\ncpu MHz\t\t: 2194.843\n\n");
    ASSERT_TRUE(machine().cpuFrequency(megahertz));
    EXPECT_EQ(megahertz, 2195u);
    put("/proc/cpuinfo", "processor\t: 0\nmodel name\t: Maker(R) CPU @ 2.60GHz\ncpu MHz\t\t: 800.0\n\n");
    ASSERT_TRUE(machine().cpuFrequency(megahertz));
    EXPECT_EQ(megahertz, 2600u);
    put("/sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq", "4700000\n");
    ASSERT_TRUE(machine().cpuFrequency(megahertz));
    EXPECT_EQ(megahertz, 4700u);
    put("/sys/devices/system/cpu/cpu0/acpi_cppc/nominal_freq", "3400\n");
    ASSERT_TRUE(machine().cpuFrequency(megahertz));
    EXPECT_EQ(megahertz, 3400u);
    put("/sys/devices/system/cpu/cpu0/cpufreq/base_frequency", "1600000\n");
    ASSERT_TRUE(machine().cpuFrequency(megahertz));
    EXPECT_EQ(megahertz, 1600u);
}

TEST_F(LaidOutMachineTest, AdaptersComeInTheOrderOfTheirSlotsWithVendorWordAndMarketedName) {
    put("/usr/share/misc/pci.ids", kPciIds);
    put("/proc/sys/kernel/osrelease", "6.1.0-13-amd64\n");
    put("/sys/module/nvidia/version", "550.54.14\n");
    putDevice("0000:41:00.0", "0x030200", "0x10de", "0x2684", "nvidia");
    putDevice("0000:00:02.0", "0x030000", "0x8086", "0x4680", "i915");
    putDevice("0000:03:00.0", "0x030000", "0x1002", "0x744c", "amdgpu");
    putDevice("0000:04:00.0", "0x030000", "0x1a03", "0x2000", "");
    putDevice("0000:00:1f.0", "0x060100", "0x8086", "0x7a84", "");
    put("/sys/bus/pci/devices/0000:03:00.0/mem_info_vram_total", "21458059264\n");

    const std::vector<Adapter> adapters = machine().adapters();
    ASSERT_EQ(adapters.size(), 4u);
    EXPECT_EQ(adapters[0].name, "Intel UHD Graphics 770");
    EXPECT_EQ(adapters[0].memory, 0u);
    EXPECT_EQ(adapters[0].version, "6.1.0-13-amd64");
    EXPECT_EQ(adapters[1].name, "AMD Radeon RX 7900 XT/7900 XTX");
    EXPECT_EQ(adapters[1].memory, 20464u);
    EXPECT_EQ(adapters[2].name, "ASPEED Technology, Inc. ASPEED Graphics Family");
    EXPECT_EQ(adapters[2].version, "");
    EXPECT_EQ(adapters[3].name, "NVIDIA GeForce RTX 4090");
    EXPECT_EQ(adapters[3].version, "550.54.14");
}

TEST_F(LaidOutMachineTest, AdaptersAreNamedByTheirIdsWithoutAList) {
    putDevice("0000:00:02.0", "0x030000", "0x8086", "0x4680", "");
    putDevice("0000:01:00.0", "0x038000", "0x1234", "0x1111", "");
    const std::vector<Adapter> adapters = machine().adapters();
    ASSERT_EQ(adapters.size(), 2u);
    EXPECT_EQ(adapters[0].name, "Intel Graphics 4680");
    EXPECT_EQ(adapters[1].name, "Vendor 1234 Graphics 1111");
}

TEST_F(LaidOutMachineTest, DeviceOfAnotherVendorWithTheSameIdGivesNoName) {
    put("/usr/share/hwdata/pci.ids", kPciIds);
    putDevice("0000:00:02.0", "0x030000", "0x8086", "0x2684", "");
    putDevice("0000:01:00.0", "0x030000", "0x1a03", "0x0000", "");
    const std::vector<Adapter> adapters = machine().adapters();
    ASSERT_EQ(adapters.size(), 2u);
    EXPECT_EQ(adapters[0].name, "Intel Graphics 2684");
    EXPECT_EQ(adapters[1].name, "ASPEED Technology, Inc. Graphics 0000");
}

}  // namespace platform::test
