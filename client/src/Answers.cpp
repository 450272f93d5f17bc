#include "client/src/Answers.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>

namespace client {

namespace {

std::string sizeText(uint32_t width, uint32_t height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

std::string frameText(const Result& result) {
    return "the host answered a frame of " + sizeText(result.width, result.height);
}

float orZero(float value) {
    return std::isfinite(value) ? value : 0;
}

bool isRect(const zelclient_rect& rect) {
    return std::isfinite(rect.left) && std::isfinite(rect.top) && std::isfinite(rect.right) &&
           std::isfinite(rect.bottom) && rect.left <= rect.right && rect.top <= rect.bottom;
}

// Takes a text apart from its front. Knows no nesting: what a host writes has one shape.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : mRest(text), mLength(text.size()) {}

    bool literal(std::string_view expected) {
        if (mRest.substr(0, expected.size()) != expected) return false;
        mRest.remove_prefix(expected.size());
        return true;
    }
    bool number(int32_t& value) { return took(std::from_chars(begin(), end(), value)); }
    // Infinite ones and those that are none are numbers too.
    bool number(float& value) { return took(std::from_chars(begin(), end(), value, std::chars_format::fixed)); }

    bool atEnd() const { return mRest.empty(); }
    size_t position() const { return mLength - mRest.size(); }

  private:
    const char* begin() const { return mRest.data(); }
    const char* end() const { return mRest.data() + mRest.size(); }
    bool took(std::from_chars_result found) {
        if (found.ec != std::errc()) return false;
        mRest.remove_prefix(static_cast<size_t>(found.ptr - begin()));
        return true;
    }

    std::string_view mRest;
    const size_t mLength;
};

// x, y, width, height.
bool faceItem(Scanner& scanner, zelclient_box& box) {
    int32_t x, y, width, height;
    const bool read = scanner.number(x) && scanner.literal(",") && scanner.number(y) && scanner.literal(",") &&
                      scanner.number(width) && scanner.literal(",") && scanner.number(height);
    if (!read || width < 0 || height < 0) return false;
    const auto sum = [](int32_t from, int32_t length) { return static_cast<float>(int64_t{from} + length); };
    box = {{static_cast<float>(x), static_cast<float>(y), sum(x, width), sum(y, height)}, 0, 0};
    return true;
}

// left, top, right, bottom, score, class.
bool contentItem(Scanner& scanner, zelclient_box& box) {
    int32_t edges[4];
    for (int32_t& edge : edges) {
        if (!scanner.number(edge) || !scanner.literal(",")) return false;
    }
    const auto at = [&edges](int edge) { return static_cast<float>(edges[edge]); };
    box.rect = {at(0), at(1), at(2), at(3)};
    return scanner.number(box.score) && scanner.literal(",") && scanner.number(box.class_id);
}

template <class Item>
bool boxList(Scanner& scanner, const char* countKey, const char* listKey, Item item,
             std::vector<zelclient_box>& boxes) {
    int32_t told = 0;
    int32_t count = 0;
    if (!scanner.literal(countKey) || !scanner.number(told) || !scanner.literal(listKey)) return false;
    while (!scanner.literal("]")) {
        zelclient_box box;
        if ((count > 0 && !scanner.literal(",")) || !scanner.literal("[")) return false;
        if (!item(scanner, box) || !scanner.literal("]")) return false;
        ++count;
        if (isRect(box.rect) && std::isfinite(box.score)) boxes.push_back(box);
    }
    return scanner.literal("}") && scanner.atEnd() && count == told;
}

// The host writes a NUL in place of a text that is too long, and leaves the size of an older one.
template <class Item>
std::string readBoxes(const TextView& view, const char* countKey, const char* listKey, Item item, Result& result) {
    const std::string text(reinterpret_cast<const char*>(view.bytes), std::min(view.size, view.most));
    result.status = ZELCLIENT_FRAME_FAILED;
    result.data.boxes.clear();
    if (text.empty() || text[0] == '\0')
        return frameText(result) + " with an empty text: it had no result in time, or one that was too long";
    if (view.size > view.most) return frameText(result) + " with a text of " + std::to_string(view.size) + " bytes";
    Scanner scanner(text);
    if (!boxList(scanner, countKey, listKey, item, result.data.boxes)) {
        result.data.boxes.clear();
        return frameText(result) + " with a text that makes no sense at byte " + std::to_string(scanner.position());
    }
    result.status = ZELCLIENT_BOXES;
    return "";
}

bool takeMask(const uint8_t* bytes, uint32_t size, Result& result) {
    if (size != result.width * result.height) return false;
    result.status = ZELCLIENT_MASK;
    result.data.mask.assign(bytes, bytes + size);
    return true;
}

// One cell of the grid over the picture: the score of the face in it, 0 for none, its box, then its points, all in
// shares of the picture's sides.
struct FaceCell {
    float score;
    float left, top, right, bottom;
    float points[ZELCLIENT_FACE_POINTS][3];
};
constexpr size_t kCells = 9 * 16;
static_assert(sizeof(FaceCell) * kCells == sizeof(ipc::LadonResult::landmarks));

bool holdsFace(float score) {
    return std::isfinite(score) && score > 0;
}

// The points in pixels, behind those that are there; false, and none added, for a face that has none.
bool addPoints(const FaceCell& cell, float width, float height, std::vector<zelclient_point>& points) {
    const size_t before = points.size();
    bool any = false;
    for (const auto& [x, y, z] : cell.points) {
        const zelclient_point point = {x * width, y * height, z * width};
        any = any || x != 0 || y != 0 || z != 0;
        points.push_back(point);
        if (std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z)) continue;
        any = false;
        break;
    }
    if (!any) points.resize(before);
    return any;
}

// Copies a face out of the slot, where it may still change, and looks at the copy.
void addFace(const float* from, Result& result, std::vector<size_t>& firstPoints) {
    FaceCell cell;
    std::memcpy(&cell, from, sizeof cell);
    const auto width = static_cast<float>(result.width);
    const auto height = static_cast<float>(result.height);
    const zelclient_rect rect = {cell.left * width, cell.top * height, cell.right * width, cell.bottom * height};
    if (!holdsFace(cell.score) || !isRect(rect)) return;
    ResultData& data = result.data;
    const size_t first = data.points.size();
    firstPoints.push_back(addPoints(cell, width, height, data.points) ? first : SIZE_MAX);
    data.faces.push_back({rect, cell.score, nullptr});
}

void takeFaces(const float* landmarks, Result& result) {
    ResultData& data = result.data;
    std::vector<size_t> firstPoints;
    data.faces.clear();
    data.points.clear();
    for (size_t at = 0; at < kCells; ++at) {
        const float* cell = landmarks + at * (sizeof(FaceCell) / sizeof(float));
        if (holdsFace(*cell)) addFace(cell, result, firstPoints);
    }
    for (size_t face = 0; face < data.faces.size(); ++face) {
        if (firstPoints[face] != SIZE_MAX) data.faces[face].points = data.points.data() + firstPoints[face];
    }
    std::stable_sort(data.faces.begin(), data.faces.end(),
                     [](const zelclient_face& one, const zelclient_face& other) { return one.score > other.score; });
}

void takeGesture(const float* scores, zelclient_ladon& ladon) {
    ladon.gesture = -1;
    float best = 0;
    for (int32_t at = 0; at < ZELCLIENT_GESTURES; ++at) {
        const float score = ladon.gesture_scores[at] = orZero(scores[at]);
        if (score <= best) continue;
        best = score;
        ladon.gesture = at;
    }
}

// A table with a number that is none is no table.
void takeTable(const ipc::LadonResult& record, ResultData& data) {
    const auto isNumber = [](float value) { return std::isfinite(value); };
    data.lut.assign(std::begin(record.lut), std::end(record.lut));
    data.lutVertices.assign(std::begin(record.lutVertices), std::end(record.lutVertices));
    if (!std::all_of(data.lut.begin(), data.lut.end(), isNumber)) return;
    if (!std::all_of(data.lutVertices.begin(), data.lutVertices.end(), isNumber)) return;
    data.ladon->lut = data.lut.data();
    data.ladon->lut_vertices = data.lutVertices.data();
    data.ladon->lut_confidence = orZero(record.lutConfidence);
}

}  // namespace

