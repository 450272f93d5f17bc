#pragma once

#include <string>

// The command line is a sequence of `key=value` items separated by single spaces; there is no quoting.

// The value that follows the first "key=" anywhere in the line, up to the next space; "" when there is none.
std::string commandLineValue(const std::string& commandLine, const std::string& key);

// Accepts a decimal number of the range of int, with leading blanks, a sign and trailing text as the standard
// conversion does. Throws std::invalid_argument("invalid stoi argument") or std::out_of_range("stoi argument out of
// range") otherwise.
void validateDecimal(const std::string& text);
