#include "client/tool/Failure.h"

#include <gmock/gmock.h>

#include <new>
#include <stdexcept>

namespace {

using namespace zeltool;

struct Outcome {
    int code;
    std::string err;
};

Outcome outcomeOf(const std::function<int()>& body) {
    testing::internal::CaptureStderr();
    const int code = exitCodeOf(body);
    return {code, testing::internal::GetCapturedStderr()};
}

TEST(FailureTest, CodeOfTheBodyIsKept) {
    EXPECT_EQ(outcomeOf([] { return kDone; }).code, 0);
    EXPECT_EQ(outcomeOf([] { return kHost; }).code, 4);
}

TEST(FailureTest, FailureIsToldAndHasItsCode) {
    const Outcome outcome = outcomeOf([]() -> int { throw Failure{kInput, "there is no me.png"}; });
    EXPECT_EQ(outcome.code, 2);
    EXPECT_EQ(outcome.err, "zelclient: there is no me.png\n");
}

TEST(FailureTest, FailureOfTheToolItselfHasACodeOfItsOwn) {
    const Outcome memory = outcomeOf([]() -> int { throw std::bad_alloc(); });
    EXPECT_EQ(memory.code, 6);
    EXPECT_EQ(memory.err, "zelclient: there is not enough memory\n");
    const Outcome library = outcomeOf([]() -> int { throw std::runtime_error("the image library gave 3"); });
    EXPECT_EQ(library.code, 6);
    EXPECT_EQ(library.err, "zelclient: the image library gave 3\n");
}

}  // namespace
