#include "platform/posix/proc_file.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>

namespace platform {

namespace {

unsigned digitValue(char digit) {
    if (digit >= '0' && digit <= '9') return static_cast<unsigned>(digit - '0');
    if (digit >= 'a' && digit <= 'f') return static_cast<unsigned>(digit - 'a' + 10);
    return 16;
}

}  // namespace

ProcFile::ProcFile(const char* path) : file_(open(path, O_RDONLY | O_CLOEXEC)) {}

ProcFile::~ProcFile() {
    if (file_ >= 0) close(file_);
}

size_t ProcFile::read(char* target, size_t size) {
    if (file_ < 0) return 0;
    ssize_t done;
    do {
        done = ::read(file_, target, size);
    } while (done < 0 && errno == EINTR);
    return done < 0 ? 0 : static_cast<size_t>(done);
}

size_t readProcText(const char* path, char* target, size_t size) {
    ProcFile file(path);
    const size_t length = file.read(target, size - 1);
    target[length] = '\0';
    return length;
}

TaskPath::TaskPath(pid_t id, const char* name) {
    constexpr char kFolder[] = "/proc/self/task/";
    char digits[16];
    size_t first = sizeof digits - 1;
    digits[first] = '/';
    for (; id > 0; id /= 10) digits[--first] = static_cast<char>('0' + id % 10);
    char* at = static_cast<char*>(mempcpy(text, kFolder, sizeof kFolder - 1));
    at = static_cast<char*>(mempcpy(at, digits + first, sizeof digits - first));
    const size_t room = sizeof text - static_cast<size_t>(at - text);
    const size_t length = strnlen(name, room - 1);
    std::memcpy(at, name, length);
    at[length] = '\0';
}

bool parseNumber(const char*& text, unsigned base, uint64_t& number) {
    if (base == 16 && text[0] == '0' && text[1] == 'x') text += 2;
    const char* const begin = text;
    for (number = 0; digitValue(*text) < base; ++text) number = number * base + digitValue(*text);
    return text != begin;
}

}  // namespace platform
