#pragma once

// Standard error outputs that a failing child has to bear.
namespace platform::test {

// Makes this process's a pipe that is full and that nobody reads.
void fillStandardError();

// Makes it a pipe whose reader has gone.
void closeReaderOfStandardError();

}  // namespace platform::test
