#pragma once

#include <sys/types.h>

#include <cstdint>

namespace platform {

// The ids of this process's threads, as /proc/self/task has them. Threads may start and end meanwhile.
// Async-signal-safe calls only, no heap.
class TaskList {
  public:
    TaskList();
    ~TaskList();
    TaskList(const TaskList&) = delete;
    TaskList& operator=(const TaskList&) = delete;

    bool next(pid_t& id);

  private:
    bool fill();

    const int folder_;
    alignas(8) char entries_[4096];
    size_t at_ = 0;
    size_t end_ = 0;
};

// Where a thread that waits in the kernel has left its program. False for one that runs, and for one that is gone.
struct TaskRegisters {
    uint64_t stackPointer;
    uint64_t instructionPointer;
};
bool readTaskRegisters(pid_t id, TaskRegisters& registers);

}  // namespace platform
