#include "util/include/CmException.h"

#include <exception>

namespace cm {

std::string currentExceptionText() {
    try {
        throw;
    } catch (const std::exception& failure) {
        return failure.what();
    } catch (...) {
        return "an exception without text";
    }
}

}  // namespace cm
