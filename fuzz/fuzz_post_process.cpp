#include <cmath>
#include <vector>

#include "detect/ObjectDetectCommon.h"
#include "fuzz/Records.h"

namespace {

constexpr int32_t kMostBoxes = 20;
constexpr int32_t kBoxFields = 5;

float number(fuzz::Input& input) {
    const uint32_t bits = input.word32();
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// A small picture on a small canvas, each a heap block of its own size.
void pad(fuzz::Input& input, ObjectDetectCommon& detect) {
    const int32_t width = input.byte() % 8, height = input.byte() % 8;
    const int32_t canvasWidth = input.byte() % 8, canvasHeight = input.byte() % 8;
    const std::vector<uint8_t> picture(static_cast<size_t>(width * height) + 1, 1);
    std::vector<uint8_t> canvas(static_cast<size_t>(canvasWidth * canvasHeight) + 1, 0);
    detect.padCenter(picture.data(), canvas.data(), width, height, canvasWidth, canvasHeight);
    fuzz::require(canvas.back() == 0);
}

}  // namespace

// The rows of a detector, any bits in them. The input begins with the sizes of a picture and its canvas, the number of
// classes, the floats between rows, the limit of boxes and both thresholds; the rest are the rows.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    ObjectDetectCommon detect;
    pad(input, detect);
    const int32_t classes = input.byte() % 6;
    const int32_t stride = kBoxFields + classes + input.byte() % 3;
    const int32_t mostBoxes = input.byte() % (kMostBoxes + 1);
    const float objectness = number(input), overlap = number(input);
    std::vector<float> rows;
    while (!input.empty()) rows.push_back(number(input));
    const auto rowCount = static_cast<int32_t>(rows.size()) / stride;
    rows.resize(static_cast<size_t>(rowCount) * static_cast<size_t>(stride));
    rows.shrink_to_fit();

    std::vector<DetectBox> boxes(static_cast<size_t>(mostBoxes));
    int32_t count = -1;
    detect.postProcess(rows.data(), boxes.data(), &count, rowCount, objectness, overlap, classes, stride, mostBoxes);
    fuzz::require(count >= 0 && count <= mostBoxes && count <= rowCount);
    for (int32_t i = 0; i < count; ++i) {
        const DetectBox& box = boxes[static_cast<size_t>(i)];
        fuzz::require(box.classId >= 0 && box.classId < classes);
        fuzz::require(!(box.score < objectness) && !std::isnan(box.score));
        fuzz::require(i == 0 || boxes[static_cast<size_t>(i) - 1].score >= box.score);
    }
    return 0;
}
