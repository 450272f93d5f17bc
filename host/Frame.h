#pragma once

#include <cstdint>

#include "host/ZelMLHost.h"

// The leading fields of a frame, read once from the slot that the client can still write, and where its bytes lie.
struct ZelMLHost::Frame {
    uint32_t width;
    uint32_t height;
    uint32_t size;
    int32_t kind;
    bool skipAllowed;
    const uint8_t* data;

    uint64_t pixels() const { return uint64_t{width} * height; }
};
