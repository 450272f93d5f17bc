#pragma once

#include <cstddef>

namespace platform {

enum class StandardStream { kOutput, kError };

// Whether a person watches the stream: it ends at a terminal, not in a file or a pipe.
bool isTerminal(StandardStream stream);

// Writes to the standard error output in one call. In the crash filter it does not wait for a reader: what a full pipe
// does not take at once is lost.
void writeToStandardError(const char* text, size_t size);

}  // namespace platform
