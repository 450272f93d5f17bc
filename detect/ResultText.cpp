#include "detect/ResultText.h"

#include <span>
#include <utility>
#include <vector>

#include "detect/JsonValue.h"

namespace {

// As the value's own view of it: truncated toward zero, 0 for what an int cannot hold.
JsonValue whole(float value) {
    return JsonValue(value).intValue;
}

float distance(float from, float to) {
    const float difference = to - from;
    return difference <= 0 ? from - to : difference;
}

JsonValue array(std::vector<JsonValue> items) {
    JsonValue value;
    value.kind = JsonValue::kArray;
    value.items = std::move(items);
    return value;
}

template <class Item>
std::string listText(const char* countKey, const char* listKey, std::span<const DetectBox> boxes, Item item) {
    JsonValue text;
    text.kind = JsonValue::kObject;
    text[countKey] = static_cast<int32_t>(boxes.size());
    JsonValue& list = text[listKey] = array({});
    for (const DetectBox& box : boxes) list.items.push_back(array(item(box)));
    return JsonValue::toText(text);
}

}  // namespace

std::string faceText(const DetectBox* faces, int32_t count, size_t width, size_t height) {
    const auto columns = static_cast<float>(width), rows = static_cast<float>(height);
    const auto item = [=](const DetectBox& face) -> std::vector<JsonValue> {
        return {whole(columns * face.left), whole(rows * face.top), whole(columns * distance(face.left, face.right)),
                whole(rows * distance(face.top, face.bottom))};
    };
    return listText("faceNum", "facePos", {faces, static_cast<size_t>(count)}, item);
}

std::string contentText(const DetectBox* boxes, int32_t count) {
    const auto item = [](const DetectBox& box) -> std::vector<JsonValue> {
        return {whole(box.left), whole(box.top), whole(box.right), whole(box.bottom), box.score, box.classId};
    };
    return listText("ContentNum", "ContentPos", {boxes, static_cast<size_t>(count)}, item);
}
