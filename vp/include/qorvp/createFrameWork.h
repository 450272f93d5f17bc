#pragma once

#include <memory>

#include "qorvp/CVpFrameWork.h"

namespace qorvp {

// A front object with the strategies of Parameters.h under their numbers. Throws std::bad_alloc when there is no
// memory.
std::unique_ptr<CVpFrameWork> createFrameWork();

}  // namespace qorvp
