#include "platform/include/entry.h"

#include <string>

#include "platform/include/text.h"

int main(int count, char** arguments) {
    std::string line;
    for (int i = 1; i < count; ++i) {
        if (i > 1) line += ' ';
        line += arguments[i];
    }
    std::wstring wide = platform::widen(line);
    return wWinMain(nullptr, nullptr, wide.data(), 0);
}
