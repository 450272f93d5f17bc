#include "platform/posix/loaded_modules.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>

#include "platform/posix/memory_map.h"
#include "platform/posix/process_memory.h"
#include "platform/test_support.h"

namespace platform::test {

namespace {

struct Found {
    std::string path;
    uint64_t size;
    size_t buildIdSize;
};
using FoundModules = std::map<uint64_t, Found>;  // by base

FoundModules modules() {
    FoundModules found;
    visitLoadedModules(
        [](void* context, const LoadedModule& module) {
            FoundModules& all = *static_cast<FoundModules*>(context);
            EXPECT_TRUE(all.emplace(module.base, Found{module.path, module.size, module.buildIdSize}).second);
            return true;
        },
        &found);
    return found;
}

size_t countOf(const std::string& path) {
    size_t count = 0;
    for (const auto& [base, module] : modules()) count += module.path == path;
    return count;
}

std::string dependency() {
    return siblingProgram("beside/libplatform_test_dependency.so");
}

// A library that is loaded as long as the object lives.
class Loaded {
  public:
    explicit Loaded(const std::string& path) : library_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
        EXPECT_NE(library_, nullptr) << dlerror();
    }
    ~Loaded() { dlclose(library_); }
    Loaded(const Loaded&) = delete;
    Loaded& operator=(const Loaded&) = delete;
    uint64_t base() const { return static_cast<link_map*>(library_)->l_addr; }

  private:
    void* const library_;
};

}  // namespace

TEST(LoadedModulesTest, AreThoseThatTheLoaderKnows) {
    const FoundModules found = modules();
    std::map<uint64_t, uint64_t> known;  // base to the end of the last segment
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* context) {
            uint64_t first = UINT64_MAX;
            uint64_t last = 0;
            for (int i = 0; i < info->dlpi_phnum; ++i) {
                const Elf64_Phdr& segment = info->dlpi_phdr[i];
                if (segment.p_type != PT_LOAD) continue;
                first = std::min(first, info->dlpi_addr + segment.p_vaddr);
                last = std::max(last, info->dlpi_addr + segment.p_vaddr + segment.p_memsz);
            }
            (*static_cast<std::map<uint64_t, uint64_t>*>(context))[first / 4096 * 4096] = last;
            return 0;
        },
        &known);
    EXPECT_GE(known.size(), 4u);
    for (const auto& [base, end] : known) {
        ASSERT_EQ(found.count(base), 1u) << base;
        EXPECT_LE(found.at(base).size, (end + 4095) / 4096 * 4096 - base) << found.at(base).path;
        EXPECT_GT(found.at(base).size, 4096u) << found.at(base).path;
    }
    EXPECT_EQ(found.size(), known.size());
}

TEST(LoadedModulesTest, SizeReachesFromTheFirstToTheLastMapping) {
    const Loaded library(dependency());
    uint64_t end = 0;
    MemoryMap map;
    for (Mapping mapping; map.next(mapping);) {
        if (mapping.path == dependency()) end = mapping.end;
    }
    const FoundModules found = modules();
    ASSERT_EQ(found.count(library.base()), 1u);
    EXPECT_EQ(found.at(library.base()).path, dependency());
    EXPECT_EQ(found.at(library.base()).size, end - library.base());
}

TEST(LoadedModulesTest, SameLibraryFromTwoFilesIsTwoModules) {
    const TemporaryFolder folder;
    std::filesystem::copy_file(dependency(), folder.path("copy.so"));
    const Loaded first(dependency());
    const Loaded second(folder.path("copy.so"));
    EXPECT_EQ(countOf(dependency()), 1u);
    EXPECT_EQ(countOf(folder.path("copy.so")), 1u);
}

TEST(LoadedModulesTest, DeletedLibraryKeepsItsPath) {
    const TemporaryFolder folder;
    const std::string path = folder.path("with blank (deleted) in it.so");
    std::filesystem::copy_file(dependency(), path);
    const Loaded library(path);
    EXPECT_EQ(countOf(path), 1u);
    std::filesystem::remove(path);
    EXPECT_EQ(countOf(path), 1u);
}

TEST(LoadedModulesTest, FileThatIsOnlyReadIsNoModule) {
    const TemporaryFolder folder;
    const std::string path = folder.path("read.so");
    std::filesystem::copy_file(dependency(), path);
    const int file = open(path.c_str(), O_RDONLY);
    const size_t size = std::filesystem::file_size(path);
    void* const view = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
    ASSERT_NE(view, MAP_FAILED);
    close(file);
    EXPECT_EQ(countOf(path), 0u);
    munmap(view, size);
}

TEST(LoadedModulesTest, DamagedHeadersAreNoModule) {
    const TemporaryFolder folder;
    const std::string whole = readFile(dependency());
    const std::string damages[] = {"",
                                   "\x7f",
                                   whole.substr(0, 63),
                                   whole.substr(0, 100),
                                   std::string(5000, 'x'),
                                   whole.substr(0, 56) + "\xff\xff" + whole.substr(58),
                                   whole.substr(0, 32) + std::string(8, '\xff') + whole.substr(40)};
    const size_t before = modules().size();
    for (const std::string& damage : damages) {
        const std::string path = folder.write("damaged.so", damage);
        const int file = open(path.c_str(), O_RDONLY);
        void* const view = mmap(nullptr, 8192, PROT_READ | PROT_EXEC, MAP_PRIVATE, file, 0);
        ASSERT_NE(view, MAP_FAILED);
        close(file);
        EXPECT_EQ(modules().size(), before) << damage.size();
        munmap(view, 8192);
    }
}

TEST(LoadedModulesTest, VisitEndsWhenTheVisitorHasEnough) {
    size_t visits = 0;
    visitLoadedModules([](void* count, const LoadedModule&) { return ++*static_cast<size_t*>(count) < 2; }, &visits);
    EXPECT_EQ(visits, 2u);
}

TEST(LoadedModulesTest, KernelsOwnModuleHasItsName) {
    EXPECT_EQ(countOf("[vdso]"), 1u);
}

TEST(ProcessMemoryTest, IsReadUpToTheFirstByteThatCannotBeRead) {
    char* const memory =
        static_cast<char*>(mmap(nullptr, 4 * 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    std::memset(memory, 'm', 4 * 4096);
    mprotect(memory + 3 * 4096, 4096, PROT_NONE);
    const auto address = reinterpret_cast<uint64_t>(memory);
    std::string target(4 * 4096, '\0');
    EXPECT_EQ(readProcessMemory(address, target.data(), 4096), 4096u);
    EXPECT_EQ(readProcessMemory(address + 10, target.data(), 4 * 4096 - 10), 3u * 4096 - 10);
    EXPECT_EQ(target.substr(0, 3 * 4096 - 10), std::string(3 * 4096 - 10, 'm'));
    EXPECT_EQ(readProcessMemory(address + 3 * 4096 - 1, target.data(), 2), 1u);
    EXPECT_EQ(readProcessMemory(address + 3 * 4096, target.data(), 1), 0u);
    munmap(memory, 4 * 4096);
    EXPECT_EQ(readProcessMemory(address, target.data(), 1), 0u);
    EXPECT_EQ(readProcessMemory(0, target.data(), 8), 0u);
    EXPECT_EQ(readProcessMemory(~uint64_t{0}, target.data(), 1), 0u);
}

}  // namespace platform::test
