#include "platform/include/resource.h"

#include <gtest/gtest.h>

#include <string>

namespace platform::test {

namespace {

std::string contentOf(int id) {
    const Resource resource = findResource(id);
    std::string content(static_cast<const char*>(resource.data), resource.size);
    releaseResource(resource);
    return content;
}

}  // namespace

TEST(ResourceTest, BlockIsFoundByIdWithItsExactBytes) {
    EXPECT_EQ(contentOf(101), std::string("one\0block", 9));
}

TEST(ResourceTest, BlockOfAnotherLanguageIsFoundToo) {
    EXPECT_EQ(contentOf(130), "another language");
}

TEST(ResourceTest, MissingIdHasNoData) {
    const Resource resource = findResource(102);
    EXPECT_EQ(resource.data, nullptr);
    EXPECT_EQ(resource.size, 0u);
    releaseResource(resource);
}

TEST(ResourceTest, BlockCanBeFoundAgainAfterItsRelease) {
    releaseResource(findResource(101));
    EXPECT_EQ(findResource(101).size, 9u);
}

TEST(ResourceTest, ReplacedBlocksAreFoundUntilTheProgramsOwnAreBack) {
    replaceResources([](int id) { return id == 7 ? Resource{"seven", 5, nullptr} : Resource{}; });
    EXPECT_EQ(contentOf(7), "seven");
    EXPECT_EQ(findResource(101).data, nullptr);
    replaceResources(nullptr);
    EXPECT_EQ(findResource(7).data, nullptr);
    EXPECT_EQ(findResource(101).size, 9u);
}

TEST(ResourceTest, StringsAreTheProgramsOwn) {
    wchar_t buffer[100];
    EXPECT_EQ(loadString(103, buffer, 100), 13);
    EXPECT_EQ(std::wstring(buffer), L"platform_test");
    EXPECT_EQ(loadString(109, buffer, 100), 13);
    EXPECT_EQ(std::wstring(buffer), L"PLATFORM_TEST");
}

TEST(ResourceTest, StringIsCutToFitAndTerminated) {
    wchar_t buffer[] = L"##########";
    EXPECT_EQ(loadString(103, buffer, 9), 8);
    EXPECT_EQ(std::wstring(buffer), L"platform");
    EXPECT_EQ(buffer[9], L'#');
}

TEST(ResourceTest, MissingStringIsEmpty) {
    wchar_t buffer[] = L"####";
    EXPECT_EQ(loadString(104, buffer, 4), 0);
    EXPECT_EQ(buffer[0], L'\0');
}

TEST(ResourceTest, BufferWithoutRoomIsLeftAlone) {
    wchar_t buffer[] = L"#";
    EXPECT_EQ(loadString(103, buffer, 0), 0);
    EXPECT_EQ(buffer[0], L'#');
}

TEST(ResourceTest, ProductVersionIsTheBuilds) {
    EXPECT_EQ(productVersion(), TEST_PRODUCT_VERSION);
}

}  // namespace platform::test
