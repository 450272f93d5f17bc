#include <cstdlib>
#include <iostream>

#include "bench/BareNetwork.h"
#include "platform/include/clock.h"
#include "platform/include/kernel_objects.h"

// The bare program: reads the network of argv[2] and argv[3] twice, compiles it, infers once, sets the event argv[1]
// and stays until it is ended, so that its memory can be looked at.
int main(int argc, char** argv) {
    if (argc != 4) return 2;
    const auto done = platform::kernelObjects().createEvent(argv[1]);
    try {
        zelbench::BareNetwork network(std::atoi(argv[2]), std::atoi(argv[3]), 2);
        network.infer();
        platform::kernelObjects().setEvent(done);
        while (true) platform::sleepMilliseconds(1000);
    } catch (const std::exception& failure) {
        std::cerr << "zelbench_bare: " << failure.what() << '\n';
        return 1;
    }
}
