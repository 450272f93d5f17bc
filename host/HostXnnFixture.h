#pragma once

#include <memory>
#include <string>
#include <vector>

#include "engines/vino/LadonNetworks.h"
#include "host/HostEngineFixture.h"
#include "host/ReplacedNetworks.h"

// A host on a machine with a GPU, told of the inference library that is built beside it.
class HostXnnFixture : public HostGpuFixture {
  public:
    static constexpr uint32_t kXnnGpu = 8, kXnnCpu = 9, kXnnNpu = 10;

  protected:
    void SetUp() override;

    void tellFolder(const std::string& folder);
    // Without their levels.
    std::vector<std::string> tracedTexts() const;
};

// The same with small networks, and pictures of their size. A mask is byte 1 of its pixels.
class HostSmallXnnFixture : public HostXnnFixture {
  protected:
    static constexpr uint32_t kWidth = 16, kHeight = 8;
    static constexpr size_t kPixels = size_t{kWidth} * kHeight;

    void SetUp() override;

    static ladon_networks::Options withTable(const std::string& name);
    // A picture of one colour.
    static std::vector<uint8_t> picture(uint8_t red, uint8_t green, uint8_t blue);

    // The answer to a frame. Raises std::runtime_error when there is none.
    std::unique_ptr<ipc::LadonResult> run(const std::vector<uint8_t>& frame, bool skipAllowed = true);
    // Runs frames until a line that has this text is traced.
    void runUntilTraced(const std::string& text, const std::vector<uint8_t>& frame);

    const ReplacedNetworks mNetworks;
};
