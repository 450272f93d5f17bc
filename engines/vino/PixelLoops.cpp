#include "engines/vino/PixelLoops.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "engines/vino/PixelLoopsPlain.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engines/vino/PixelLoops.cpp"
#include "hwy/foreach_target.h"  // keep before highway.h
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace PixelLoops {
namespace HWY_NAMESPACE {

// A processor without vectors is served by the plain forms.
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

Kernels kernels() {
    return plain();
}

#else

namespace hn = hwy::HWY_NAMESPACE;

using Bytes = hn::ScalableTag<uint8_t>;
using Words = hn::RepartitionToWide<Bytes>;
using Ints = hn::RepartitionToWide<hn::Repartition<int16_t, Bytes> >;
using Floats = hn::ScalableTag<float>;

// Runs `body(i)` so that every index of [0, count) lies in a full vector of `lanes`; the last one overlaps its
// neighbour. False, and nothing done, when count is smaller than a vector.
template <class Body>
HWY_INLINE bool forEachVector(size_t count, size_t lanes, Body body) {
    if (count < lanes) return false;
    for (size_t i = 0; i + lanes <= count; i += lanes) body(i);
    if (count % lanes != 0) body(count - lanes);
    return true;
}

HWY_INLINE hn::Vec<Floats> floatsOf(const uint8_t* bytes) {
    const hn::Rebind<uint8_t, Floats> quarter;
    return hn::ConvertTo(Floats(), hn::PromoteTo(Ints(), hn::LoadU(quarter, bytes)));
}

void fillFromBytes(const uint8_t* bytes, size_t count, float* floats) {
    const Floats d;
    const bool done =
        forEachVector(count, hn::Lanes(d), [=](size_t i) HWY_ATTR { hn::StoreU(floatsOf(bytes + i), d, floats + i); });
    if (!done) bytesToFloats(bytes, count, floats);
}

void bytesToFractions(const uint8_t* bytes, size_t count, float* floats) {
    const Floats d;
    const auto greatest = hn::Set(d, 255.0f);
    const bool done = forEachVector(count, hn::Lanes(d), [=](size_t i) HWY_ATTR {
        hn::StoreU(hn::Div(floatsOf(bytes + i), greatest), d, floats + i);
    });
    if (!done) plain().bytesToFractions(bytes, count, floats);
}

// Which bytes of a block of four pixels go into four integers: those of one channel.
struct alignas(16) ChannelBytes {
    uint32_t index[4];
};

constexpr ChannelBytes bytesOfChannel(uint32_t channel) {
    constexpr uint32_t kZeros = 0x80808000;
    return {{kZeros | channel, kZeros | (3 + channel), kZeros | (6 + channel), kZeros | (9 + channel)}};
}

// A vector of floats needs three quarters of a vector of frame bytes. These are spread so that each block of 16 bytes
// begins with four whole pixels, whose channels are then picked block by block.
class PixelSpreader {
  public:
    PixelSpreader() : mIndices(hn::SetTableIndices(Dwords(), makeIndices().data())) {}

    // Reads a whole vector of bytes at `frame`.
    HWY_INLINE hn::Vec<Bytes> load(const uint8_t* frame) const {
        const auto packed = hn::BitCast(Dwords(), hn::LoadU(Bytes(), frame));
        return hn::BitCast(Bytes(), hn::TableLookupLanes(packed, mIndices));
    }

  private:
    using Dwords = hn::Repartition<uint32_t, Bytes>;
    using Indices = decltype(hn::SetTableIndices(Dwords(), static_cast<const int32_t*>(nullptr)));

    static std::array<int32_t, HWY_MAX_BYTES / 4> makeIndices() {
        std::array<int32_t, HWY_MAX_BYTES / 4> indices{};
        for (size_t i = 0; i < indices.size(); ++i)
            indices[i] = static_cast<int32_t>(i / 4 * 3 + std::min<size_t>(i % 4, 2));
        return indices;
    }

    Indices mIndices;
};

// `value` makes a float of a vector or of a single one.
template <class Value>
HWY_INLINE void fillFrame(const uint8_t* frame, size_t pixels, float* planes, Value value) {
    const Bytes bytes;
    const Floats d;
    const Ints ints;
    const hn::Repartition<uint32_t, Bytes> dwords;
    static constexpr ChannelBytes kChannels[] = {bytesOfChannel(0), bytesOfChannel(1), bytesOfChannel(2)};
    const auto first = hn::BitCast(bytes, hn::LoadDup128(dwords, kChannels[0].index));
    const auto second = hn::BitCast(bytes, hn::LoadDup128(dwords, kChannels[1].index));
    const auto third = hn::BitCast(bytes, hn::LoadDup128(dwords, kChannels[2].index));
    const PixelSpreader spreader;
    size_t i = 0;
    for (; i * 3 + hn::Lanes(bytes) <= pixels * 3; i += hn::Lanes(d)) {
        const auto spread = spreader.load(frame + i * 3);
        const auto store = [=](auto channel, float* plane) HWY_ATTR {
            const auto integers = hn::BitCast(ints, hn::TableLookupBytesOr0(spread, channel));
            hn::StoreU(value.ofVector(hn::ConvertTo(d, integers)), d, plane + i);
        };
        store(first, planes);
        store(second, planes + pixels);
        store(third, planes + pixels * 2);
    }
    for (; i < pixels; ++i) {
        for (size_t c = 0; c < 3; ++c) planes[c * pixels + i] = value.ofFloat(frame[i * 3 + c]);
    }
}

struct AsItIs {
    HWY_INLINE hn::Vec<Floats> ofVector(hn::Vec<Floats> bytes) const { return bytes; }
    static float ofFloat(float byte) { return byte; }
};

struct Centred {
    HWY_INLINE hn::Vec<Floats> ofVector(hn::Vec<Floats> bytes) const {
        const Floats d;
        return hn::Mul(hn::Sub(bytes, hn::Set(d, 127.0f)), hn::Set(d, 0.0078125f));
    }
    static float ofFloat(float byte) { return centred(byte); }
};

void fillPlanes(const uint8_t* frame, const uint8_t* mask, size_t pixels, size_t channels, float* planes) {
    if (channels < 3) {
        plain().fillPlanes(frame, mask, pixels, channels, planes);
        return;
    }
    fillFrame(frame, pixels, planes, AsItIs());
    for (size_t c = 3; c < channels; ++c) fillFromBytes(mask, pixels, planes + c * pixels);
}

void fillCentredPlanes(const uint8_t* frame, size_t pixels, float* planes) {
    fillFrame(frame, pixels, planes, Centred());
}

// A product below the integer's range becomes the least integer, whose low byte is 0 as it is to be.
void floatsToBytes(const float* values, size_t count, float scale, uint8_t* bytes) {
    const Floats d;
    const hn::RebindToSigned<Floats> ints;
    const hn::RebindToUnsigned<Floats> bits;
    const hn::Rebind<uint8_t, Floats> quarter;
    const auto factor = hn::Set(d, scale);
    const auto beyond = hn::Set(d, 2147483648.0f);
    const bool done = forEachVector(count, hn::Lanes(d), [=](size_t i) HWY_ATTR {
        const auto product = hn::Mul(hn::LoadU(d, values + i), factor);
        const auto whole = hn::ConvertTo(ints, hn::IfThenElseZero(hn::Lt(product, beyond), product));
        hn::StoreU(hn::TruncateTo(quarter, hn::BitCast(bits, whole)), quarter, bytes + i);
    });
    if (!done) plain().floatsToBytes(values, count, scale, bytes);
}

uint32_t sumBytes(const uint8_t* bytes, size_t count) {
    const Bytes d;
    const hn::Repartition<uint64_t, Bytes> sums;
    const size_t lanes = hn::Lanes(d);
    auto first = hn::Zero(sums);
    auto second = hn::Zero(sums);
    size_t i = 0;
    for (; i + lanes * 2 <= count; i += lanes * 2) {
        first = hn::Add(first, hn::SumsOf8(hn::LoadU(d, bytes + i)));
        second = hn::Add(second, hn::SumsOf8(hn::LoadU(d, bytes + i + lanes)));
    }
    const uint64_t vectors = hn::GetLane(hn::SumOfLanes(sums, hn::Add(first, second)));
    return static_cast<uint32_t>(vectors) + plain().sumBytes(bytes + i, count - i);
}

// The edge map needs no integral image here: a window holds both kinds of pixels exactly when its least byte is not
// foreground and its greatest is. Clipping a window equals repeating the border's pixels, which lie in it anyway.
constexpr size_t kReach = 2;
constexpr size_t kTileColumns = 1024;

// Least and greatest byte of the rows of a window, for each column of a tile and kReach more on both sides.
struct ColumnExtremes {
    static constexpr size_t kSlack = HWY_MAX_BYTES;
    uint8_t least[kTileColumns + 2 * kReach + kSlack];
    uint8_t greatest[kTileColumns + 2 * kReach + kSlack];
};

struct Rows {
    const uint8_t* first;
    size_t count;
    size_t stride;
};

void columnExtremes(const Rows& rows, size_t columns, uint8_t* least, uint8_t* greatest) {
    const Bytes d;
    const bool done = forEachVector(columns, hn::Lanes(d), [=](size_t i) HWY_ATTR {
        auto low = hn::LoadU(d, rows.first + i);
        auto high = low;
        for (size_t row = 1; row < rows.count; ++row) {
            const auto bytes = hn::LoadU(d, rows.first + row * rows.stride + i);
            low = hn::Min(low, bytes);
            high = hn::Max(high, bytes);
        }
        hn::StoreU(low, d, least + i);
        hn::StoreU(high, d, greatest + i);
    });
    if (done) return;
    for (size_t i = 0; i < columns; ++i) {
        least[i] = greatest[i] = rows.first[i];
        for (size_t row = 1; row < rows.count; ++row) {
            least[i] = std::min(least[i], rows.first[row * rows.stride + i]);
            greatest[i] = std::max(greatest[i], rows.first[row * rows.stride + i]);
        }
    }
}

// Columns [left, right) of the image's row that `rows` surround, into `extremes` from index 0 = column left - kReach
// on.
void gatherTile(const Rows& rows, size_t width, size_t left, size_t right, ColumnExtremes& extremes) {
    const size_t begin = left - std::min(left, kReach);
    const size_t end = std::min(right + kReach, width);
    const size_t at = kReach - (left - begin);
    columnExtremes({rows.first + begin, rows.count, rows.stride}, end - begin, extremes.least + at,
                   extremes.greatest + at);
    for (size_t i = 0; i < at; ++i) {
        extremes.least[i] = extremes.least[at];
        extremes.greatest[i] = extremes.greatest[at];
    }
    const size_t filled = at + end - begin;
    for (size_t i = filled; i < right - left + 2 * kReach; ++i) {
        extremes.least[i] = extremes.least[filled - 1];
        extremes.greatest[i] = extremes.greatest[filled - 1];
    }
}

HWY_INLINE hn::Mask<Bytes> edgesAt(const ColumnExtremes& extremes, size_t i) {
    const Bytes d;
    auto low = hn::LoadU(d, extremes.least + i);
    auto high = hn::LoadU(d, extremes.greatest + i);
    for (size_t shift = 1; shift <= 2 * kReach; ++shift) {
        low = hn::Min(low, hn::LoadU(d, extremes.least + i + shift));
        high = hn::Max(high, hn::LoadU(d, extremes.greatest + i + shift));
    }
    const auto threshold = hn::Set(d, static_cast<uint8_t>(kForegroundAbove));
    return hn::AndNot(hn::Gt(low, threshold), hn::Gt(high, threshold));
}

int32_t markTile(const ColumnExtremes& extremes, size_t columns, uint8_t* edgeMap) {
    const Bytes d;
    const size_t lanes = hn::Lanes(d);
    const auto one = hn::Set(d, uint8_t{1});
    size_t count = 0;
    size_t i = 0;
    for (; i + lanes <= columns; i += lanes) {
        const auto edges = edgesAt(extremes, i);
        hn::StoreU(hn::IfThenElse(edges, one, hn::LoadU(d, edgeMap + i)), d, edgeMap + i);
        count += hn::CountTrue(d, edges);
    }
    if (i < columns) {
        uint8_t found[HWY_MAX_BYTES];
        hn::StoreU(hn::IfThenElseZero(edgesAt(extremes, i), one), d, found);
        for (size_t k = 0; i + k < columns; ++k) {
            if (found[k] == 0) continue;
            edgeMap[i + k] = 1;
            ++count;
        }
    }
    return static_cast<int32_t>(count);
}

int32_t markEdges(size_t width, size_t height, const uint8_t* mask, uint8_t* edgeMap) {
    ColumnExtremes extremes;
    std::fill_n(extremes.least, sizeof(extremes.least), uint8_t{0});
    std::fill_n(extremes.greatest, sizeof(extremes.greatest), uint8_t{0});
    int32_t count = 0;
    for (size_t y = 0; y < height; ++y) {
        const size_t top = y - std::min(y, kReach);
        const size_t bottom = std::min(y + kReach, height - 1);
        const Rows rows{mask + top * width, bottom - top + 1, width};
        for (size_t left = 0; left < width; left += kTileColumns) {
            const size_t right = std::min(left + kTileColumns, width);
            gatherTile(rows, width, left, right, extremes);
            count += markTile(extremes, right - left, edgeMap + y * width + left);
        }
    }
    return count;
}

// Not zero in every byte where all three of the upper values are strictly above the lower ones.
template <class V>
HWY_INLINE V allAbove(V upper0, V lower0, V upper1, V lower1, V upper2, V lower2) {
    return hn::Min(hn::Min(hn::SaturatedSub(upper0, lower0), hn::SaturatedSub(upper1, lower1)),
                   hn::SaturatedSub(upper2, lower2));
}

HWY_INLINE hn::Vec<Bytes> erodedAt(const uint8_t* above, const uint8_t* here, const uint8_t* below) {
    const Bytes d;
    const auto a0 = hn::LoadU(d, above - 1), a1 = hn::LoadU(d, above), a2 = hn::LoadU(d, above + 1);
    const auto h0 = hn::LoadU(d, here - 1), h1 = hn::LoadU(d, here), h2 = hn::LoadU(d, here + 1);
    const auto b0 = hn::LoadU(d, below - 1), b1 = hn::LoadU(d, below), b2 = hn::LoadU(d, below + 1);
    const auto across = hn::Max(allAbove(a0, a1, h0, h1, b0, b1), allAbove(a1, a2, h1, h2, b1, b2));
    const auto down = hn::Max(allAbove(a0, h0, a1, h1, a2, h2), allAbove(h0, b0, h1, b1, h2, b2));
    const auto least =
        hn::Min(hn::Min(hn::Min(hn::Min(a0, a1), hn::Min(a2, h0)), hn::Min(hn::Min(h1, h2), hn::Min(b0, b1))), b2);
    const auto steady = hn::Ne(hn::Max(across, down), hn::Zero(d));
    return hn::IfThenElse(steady, least, h1);
}

void erode(size_t width, size_t height, const uint8_t* src, uint8_t* dst) {
    const Bytes d;
    if (width - 2 < hn::Lanes(d)) {
        plain().erode(width, height, src, dst);
        return;
    }
    erodeBorder(width, height, src, dst);
    for (size_t y = 1; y + 1 < height; ++y) {
        const uint8_t* here = src + y * width + 1;
        uint8_t* out = dst + y * width + 1;
        forEachVector(width - 2, hn::Lanes(d), [=](size_t i) HWY_ATTR {
            hn::StoreU(erodedAt(here - width + i, here + i, here + width + i), d, out + i);
        });
    }
}

// A pixel's differences added up with saturation: all that matters is whether they pass 30.
template <class D>
HWY_INLINE hn::Vec<D> differenceSums(D d, const uint8_t* frame, const uint8_t* refFrame) {
    hn::Vec<D> f0, f1, f2, r0, r1, r2;
    hn::LoadInterleaved3(d, frame, f0, f1, f2);
    hn::LoadInterleaved3(d, refFrame, r0, r1, r2);
    const auto difference = [](auto a, auto b)
                                HWY_ATTR { return hn::Or(hn::SaturatedSub(a, b), hn::SaturatedSub(b, a)); };
    return hn::SaturatedAdd(hn::SaturatedAdd(difference(f0, r0), difference(f1, r1)), difference(f2, r2));
}

int32_t countChanged(size_t pixels, const uint8_t* frame, const uint8_t* refFrame, const uint8_t* edgeMap) {
    const hn::CappedTag<uint8_t, 32> d;
    const size_t lanes = hn::Lanes(d);
    const auto limit = hn::Set(d, static_cast<uint8_t>(kChangedPixelSum));
    const auto zero = hn::Zero(d);
    size_t count = 0;
    size_t i = 0;
    for (; i + lanes <= pixels; i += lanes) {
        const auto edge = hn::Ne(hn::LoadU(d, edgeMap + i), zero);
        if (hn::AllFalse(d, edge)) continue;
        const auto sums = differenceSums(d, frame + i * 3, refFrame + i * 3);
        count += hn::CountTrue(d, hn::And(edge, hn::Gt(sums, limit)));
    }
    return static_cast<int32_t>(count) + plain().countChanged(pixels - i, frame + i * 3, refFrame + i * 3, edgeMap + i);
}

Kernels kernels() {
    return {hwy::TargetName(HWY_TARGET),
            fillPlanes,
            fillCentredPlanes,
            bytesToFractions,
            floatsToBytes,
            sumBytes,
            markEdges,
            erode,
            countChanged};
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace PixelLoops
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include <cctype>
#include <iostream>

#include "platform/include/process.h"

namespace PixelLoops {

HWY_EXPORT(kernels);

namespace {

Kernels kernelsFor(int64_t target) {
    hwy::ChosenTarget chosen;
    chosen.Update(target);
    Kernels result = HWY_DISPATCH_TABLE(kernels)[chosen.GetIndex()]();
    std::transform(result.name.begin(), result.name.end(), result.name.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return result;
}

std::vector<Kernels> makeAvailable() {
    std::vector<Kernels> result{plain()};
    const int64_t usable = hwy::SupportedTargets() & HWY_TARGETS & ~int64_t{HWY_EMU128 | HWY_SCALAR};
    for (int64_t target = HWY_EMU128; target > 0; target >>= 1) {
        if (usable & target) result.push_back(kernelsFor(target));
    }
    return result;
}

const std::vector<Kernels>& forms() {
    static const std::vector<Kernels> kForms = makeAvailable();
    return kForms;
}

const Kernels& choose() {
    const std::string wanted = platform::environmentVariable("ZELHOST_SIMD");
    if (const Kernels* forced = select(wanted)) return *forced;
    const Kernels& best = forms().back();
    if (!wanted.empty())
        std::cerr << "ZELHOST_SIMD=" << wanted << " is not available here, using " << best.name << '\n';
    return best;
}

}  // namespace

const Kernels& active() {
    static const Kernels& kActive = choose();
    return kActive;
}

std::vector<const Kernels*> available() {
    std::vector<const Kernels*> result;
    for (const Kernels& form : forms()) result.push_back(&form);
    return result;
}

const Kernels* select(const std::string& name) {
    for (const Kernels& form : forms()) {
        if (form.name == name) return &form;
    }
    return nullptr;
}

}  // namespace PixelLoops

#endif  // HWY_ONCE
