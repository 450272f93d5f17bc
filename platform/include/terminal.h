#pragma once

namespace platform {

enum class StandardStream { kOutput, kError };

// Whether a person watches the stream: it ends at a terminal, not in a file or a pipe.
bool isTerminal(StandardStream stream);

}  // namespace platform
