#include "qorvp/CVpFrameWork.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <utility>

#include "qorvp/Parameters.h"

namespace qorvp {

namespace {

using Lock = std::lock_guard<std::recursive_mutex>;

constexpr uint32_t kPlanarOnly[] = {kHalfSize, kSteppedScaler};
constexpr uint32_t kPlanarFormats = 0xA5800200;  // a bit for each format number

uint32_t clampedNumber(uint32_t number) {
    return std::clamp<uint32_t>(number & 0xFF, 1, CVpFrameWork::kStrategies);
}

bool isAmongPlanarFormats(uint32_t format) {
    return format < 32 && (kPlanarFormats >> format & 1) != 0;
}

bool isGeometrySound(const VpImage& image) {
    return image.width >= 1 && image.width <= kLargestSide && image.height >= 1 && image.height <= kLargestSide &&
           image.cropY < image.height && image.cropX < image.width && image.stride0 >= image.width;
}

bool areImagesSound(uint32_t number, const VpImage& source, const VpImage& destination) {
    const bool hasDestination = destination.planes[0] != nullptr;
    if (source.planes[0]) {
        const bool planarOnly =
            std::find(std::begin(kPlanarOnly), std::end(kPlanarOnly), number) != std::end(kPlanarOnly);
        if (planarOnly && !isAmongPlanarFormats(source.format)) return false;
        if (hasDestination && number != kConverter && source.format != destination.format) return false;
        if (!isGeometrySound(source)) return false;
    }
    return !hasDestination || isGeometrySound(destination);
}

// No memory is a failure like any other.
template <class Operation>
int32_t guarded(Operation operation) try {
    return operation();
} catch (const std::bad_alloc&) {
    return kErrorFailed;
}

}  // namespace

CVpFrameWork::~CVpFrameWork() {
    for (uint32_t number = 1; number <= kStrategies; ++number) setStrategy(number, nullptr);
}

void CVpFrameWork::setStrategy(uint32_t number, std::unique_ptr<IStrategy> strategy) {
    number = clampedNumber(number);
    const Lock lock(m_lock);
    std::unique_ptr<IStrategy>& held = m_strategies[number - 1];
    if (held) guarded([&] { return held->Uninit(number); });
    held = std::move(strategy);
}

int32_t CVpFrameWork::Init(uint32_t number, void* param) {
    number = clampedNumber(number);
    Uninit(number);
    const Lock lock(m_lock);
    IStrategy* const held = strategy(number);
    return held ? guarded([&] { return held->Init(number, param); }) : kOk;
}

int32_t CVpFrameWork::Uninit(uint32_t number) {
    number = clampedNumber(number);
    const Lock lock(m_lock);
    IStrategy* const held = strategy(number);
    return held ? guarded([&] { return held->Uninit(number); }) : kOk;
}

int32_t CVpFrameWork::Reserved(uint32_t) {
    return kOk;
}

int32_t CVpFrameWork::Process(uint32_t number, VpImage* source, VpImage* destination) {
    number = clampedNumber(number);
    VpImage from = source ? *source : VpImage{};
    VpImage to = destination ? *destination : VpImage{};
    if (!areImagesSound(number, from, to)) return kErrorArgument;

    const Lock lock(m_lock);
    IStrategy* const held = strategy(number);
    if (!held) return kErrorUnsupported;
    const int32_t result = guarded([&] { return held->Process(number, &from, &to); });
    if (destination && (number == kConverter || number == kAspectFit)) *destination = to;
    return result;
}

int32_t CVpFrameWork::SetParam(uint32_t number, const void* value) {
    if (!value) return kErrorArgument;
    number = clampedNumber(number);
    const Lock lock(m_lock);
    IStrategy* const held = strategy(number);
    return held ? guarded([&] { return held->SetParam(number, value); }) : kOk;
}

int32_t CVpFrameWork::GetParam(uint32_t number, void* value) {
    if (!value) return kErrorArgument;
    number = clampedNumber(number);
    const Lock lock(m_lock);
    IStrategy* const held = strategy(number);
    return held ? guarded([&] { return held->GetParam(number, value); }) : kOk;
}

int32_t CVpFrameWork::Reserved2(uint32_t) {
    return kOk;
}

}  // namespace qorvp
