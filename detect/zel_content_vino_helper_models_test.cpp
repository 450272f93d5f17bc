#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "detect/ZelContentVinoHelper.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Box = std::array<int, 4>;  // left, top, right, bottom

// A page with lines of text, and a window on it whose picture another frame replaces.
class Screen {
  public:
    Screen(int32_t width, int32_t height, const Box& window) : mWidth(width), mHeight(height), mWindow(window) {
        mBytes.assign(static_cast<size_t>(width) * static_cast<size_t>(height), 235);
        for (int32_t y = 12; y + 6 < height; y += 14)
            for (int32_t x = 16; x + 4 < width - 16; x += 7) fill({x, y, x + 4 + (x * y) % 3, y + 6}, 60);
        fill({window[0] - 2, window[1] - 2, window[2] + 2, window[3] + 2}, 20);
    }

    // Blocks of chance greys.
    const Bytes& play() {
        for (int32_t y = mWindow[1]; y < mWindow[3]; y += 4)
            for (int32_t x = mWindow[0]; x < mWindow[2]; x += 4)
                fill({x, y, std::min(x + 4, mWindow[2]), std::min(y + 4, mWindow[3])}, chance());
        return mBytes;
    }
    const Bytes& bytes() const { return mBytes; }
    int32_t width() const { return mWidth; }
    int32_t height() const { return mHeight; }

  private:
    void fill(const Box& box, uint8_t grey) {
        for (int32_t y = box[1]; y < box[3]; ++y)
            std::fill_n(mBytes.begin() + y * mWidth + box[0], box[2] - box[0], grey);
    }
    uint8_t chance() {
        mState = mState * 1664525 + 1013904223;
        return static_cast<uint8_t>(mState >> 24);
    }

    int32_t mWidth;
    int32_t mHeight;
    Box mWindow;
    Bytes mBytes;
    uint32_t mState = 1;
};

// What a new helper finds over three frames of a screen.
std::string found(const Screen& screen, const std::function<const Bytes&()>& frame) {
    ZelContentVinoHelper helper(loadNetwork);
    helper.init("CPU");
    std::string text;
    const auto give = [&](const Bytes& bytes) {
        return helper.processVino(screen.width(), screen.height(), bytes.data(), static_cast<int32_t>(bytes.size()),
                                  text);
    };
    // How many frames wait is the program's: other tests may have left some.
    while (!give(screen.bytes())) continue;
    EXPECT_FALSE(give(frame()));
    EXPECT_FALSE(give(frame()));
    EXPECT_TRUE(give(frame()));
    return text;
}

double overlap(const Box& a, const Box& b) {
    const auto area = [](const Box& box) { return std::max(box[2] - box[0], 0) * std::max(box[3] - box[1], 0); };
    const Box common{std::max(a[0], b[0]), std::max(a[1], b[1]), std::min(a[2], b[2]), std::min(a[3], b[3])};
    return static_cast<double>(area(common)) / (area(a) + area(b) - area(common));
}

TEST(ContentModelTest, PlayingWindowIsFoundInPixelsOfTheScreen) {
    for (const auto& [width, height] : {std::pair{512, 512}, {512, 288}, {400, 300}}) {
        const Box window{80, 60, 300, 200};
        Screen screen(width, height, window);
        const std::string text = found(screen, [&]() -> const Bytes& { return screen.play(); });
        Box box{};
        ASSERT_EQ(std::sscanf(text.c_str(), "{\"ContentNum\":1,\"ContentPos\":[[%d,%d,%d,%d,", &box[0], &box[1],
                              &box[2], &box[3]),
                  4)
            << text;
        EXPECT_GE(overlap(box, window), 0.8) << text;
    }
}

TEST(ContentModelTest, NothingIsFoundOnAScreenThatStandsStill) {
    Screen screen(512, 288, {80, 60, 300, 200});
    screen.play();
    EXPECT_EQ(found(screen, [&]() -> const Bytes& { return screen.bytes(); }), "{\"ContentNum\":0,\"ContentPos\":[]}");
}

}  // namespace
