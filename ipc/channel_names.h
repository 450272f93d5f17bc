#pragma once

#include <string>

#include "ipc/channel.h"
#include "ipc/packet.h"

// The nine channels between a client and its host: types, names, and who writes which.
namespace ipc {

using CommandChannel = channel<packet<Command>, 32>;
using EventChannel = channel<packet<Event>, 32>;
using FrameChannel = channel<packet<FrameHolder<kFrameBytes>>, 16>;
using RoiChannel = channel<packet<FrameHolder<kRoiBytes>>, 16>;
using ContentChannel = channel<packet<FrameHolder<kContentBytes>>, 16>;
using LadonChannel = channel<packet<LadonResultHolder<kFrameBytes>>, 16>;
using LogChannel = channel<packet<Chunk<512>>, 300>;

using FrameListener = ChannelListener<FrameChannel>;

// Suffixes to the base name, in the order in which the host opens the channels.
inline constexpr const char* kCommandSuffix = "C";   // CommandChannel, the host reads
inline constexpr const char* kEventSuffix = "E";     // EventChannel, the host writes
inline constexpr const char* kFrameSuffix = "FW";    // FrameChannel, the host reads: camera frames
inline constexpr const char* kSharingSuffix = "FS";  // FrameChannel, the host reads: shared-screen frames
inline constexpr const char* kResultSuffix = "FR";   // FrameChannel, the host writes: masks
inline constexpr const char* kRoiSuffix = "JW";      // RoiChannel, the host writes: faces
inline constexpr const char* kContentSuffix = "JC";  // ContentChannel, the host writes
inline constexpr const char* kLadonSuffix = "LA";    // LadonChannel, the host writes
inline constexpr const char* kLogSuffix = "L";       // LogChannel, the host writes

// The base name that a client's two ids give.
inline std::string channelBaseName(const std::string& pid, const std::string& mid) {
    return "zelhost" + pid + "_" + mid;
}

static_assert(CommandChannel::kSlotsOffset == 408 && CommandChannel::kMappingBytes == 10392);
static_assert(EventChannel::kSlotsOffset == 408 && EventChannel::kMappingBytes == 10264);
static_assert(FrameChannel::kSlotsOffset == 216 && FrameChannel::kMappingBytes == 14747032);
static_assert(ContentChannel::kSlotsOffset == 216 && ContentChannel::kMappingBytes == 33432);
static_assert(RoiChannel::kSlotsOffset == 216 && RoiChannel::kMappingBytes == 5528);
static_assert(LadonChannel::kSlotsOffset == 216 && LadonChannel::kMappingBytes == 34915736);
static_assert(LogChannel::kSlotsOffset == 3624 && LogChannel::kMappingBytes == 169224);

}  // namespace ipc
