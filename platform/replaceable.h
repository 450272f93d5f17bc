#pragma once

#include <string>

#include "platform/include/folders.h"
#include "platform/include/machine.h"
#include "platform/include/resource.h"

namespace platform {

// The system's own services, whatever a test has put in their place.
Folders& systemFolders();
Machine& systemMachine();
Resource systemResource(int id);
std::string systemExecutableDirectory();

}  // namespace platform
