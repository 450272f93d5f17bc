#include "platform/posix/task_list.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>

#include "platform/posix/proc_file.h"

namespace platform {

TaskList::TaskList() : folder_(open("/proc/self/task", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}

TaskList::~TaskList() {
    if (folder_ >= 0) close(folder_);
}

bool TaskList::next(pid_t& id) {
    while (at_ < end_ || fill()) {
        const auto* const entry = reinterpret_cast<const dirent64*>(entries_ + at_);
        at_ += entry->d_reclen;
        const char* name = entry->d_name;
        uint64_t number = 0;
        if (parseNumber(name, 10, number)) {
            id = static_cast<pid_t>(number);
            return true;
        }
    }
    return false;
}

// opendir would take memory from the heap.
bool TaskList::fill() {
    const long got = syscall(SYS_getdents64, folder_, entries_, sizeof entries_);
    at_ = 0;
    end_ = got > 0 ? static_cast<size_t>(got) : 0;
    return end_ > 0;
}

// "running", or numbers: the call and its six arguments (or -1 alone), the stack pointer, the instruction pointer.
bool readTaskRegisters(pid_t id, TaskRegisters& registers) {
    char text[256];
    size_t length = readProcText(TaskPath(id, "syscall").text, text, sizeof text);
    while (length > 0 && text[length - 1] == '\n') text[--length] = '\0';
    const auto lastWord = [&text] {
        char* const blank = std::strrchr(text, ' ');
        if (blank) *blank = '\0';
        return blank ? blank + 1 : text;
    };
    const char* instruction = lastWord();
    const char* stack = lastWord();
    return parseNumber(instruction, 16, registers.instructionPointer) && parseNumber(stack, 16, registers.stackPointer);
}

}  // namespace platform
