#include "ipc/crash_file_names.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

// Gives away one block, so that a second request fails as the heap of a failed process may.
class OneBlock : public std::pmr::memory_resource {
  public:
    int requests = 0;

  private:
    void* do_allocate(size_t bytes, size_t) override {
        if (++requests > 1 || bytes > sizeof mBlock) throw std::bad_alloc();
        return mBlock;
    }
    void do_deallocate(void*, size_t, size_t) override {}
    bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }

    char mBlock[256];
};

TEST(CrashFileNameTest, StemHasTheClientsTwoIdsAndTheHostsOwn) {
    EXPECT_EQ(ipc::crashFileStem("12", "345n6", 789), "zelhost_crash_12_345n6_789");
}

TEST(CrashFileNameTest, UnknownIdsLeaveThreeUnderscoresInARow) {
    EXPECT_EQ(ipc::crashFileStem("", "", 789), "zelhost_crash___789");
}

TEST(CrashFileNameTest, StemTakesOneBlockOfTheGivenMemory) {
    OneBlock memory;
    const std::pmr::string stem = ipc::crashFileStem("4194304", "1234567890123n4294967295", 2147483647, &memory);
    EXPECT_EQ(stem, "zelhost_crash_4194304_1234567890123n4294967295_2147483647");
    EXPECT_EQ(stem.get_allocator().resource(), &memory);
    EXPECT_EQ(memory.requests, 1);
}

TEST(CrashFileNameTest, NamesOfBothFilesAreRead) {
    const auto dump = ipc::parseCrashFileName("zelhost_crash_12_345n6_789.dmp");
    ASSERT_TRUE(dump);
    EXPECT_EQ(dump->stem, "zelhost_crash_12_345n6_789");
    EXPECT_EQ(dump->extension, ipc::kCrashDumpExtension);
    EXPECT_EQ(dump->pid, "12");
    EXPECT_EQ(dump->mid, "345n6");
    EXPECT_EQ(dump->processId, 789);
    const auto report = ipc::parseCrashFileName("zelhost_crash_12_345n6_789.txt");
    ASSERT_TRUE(report);
    EXPECT_EQ(report->stem, dump->stem);
    EXPECT_EQ(report->extension, ipc::kCrashReportExtension);
}

TEST(CrashFileNameTest, WhatWasMadeIsRead) {
    for (const char* pid : {"", "1", "word"}) {
        for (const char* mid : {"", "7n2", "with_underscore", "_"}) {
            for (const int id : {0, 1, std::numeric_limits<int>::max()}) {
                const std::string name = std::string(ipc::crashFileStem(pid, mid, id)) + ".txt";
                const auto read = ipc::parseCrashFileName(name);
                ASSERT_TRUE(read) << name;
                EXPECT_EQ(read->pid, pid) << name;
                EXPECT_EQ(read->mid, mid) << name;
                EXPECT_EQ(read->processId, id) << name;
            }
        }
    }
}

TEST(CrashFileNameTest, OtherNamesAreNotRead) {
    for (const char* name :
         {"", "zelhost_crash_", ".txt", "zelhost_crash_.txt", "zelhost_crash__1.txt", "zelhost_crash_1_2_3",
          "zelhost_crash_1_2_3.log", "zelhost_crash_1_2_3.txt~", "zelhost_crash_1_2_.txt", "zelhost_crash_1_2_x.txt",
          "zelhost_crash_1_2_-3.txt", "zelhost_crash_1_2_+3.txt", "zelhost_crash_1_2_3x.txt",
          "zelhost_crash_1_2_2147483648.txt", "Zelhost_crash_1_2_3.txt", "x_zelhost_crash_1_2_3.txt"}) {
        EXPECT_FALSE(ipc::parseCrashFileName(name)) << name;
    }
}

}  // namespace
