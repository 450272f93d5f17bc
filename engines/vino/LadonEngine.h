#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

// One output of a Ladon network, as the engine holds it: valid until the next inference and as long as the engine
// lives.
struct LadonOutput {
    const float* data = nullptr;
    std::span<const size_t> dims;

    // The first value, 0 when there are none.
    float first() const { return std::find(dims.begin(), dims.end(), size_t{0}) == dims.end() ? data[0] : 0.0f; }
};

// What runs a Ladon network on a device, one thread at a time: the only thing in which the helpers over different
// runtimes differ on a frame's road.
class LadonEngine {
  public:
    virtual ~LadonEngine() = default;

    // The picture's size in pixels, and the planes of one.
    virtual int32_t width() const = 0;
    virtual int32_t height() const = 0;
    virtual size_t planes() const = 0;
    // Memory for planes() * height() * width() floats, to be filled before infer.
    virtual float* input() = 0;
    // Hands the filled input over where the runtime has an input of its own. Raises what the runtime raises.
    virtual void handInput() {}
    // Runs the network to its end; raises what the runtime raises.
    virtual void infer() = 0;
    // Raises when there is no output of that name.
    virtual LadonOutput output(const std::string& name) const = 0;
};
