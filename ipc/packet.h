#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

// The records that cross the process boundary, byte for byte. Integers are little-endian, records hold no pointers, and
// all of them lie on 4-byte boundaries. A field that nobody is said to write keeps what the slot last held.
//
// Records lie in memory that another process writes: a field is read once into a local before it is checked.
namespace ipc {

inline constexpr size_t kTextBytes = 256;      // text of commands and events
inline constexpr size_t kFrameBytes = 921600;  // data of a frame or mask, 640x360 of 4 bytes
inline constexpr size_t kRoiBytes = 255;       // JSON text on "JW"
inline constexpr size_t kContentBytes = 2000;  // JSON text on "JC"
inline constexpr size_t kLandmarkValues = 9 * 16 * 1439;
inline constexpr size_t kGestureValues = 9;
inline constexpr size_t kLutValues = 3 * 33 * 33 * 33;
inline constexpr size_t kLutVertexValues = 99;

// What a slot holds: a header that the host neither reads nor writes, then the record.
template <class T>
struct packet {
    uint8_t header[40];
    T record;
};

enum class CommandCode : uint32_t {
    InitClient = 0,
    FiniClient = 1,
    SetModelPath = 2,
    SetModelType = 3,
    SetOption = 4,
    HeartBeatAck = 5,
    Terminate = 6,
    SwitchEngine = 7,
};

// `arg0` of SetOption. The first byte of `text` is the value.
enum class OptionNumber : uint32_t { AutoSkipVBG = 0 };

// `pathKind` of SetModelPath.
enum class PathKind : int32_t { XnnLibrary = 0, Model = 1 };

// Client to host, on "C".
struct Command {
    uint32_t code;          // CommandCode; others are consumed and ignored
    uint32_t arg0;          // SetModelType: ZEL_TYPE; SetOption: OptionNumber; SwitchEngine: engine
    uint32_t arg1;          // SetModelType: DEV_PERFORMANCE_TYPE; SwitchEngine: device
    char text[kTextBytes];  // NUL-terminated text, or a binary value: InitClient the client's process id, 4 bytes
    int32_t pathKind;       // PathKind, for SetModelPath
};

enum class EventCode : uint32_t {
    InitClientReply = 0,  // `text`: the 32-bit words 1, 0, 0, the host's process id, 1
    HeartBeat = 1,        // `code` only
    ModelName = 3,        // `text`: the name's bytes, at most 255, no terminator
    ModelType = 4,        // `modelType`
    ModelLoadTime = 5,    // `loadTime`
};

// Host to client, on "E".
struct Event {
    uint32_t code;  // EventCode
    char text[kTextBytes];
    uint32_t modelType;
    uint32_t loadTime;  // ms
};

// `kind` of a frame.
enum class FrameKind : int32_t { Face = 0, Model = 1, Content = 2 };

// A frame ("FW", "FS"), a mask ("FR") or a JSON text without terminator ("JW", "JC").
template <size_t N>
struct FrameHolder {
    uint32_t reserved0;
    uint32_t width;   // pixels
    uint32_t height;  // pixels
    uint32_t reserved1;
    uint32_t reserved2;
    uint32_t size;  // valid bytes in `data`
    uint32_t reserved3;
    int32_t kind;  // FrameKind
    uint8_t data[N];
    uint8_t resultValid;  // "JC": 1 detection ran, 0 it failed
    uint8_t skipAllowed;  // frames: the host may answer a still frame without inference
};

// Everything that one run of a Ladon model yields, on "LA". The last three fields are written with model types 8 to 10.
template <size_t N>
struct LadonResultHolder {
    uint8_t reserved[20];
    uint32_t size;  // bytes in `mask`: width x height of the frame
    uint8_t reserved1[4];
    float motion;
    uint32_t skipRun;                  // consecutive unchanged frames
    float landmarks[kLandmarkValues];  // 1x9x16x1439
    float gesture[kGestureValues];
    uint8_t mask[N];        // one byte for each pixel
    float lut[kLutValues];  // 3x33x33x33
    float lutVertices[kLutVertexValues];
    float lutConfidence;
};

// `flags` of a chunk.
inline constexpr uint8_t kFirstChunk = 1;
inline constexpr uint8_t kLastChunk = 2;

// A piece of one log message, on "L". The body of a first chunk is a 32-bit level and then text, that of a later one
// text alone; text has no terminator.
template <size_t N>
struct Chunk {
    uint8_t flags;
    uint8_t padding[3];
    uint32_t size;  // bytes used in `body`, those of the level included
    uint8_t body[N - 8];
};

inline constexpr size_t kChunkLevelBytes = 4;
inline constexpr size_t kFirstChunkText = 499;  // most text bytes in a first chunk, behind the level
inline constexpr size_t kLaterChunkText = 503;  // and in a later one

static_assert(sizeof(Command) == 272 && sizeof(packet<Command>) == 312);
static_assert(offsetof(packet<Command>, record) == 40);
static_assert(offsetof(Command, code) == 0);
static_assert(offsetof(Command, arg0) == 4);
static_assert(offsetof(Command, arg1) == 8);
static_assert(offsetof(Command, text) == 12);
static_assert(offsetof(Command, pathKind) == 268);

static_assert(sizeof(Event) == 268 && sizeof(packet<Event>) == 308);
static_assert(offsetof(packet<Event>, record) == 40);
static_assert(offsetof(Event, code) == 0);
static_assert(offsetof(Event, text) == 4);
static_assert(offsetof(Event, modelType) == 260);
static_assert(offsetof(Event, loadTime) == 264);

template <size_t N>
constexpr bool frameHolderIsLaidOutAsAgreed() {
    using F = FrameHolder<N>;
    return offsetof(packet<F>, record) == 40 && sizeof(F) == (32 + N + 2 + 3) / 4 * 4 && offsetof(F, reserved0) == 0 &&
           offsetof(F, width) == 4 && offsetof(F, height) == 8 && offsetof(F, reserved1) == 12 &&
           offsetof(F, reserved2) == 16 && offsetof(F, size) == 20 && offsetof(F, reserved3) == 24 &&
           offsetof(F, kind) == 28 && offsetof(F, data) == 32 && offsetof(F, resultValid) == 32 + N &&
           offsetof(F, skipAllowed) == 33 + N;
}
static_assert(frameHolderIsLaidOutAsAgreed<kFrameBytes>() && sizeof(packet<FrameHolder<kFrameBytes>>) == 921676);
static_assert(frameHolderIsLaidOutAsAgreed<kContentBytes>() && sizeof(packet<FrameHolder<kContentBytes>>) == 2076);
static_assert(frameHolderIsLaidOutAsAgreed<kRoiBytes>() && sizeof(packet<FrameHolder<kRoiBytes>>) == 332);

using LadonResult = LadonResultHolder<kFrameBytes>;
static_assert(sizeof(LadonResult) == 2182180 && sizeof(packet<LadonResult>) == 2182220);
static_assert(offsetof(packet<LadonResult>, record) == 40);
static_assert(offsetof(LadonResult, reserved) == 0);
static_assert(offsetof(LadonResult, size) == 20);
static_assert(offsetof(LadonResult, reserved1) == 24);
static_assert(offsetof(LadonResult, motion) == 28);
static_assert(offsetof(LadonResult, skipRun) == 32);
static_assert(offsetof(LadonResult, landmarks) == 36 && sizeof(LadonResult::landmarks) == 828864);
static_assert(offsetof(LadonResult, gesture) == 828900 && sizeof(LadonResult::gesture) == 36);
static_assert(offsetof(LadonResult, mask) == 828936 && sizeof(LadonResult::mask) == 921600);
static_assert(offsetof(LadonResult, lut) == 1750536 && sizeof(LadonResult::lut) == 431244);
static_assert(offsetof(LadonResult, lutVertices) == 2181780 && sizeof(LadonResult::lutVertices) == 396);
static_assert(offsetof(LadonResult, lutConfidence) == 2182176);

static_assert(sizeof(Chunk<512>) == 512 && sizeof(packet<Chunk<512>>) == 552);
static_assert(offsetof(packet<Chunk<512>>, record) == 40);
static_assert(offsetof(Chunk<512>, flags) == 0);
static_assert(offsetof(Chunk<512>, size) == 4);
static_assert(offsetof(Chunk<512>, body) == 8);
static_assert(kChunkLevelBytes + kFirstChunkText <= sizeof(Chunk<512>::body));
static_assert(kLaterChunkText <= sizeof(Chunk<512>::body));

static_assert(std::is_trivially_copyable_v<packet<Command>> && std::is_standard_layout_v<packet<Command>>);
static_assert(std::is_trivially_copyable_v<packet<LadonResult>> && std::is_standard_layout_v<packet<LadonResult>>);

}  // namespace ipc
