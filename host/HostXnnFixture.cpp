#include "host/HostXnnFixture.h"

#include <stdexcept>

#include "platform/include/module.h"

void HostXnnFixture::SetUp() {
    HostGpuFixture::SetUp();
    tellFolder(platform::executableDirectory() + "/../bin");
}

void HostXnnFixture::tellFolder(const std::string& folder) {
    mClient->command([&folder](ipc::Command& command) {
        command.code = static_cast<uint32_t>(ipc::CommandCode::SetModelPath);
        command.pathKind = static_cast<int32_t>(ipc::PathKind::XnnLibrary);
        folder.copy(command.text, sizeof command.text - 1);
    });
}

std::vector<std::string> HostXnnFixture::tracedTexts() const {
    std::vector<std::string> texts;
    for (auto& line : mTrace.lines()) texts.push_back(std::move(line.text));
    return texts;
}

void HostSmallXnnFixture::SetUp() {
    ReplacedNetworks::put(218, 217, ladon_networks::make(withTable("SmallXnn")));
    ReplacedNetworks::put(216, 215, ladon_networks::make(withTable("LargeXnn")));
    ReplacedNetworks::put(140, 150, mask_networks::make({}));
    HostXnnFixture::SetUp();
}

ladon_networks::Options HostSmallXnnFixture::withTable(const std::string& name) {
    ladon_networks::Options options;
    options.name = name;
    options.lut = {1, 3, 33, 33, 33};
    options.lutVertices = {1, 3, 33};
    options.lutConfidence = {1, 1};
    return options;
}

std::vector<uint8_t> HostSmallXnnFixture::picture(uint8_t red, uint8_t green, uint8_t blue) {
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < kPixels; ++i) bytes.insert(bytes.end(), {red, green, blue});
    return bytes;
}

std::unique_ptr<ipc::LadonResult> HostSmallXnnFixture::run(const std::vector<uint8_t>& frame, bool skipAllowed) {
    mClient->frame(kWidth, kHeight, frame, 1, {}, false, skipAllowed);
    auto result = mClient->ladonResult();
    if (!result) throw std::runtime_error("a frame was not answered");
    return result;
}

void HostSmallXnnFixture::runUntilTraced(const std::string& text, const std::vector<uint8_t>& frame) {
    await(text, [&] { run(frame); });
}