std::string readMask(const MaskView& mask, Result& result) {
    result.status = ZELCLIENT_FRAME_FAILED;
    const bool sameSize = mask.width == result.width && mask.height == result.height;
    if (sameSize && takeMask(mask.bytes, mask.size, result)) return "";
    return frameText(result) + " with a mask of " + sizeText(mask.width, mask.height) + ", " +
           std::to_string(mask.size) + " bytes";
}

std::string readFaces(const TextView& text, Result& result) {
    return readBoxes(text, "{\"faceNum\":", ",\"facePos\":[", faceItem, result);
}

std::string readContent(const TextView& text, bool valid, Result& result) {
    if (valid) return readBoxes(text, "{\"ContentNum\":", ",\"ContentPos\":[", contentItem, result);
    result.status = ZELCLIENT_NO_RESULT;
    return "";
}

std::string readLadon(const ipc::LadonResult& record, bool withTable, Result& result) {
    result.status = ZELCLIENT_FRAME_FAILED;
    const uint32_t size = record.size;
    if (!takeMask(record.mask, size, result))
        return frameText(result) + " with a mask of " + std::to_string(size) + " bytes";
    ResultData& data = result.data;
    data.ladon = zelclient_ladon{};
    takeFaces(record.landmarks, result);
    data.ladon->faces = data.faces.empty() ? nullptr : data.faces.data();
    data.ladon->face_count = static_cast<uint32_t>(data.faces.size());
    takeGesture(record.gesture, *data.ladon);
    data.ladon->motion = orZero(record.motion);
    data.ladon->skip_run = record.skipRun;
    if (withTable) takeTable(record, data);
    return "";
}

}  // namespace client
