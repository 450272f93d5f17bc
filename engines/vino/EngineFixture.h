#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/TraceCapture.h"

// For tests of what runs networks: devices under an alias, a clock that counts its readings, and the trace.
class EngineFixture : public testing::Test {
  protected:
    using Lines = std::vector<zeltest::TraceCapture::Line>;

    EngineFixture();
    ~EngineFixture() override;

    // What the runtime's layer finds in its environment.
    static void setVariable(const std::string& name, const std::string& value);
    // Milliseconds that pass with each reading of the clock, by turns: the first before an inference, the second after.
    static void setTickSteps(uint32_t first, uint32_t second);

    zeltest::TraceCapture trace;
};
