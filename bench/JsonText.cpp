#include "bench/JsonText.h"

namespace zelbench {

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char letter : text) {
        if (letter == '"' || letter == '\\') result += '\\';
        result += letter;
    }
    return result + "\"";
}

}  // namespace zelbench
