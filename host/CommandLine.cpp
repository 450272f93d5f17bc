#include "host/CommandLine.h"

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <stdexcept>

std::string commandLineValue(const std::string& commandLine, const std::string& key) {
    const std::string search = key + "=";
    const size_t found = commandLine.find(search);
    if (found == std::string::npos) return {};
    const size_t begin = found + search.size();
    return commandLine.substr(begin, commandLine.find(' ', begin) - begin);
}

void validateDecimal(const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(text.c_str(), &end, 10);
    if (end == text.c_str()) throw std::invalid_argument("invalid stoi argument");
    if (errno == ERANGE || value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max())
        throw std::out_of_range("stoi argument out of range");
}
