#include "plugins/xnn/DeviceProperties.h"

#include <algorithm>
#include <iterator>
#include <locale>
#include <sstream>
#include <string_view>

#include "plugins/xnn/xnn.h"

namespace xnn {

int devicePropertyType(const std::string& name) {
    // The runtime gives every value as text; these are texts by themselves.
    constexpr std::string_view kTexts[] = {"CACHE_DIR", "DEVICE_ARCHITECTURE", "DEVICE_ID", "FULL_DEVICE_NAME"};
    if (name == "DEVICE_GOPS") return XNN_PROPERTY_UNORDERED_MAP_STRING_FLOAT;
    return std::find(std::begin(kTexts), std::end(kTexts), name) != std::end(kTexts) ? XNN_PROPERTY_STRING
                                                                                     : XNN_PROPERTY_GENERAL;
}

NumberMap readNumberMap(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return std::string_view("{}:,").find(c) != std::string_view::npos; },
        ' ');
    std::istringstream words(text);
    words.imbue(std::locale::classic());
    NumberMap map;
    std::string name;
    for (float number = 0; words >> name >> number;) map.emplace_back(name, number);
    return map;
}

}  // namespace xnn
