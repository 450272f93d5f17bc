#include "util/include/CmException.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

template <class Thrown>
std::string textOf(const Thrown& thrown) {
    try {
        throw thrown;
    } catch (...) {
        return cm::currentExceptionText();
    }
}

}  // namespace

TEST(CurrentExceptionTextTest, StandardExceptionHasItsWords) {
    EXPECT_EQ(textOf(std::runtime_error("no memory on the device")), "no memory on the device");
}

TEST(CurrentExceptionTextTest, AnythingElseHasNone) {
    EXPECT_EQ(textOf(42), "an exception without text");
}
