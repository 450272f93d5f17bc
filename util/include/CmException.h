#pragma once

#include <string>

namespace cm {

// The words of the exception that is being handled, for a line about it; "an exception without text" for one that is no
// std::exception, such as a plug-in may throw. Only inside a catch block.
std::string currentExceptionText();

}  // namespace cm
