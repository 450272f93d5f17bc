#include "crash/StackText.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>

namespace {

CrashText text(const wchar_t* characters) {
    return CrashText(characters);
}

CrashModules twoModules() {
    CrashModules modules;
    modules.push_back({text(L"first.dll"), 0x1000, 0x100});
    modules.push_back({text(L"second.dll"), 0x1080, 0x200});
    return modules;
}

std::wstring nameAt(const CrashModules& modules, uint64_t address) {
    const CrashModuleInfo* const module = findCrashModule(modules, address);
    return module ? std::wstring(module->name) : L"none";
}

// Memory of eight-byte words; what is not in it cannot be read.
using Words = std::map<uint64_t, uint64_t>;

bool readWord(void* words, uint64_t address, uint64_t& value) {
    const auto found = static_cast<Words*>(words)->find(address);
    if (found == static_cast<Words*>(words)->end()) return false;
    value = found->second;
    return true;
}

constexpr uint64_t kRecord = 0x5000;
constexpr uint64_t kArray = 0x9000;

// A record with an array of `slots` addresses 1, 2, 3 ... behind the first frame's, 0x77.
Words recordWith(uint64_t slots) {
    const uint64_t end = kArray + slots * 8;
    Words words = {{kRecord + 0x18, 0x77}, {kRecord + 0x20, kArray}, {kRecord + 0x28, kArray}, {kRecord + 0x30, end}};
    for (uint64_t slot = 0; slot < slots; ++slot) words[kArray + slot * 8] = slot + 1;
    return words;
}

CrashAddresses read(Words words) {
    return readExtraFrames(kRecord, readWord, &words);
}

}  // namespace

TEST(CrashModuleNameTest, NameCutFromAPathIsInLowerCase) {
    EXPECT_EQ(crashModuleName(L"C:\\Program Files\\ZelHost.EXE", L'\\'), text(L"zelhost.exe"));
    EXPECT_EQ(crashModuleName(L"/usr/lib/libSome.so.6", L'/'), text(L"libsome.so.6"));
}

TEST(CrashModuleNameTest, PathWithoutSeparatorStaysAsItIs) {
    EXPECT_EQ(crashModuleName(L"ZelHost.EXE", L'\\'), text(L"ZelHost.EXE"));
    EXPECT_EQ(crashModuleName(L"", L'\\'), text(L""));
    EXPECT_EQ(crashModuleName(L"folder\\", L'\\'), text(L""));
}

TEST(CrashModuleTest, BothBoundsAreStrict) {
    const CrashModules modules = twoModules();
    EXPECT_EQ(nameAt(modules, 0x1000), L"none");
    EXPECT_EQ(nameAt(modules, 0x1001), L"first.dll");
    EXPECT_EQ(nameAt(modules, 0x127F), L"second.dll");
    EXPECT_EQ(nameAt(modules, 0x1280), L"none");
}

TEST(CrashModuleTest, FirstOfTwoThatOverlapIsTaken) {
    EXPECT_EQ(nameAt(twoModules(), 0x10FF), L"first.dll");
    EXPECT_EQ(nameAt(twoModules(), 0x1100), L"second.dll");
}

TEST(CrashModuleTest, ModuleAtTheEndOfMemoryIsFound) {
    CrashModules modules;
    modules.push_back({text(L"last"), UINT64_MAX - 0x10, 0x100});
    EXPECT_EQ(nameAt(modules, UINT64_MAX), L"last");
    EXPECT_EQ(nameAt(modules, 5), L"none");
}

TEST(CrashEntryTest, EntryIsNamePlusOffsetInLowerCaseHexadecimal) {
    CrashText entries;
    appendCrashEntry(entries, twoModules()[0], 0x10AB);
    appendCrashEntry(entries, twoModules()[1], 0x1281);
    EXPECT_EQ(entries, text(L"first.dll+0xab;second.dll+0x201;"));
}

TEST(ExtraFramesTest, FirstFrameAndTheWholeArrayAreRead) {
    const CrashAddresses expected = {0x77, 1, 2, 3};
    EXPECT_EQ(read(recordWith(3)), expected);
}

TEST(ExtraFramesTest, ArrayOf800BytesIsReadAndMakes101Addresses) {
    EXPECT_EQ(read(recordWith(100)).size(), 101u);
}

TEST(ExtraFramesTest, ArrayOf808BytesIsSkipped) {
    EXPECT_EQ(read(recordWith(101)), CrashAddresses{0x77});
}

TEST(ExtraFramesTest, ZeroAmongTheThreeSkipsTheArray) {
    for (const uint64_t field : {0x20, 0x28, 0x30}) {
        Words words = recordWith(3);
        words[kRecord + field] = 0;
        EXPECT_EQ(read(words), CrashAddresses{0x77}) << field;
    }
}

TEST(ExtraFramesTest, ArrayThatEndsBeforeItsUsedPartIsSkipped) {
    Words words = recordWith(3);
    words[kRecord + 0x28] = words[kRecord + 0x30] + 8;
    EXPECT_EQ(read(words), CrashAddresses{0x77});
    words[kRecord + 0x28] = words[kRecord + 0x30];
    EXPECT_EQ(read(words).size(), 4u);
}

TEST(ExtraFramesTest, ArrayWhoseEndLiesBeforeItsBeginIsSkipped) {
    Words words = recordWith(3);
    words[kRecord + 0x28] = words[kRecord + 0x30] = kArray - 8;
    EXPECT_EQ(read(words), CrashAddresses{0x77});
}

TEST(ExtraFramesTest, WhatCannotBeReadThrows) {
    for (const uint64_t missing : {kRecord + 0x18, kRecord + 0x20, kRecord + 0x28, kRecord + 0x30, kArray + 8}) {
        Words words = recordWith(3);
        words.erase(missing);
        try {
            read(words);
            ADD_FAILURE() << missing;
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "Can't read memory");
        }
    }
}
