#include "ipc/packet.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "ipc/channel_names.h"

// Offsets and sizes are checked where the records are declared; here, that the fields mean the bytes that a peer sees.
namespace ipc {
namespace {

template <class T>
std::vector<uint8_t> bytesOf(const T& value) {
    std::vector<uint8_t> bytes(sizeof(T));
    std::memcpy(bytes.data(), &value, sizeof(T));
    return bytes;
}

uint32_t wordAt(const std::vector<uint8_t>& bytes, size_t offset) {
    return bytes[offset] | bytes[offset + 1] << 8 | bytes[offset + 2] << 16 |
           static_cast<uint32_t>(bytes[offset + 3]) << 24;
}

TEST(PacketTest, CommandFieldsLieBehindTheHeaderInLittleEndian) {
    packet<Command> command{};
    command.record.code = static_cast<uint32_t>(CommandCode::SetModelType);
    command.record.arg0 = 0x01020304;
    command.record.pathKind = -2;
    command.record.text[255] = 'z';
    const auto bytes = bytesOf(command);
    EXPECT_EQ(wordAt(bytes, 40), 3u);
    EXPECT_EQ(bytes[44], 4);
    EXPECT_EQ(bytes[47], 1);
    EXPECT_EQ(bytes[40 + 12 + 255], 'z');
    EXPECT_EQ(wordAt(bytes, 40 + 268), 0xFFFFFFFEu);
}

TEST(PacketTest, EventFieldsLieBehindTheText) {
    packet<Event> event{};
    event.record.code = static_cast<uint32_t>(EventCode::ModelLoadTime);
    event.record.modelType = 7;
    event.record.loadTime = 1234;
    const auto bytes = bytesOf(event);
    EXPECT_EQ(wordAt(bytes, 40), 5u);
    EXPECT_EQ(wordAt(bytes, 300), 7u);
    EXPECT_EQ(wordAt(bytes, 304), 1234u);
}

TEST(PacketTest, FrameFlagsFollowTheDataDirectly) {
    packet<FrameHolder<kRoiBytes>> frame{};
    frame.record.kind = static_cast<int32_t>(FrameKind::Content);
    frame.record.data[254] = 1;
    frame.record.resultValid = 2;
    frame.record.skipAllowed = 3;
    const auto bytes = bytesOf(frame);
    EXPECT_EQ(wordAt(bytes, 40 + 28), 2u);
    EXPECT_EQ(bytes[40 + 32 + 254], 1);
    EXPECT_EQ(bytes[40 + 32 + 255], 2);
    EXPECT_EQ(bytes[40 + 32 + 256], 3);
}

TEST(PacketTest, FirstChunkHoldsItsLevelAheadOfTheText) {
    packet<Chunk<512>> chunk{};
    const uint32_t level = 2;
    chunk.record.flags = kFirstChunk | kLastChunk;
    std::memcpy(chunk.record.body, &level, sizeof(level));
    chunk.record.body[kChunkLevelBytes] = 't';
    const auto bytes = bytesOf(chunk);
    EXPECT_EQ(bytes[40], 3);
    EXPECT_EQ(wordAt(bytes, 48), 2u);
    EXPECT_EQ(bytes[52], 't');
}

TEST(PacketTest, CodesAreThoseOfTheWire) {
    EXPECT_EQ(static_cast<uint32_t>(CommandCode::InitClient), 0u);
    EXPECT_EQ(static_cast<uint32_t>(CommandCode::FiniClient), 1u);
    EXPECT_EQ(static_cast<uint32_t>(CommandCode::SetModelPath), 2u);
    EXPECT_EQ(static_cast<uint32_t>(CommandCode::SetOption), 4u);
    EXPECT_EQ(static_cast<uint32_t>(CommandCode::HeartBeatAck), 5u);
    EXPECT_EQ(static_cast<uint32_t>(CommandCode::Terminate), 6u);
    EXPECT_EQ(static_cast<uint32_t>(CommandCode::SwitchEngine), 7u);
    EXPECT_EQ(static_cast<uint32_t>(EventCode::InitClientReply), 0u);
    EXPECT_EQ(static_cast<uint32_t>(EventCode::HeartBeat), 1u);
    EXPECT_EQ(static_cast<uint32_t>(EventCode::ModelName), 3u);
    EXPECT_EQ(static_cast<uint32_t>(EventCode::ModelType), 4u);
}

TEST(ChannelNamesTest, BaseNameJoinsTheTwoIds) {
    EXPECT_EQ(channelBaseName("17", "ab"), "zelhost17_ab");
    EXPECT_EQ(channelBaseName("", ""), "zelhost_");
}

}  // namespace
}  // namespace ipc
