#pragma once

namespace zelbench {

// To stderr, in the program's name, when the compiler was not told to optimise.
void warnWhenUnoptimised(const char* program);
// Cores and load, to stdout.
void tellMachine();

}  // namespace zelbench
