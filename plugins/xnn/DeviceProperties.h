#pragma once

#include <string>

#include "plugins/xnn/Answers.h"

namespace xnn {

// The type of a device's property, one of the numbers XNN_PROPERTY_... of the interface.
int devicePropertyType(const std::string& name);

// The runtime's text for a map of names to numbers, "{FP16:1.5,FP32:0.75}" or the same with blanks between. What is no
// pair of a name and a number ends it.
NumberMap readNumberMap(std::string text);

}  // namespace xnn
