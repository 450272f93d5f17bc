#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ipc/channel_names.h"

// The client's side of the nine channels, bare, for tests that speak to a host record by record.
namespace zeltest {

// How long a test waits for something that must come: generous, since machines are slow and shared.
inline constexpr uint32_t kDeadlineMs = 60000;

// A base name that no other test of any process uses at the same time.
std::string uniqueInstanceId();
std::string uniqueBaseName();

struct LogLine {
    uint32_t level;
    std::string text;
};

struct Mask {
    uint32_t width;
    uint32_t height;
    uint32_t size;
    std::vector<uint8_t> data;
};

class RawClient {
  public:
    explicit RawClient(const std::string& baseName);

    void command(ipc::CommandCode code, uint32_t arg0 = 0, uint32_t arg1 = 0);
    void command(const std::function<void(ipc::Command&)>& fill);
    // Frames of 3 bytes a pixel; `data` may be of any length, `size` is its length unless given.
    void frame(uint32_t width, uint32_t height, const std::vector<uint8_t>& data, int32_t kind = 1,
               std::optional<uint32_t> size = {}, bool sharing = false, bool skipAllowed = true);

    // A frame that gets no reply and counts as a sign of life; unlike an answer to a heart beat the host sees it also
    // while it loads a model. Dropped when the channel is full.
    void showLife();

    std::optional<ipc::Event> event(uint32_t timeoutMs = kDeadlineMs);
    // The next event of `code`, others dropped; heart beats among them are met with showLife.
    std::optional<ipc::Event> event(ipc::EventCode code, uint32_t timeoutMs = kDeadlineMs);
    std::optional<Mask> mask(uint32_t timeoutMs = kDeadlineMs);
    // The next record of a Ladon model.
    std::unique_ptr<ipc::LadonResult> ladonResult(uint32_t timeoutMs = kDeadlineMs);
    // The next whole log line, put together from its chunks.
    std::optional<LogLine> logLine(uint32_t timeoutMs = kDeadlineMs);
    // Reads log lines until one contains `text`; false when none came in time.
    bool awaitLog(const std::string& text, uint32_t timeoutMs = kDeadlineMs);

    // Starts the model type, waits for the event that names the type in force and returns that type.
    uint32_t startModel(uint32_t type, uint32_t capacity);

    std::shared_ptr<ipc::CommandChannel> commands;
    std::shared_ptr<ipc::EventChannel> events;
    std::shared_ptr<ipc::FrameChannel> frames;
    std::shared_ptr<ipc::FrameChannel> sharing;
    std::shared_ptr<ipc::FrameChannel> results;
    std::shared_ptr<ipc::RoiChannel> rois;
    std::shared_ptr<ipc::ContentChannel> contents;
    std::shared_ptr<ipc::LadonChannel> ladon;
    std::shared_ptr<ipc::LogChannel> logs;
};

}  // namespace zeltest
