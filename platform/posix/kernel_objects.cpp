#include "platform/include/kernel_objects.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/posix/descriptor.h"
#include "platform/posix/shared_views.h"

// Objects are files of /dev/shm. Whoever has one open holds a shared lock on it, so that a file that can be locked
// exclusively belongs to nobody and goes: kernel-object lifetime, also for processes that were killed.
namespace platform {
namespace {

constexpr const char* kFolder = "/dev/shm";
constexpr std::string_view kOwnPrefix = "zelhost";
constexpr size_t kEventBytes = 4096;
constexpr mode_t kRights = 0600;
// Each attempt fails only because another process made progress with the same name meanwhile.
constexpr int kMostAttempts = 1000;

thread_local int lastFailure = 0;
thread_local std::string lastFailureText;

// What is wanted, for the system and for people.
struct Wanted {
    Wanted(const char* kind, const char* objectName, size_t bytes) : name(objectName), size(bytes) {
        label = std::string(kind) + " /" + name + " (" + std::to_string(size) + " bytes)";
        path = std::string(kFolder) + "/" + name;
    }
    std::string name;
    std::string path;
    std::string label;
    size_t size;
};

std::string systemText(int code) {
    return std::system_category().message(code);
}

void fail(const char* action, const Wanted& wanted, int code, const std::string& reason) {
    lastFailure = code;
    lastFailureText = std::string("cannot ") + action + " " + wanted.label + ": " + reason;
}

class File {
  public:
    File() = default;
    explicit File(int descriptor) : mDescriptor(aboveStreams(descriptor)) {}
    File(File&& other) noexcept : mDescriptor(std::exchange(other.mDescriptor, -1)) {}
    File& operator=(File&& other) noexcept {
        std::swap(mDescriptor, other.mDescriptor);
        return *this;
    }
    ~File() {
        if (isOpen()) ::close(mDescriptor);
    }
    bool isOpen() const { return mDescriptor >= 0; }
    int get() const { return mDescriptor; }

  private:
    int mDescriptor = -1;
};

template <class Call>
auto retried(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) result = call();
    return result;
}

bool lock(const File& file, int operation) {
    return retried([&] { return flock(file.get(), operation); }) == 0;
}

// Whether the name still leads to the open file.
bool isNamed(const File& file, const std::string& path) {
    struct stat opened {};
    struct stat named {};
    return fstat(file.get(), &opened) == 0 && lstat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

// Removes the name if nobody else holds the object. A shared lock of ours is gone afterwards.
bool removeIfAbandoned(const File& file, const std::string& path) {
    return lock(file, LOCK_EX | LOCK_NB) && isNamed(file, path) && unlink(path.c_str()) == 0;
}

bool isNameAllowed(const std::string& name) {
    return !name.empty() && name.size() <= NAME_MAX && name.find('/') == std::string::npos && name != "." &&
           name != "..";
}

enum class Found { kOpened, kMissing, kRefused };

Found refuse(const Wanted& wanted, int code, const std::string& reason) {
    fail("open", wanted, code, reason);
    return Found::kRefused;
}

// Only a file of our own that nobody else can reach is used.
Found checkOwner(const File& file, const Wanted& wanted) {
    struct stat status {};
    if (fstat(file.get(), &status) != 0) return refuse(wanted, errno, systemText(errno));
    if (!S_ISREG(status.st_mode))
        return refuse(wanted, EINVAL, "the name is taken by something that is no shared memory");
    if (status.st_uid != geteuid()) {
        return refuse(wanted, EACCES, "it belongs to another user (" + std::to_string(status.st_uid) + ")");
    }
    if ((status.st_mode & 07777 & ~kRights) != 0) {
        return refuse(wanted, EACCES, "other users may reach it; remove it, its rights must be 0600");
    }
    return Found::kOpened;
}

Found checkSize(const File& file, const Wanted& wanted) {
    struct stat status {};
    if (fstat(file.get(), &status) != 0) return refuse(wanted, errno, systemText(errno));
    if (static_cast<uint64_t>(status.st_size) >= wanted.size) return Found::kOpened;
    return refuse(wanted, EINVAL,
                  "it has only " + std::to_string(status.st_size) + " bytes; another program uses the name");
}

Found openLive(const Wanted& wanted, File& result) {
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        File file(retried([&] { return ::open(wanted.path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK); }));
        if (!file.isOpen()) {
            if (errno != ENOENT) return refuse(wanted, errno, systemText(errno));
            fail("open", wanted, ENOENT, "there is none");
            return Found::kMissing;
        }
        if (const Found owner = checkOwner(file, wanted); owner != Found::kOpened) return owner;
        if (lock(file, LOCK_EX | LOCK_NB)) {  // nobody holds it: it was left by the dead and is never used again
            removeIfAbandoned(file, wanted.path);
            continue;
        }
        if (errno != EWOULDBLOCK || !lock(file, LOCK_SH)) return refuse(wanted, errno, systemText(errno));
        if (!isNamed(file, wanted.path)) continue;
        const Found size = checkSize(file, wanted);
        if (size == Found::kOpened) {
            result = std::move(file);
        } else {
            removeIfAbandoned(file, wanted.path);
        }
        return size;
    }
    return refuse(wanted, EBUSY, "other processes keep replacing it");
}

std::string reasonOf(int code) {
    if (code == ENOSPC || code == ENOMEM) return "no space left on /dev/shm; free space there or enlarge it";
    if (code == EOPNOTSUPP || code == EISDIR) return "/dev/shm is no tmpfs that takes unnamed files; mount one there";
    return systemText(code);
}

// An unnamed file with all its memory reserved, its content in place and our shared lock on it.
File buildUnnamed(const Wanted& wanted, const void* content, size_t contentSize) {
    File file(retried([] { return ::open(kFolder, O_TMPFILE | O_RDWR | O_CLOEXEC, kRights); }));
    const auto length = static_cast<off_t>(wanted.size);
    const bool built =
        file.isOpen() && fchmod(file.get(), kRights) == 0 &&
        retried([&] { return fallocate(file.get(), 0, 0, length); }) == 0 &&
        retried([&] { return pwrite(file.get(), content, contentSize, 0); }) == static_cast<ssize_t>(contentSize) &&
        lock(file, LOCK_SH | LOCK_NB);
    if (built) return file;
    fail("create", wanted, errno, reasonOf(errno));
    return File();
}

bool giveName(const File& file, const std::string& path) {
    const std::string link = "/proc/self/fd/" + std::to_string(file.get());
    if (linkat(AT_FDCWD, link.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0) return true;
    if (errno != ENOENT) return false;
    return linkat(file.get(), "", AT_FDCWD, path.c_str(), AT_EMPTY_PATH) == 0;  // no /proc here
}

File openOrCreate(const Wanted& wanted, const void* content, size_t contentSize) {
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        File file;
        const Found found = openLive(wanted, file);
        if (found != Found::kMissing) return file;
        file = buildUnnamed(wanted, content, contentSize);
        if (!file.isOpen() || giveName(file, wanted.path)) return file;
        if (errno != EEXIST) {
            fail("create", wanted, errno, reasonOf(errno));
            return File();
        }
    }
    fail("create", wanted, EBUSY, "other processes keep replacing it");
    return File();
}

bool isWantedAllowed(const Wanted& wanted) {
    if (isNameAllowed(wanted.name)) return true;
    fail("open", wanted, EINVAL, "a name has 1 to 255 bytes and no slash");
    return false;
}

// One open object. A child that was forked off shares our lock and must not end it.
class OpenObject {
  public:
    OpenObject(File file, std::string path) : mFile(std::move(file)), mPath(std::move(path)), mProcess(getpid()) {}
    ~OpenObject() {
        if (mWord) unmapShared(mWord, kEventBytes);
        if (mProcess == getpid()) removeIfAbandoned(mFile, mPath);
    }
    OpenObject(const OpenObject&) = delete;
    OpenObject& operator=(const OpenObject&) = delete;

    int descriptor() const { return mFile.get(); }

    bool mapWord() {
        mWord = static_cast<uint32_t*>(mapShared(mFile.get(), kEventBytes));
        return mWord != nullptr;
    }

    void set() {
        std::atomic_ref(*mWord).store(1);
        wakeOne();
    }

    // Nobody goes to sleep on a word that is set, and who slept when it was set is woken by the one that did it.
    void setOnce() {
        if (std::atomic_ref(*mWord).exchange(1) == 0) wakeOne();
    }

    WaitResult wait(uint32_t timeoutMs) {
        if (take()) return WaitResult::kSignalled;
        if (timeoutMs == 0) return WaitResult::kTimeout;
        timespec end{};
        if (timeoutMs != kInfinite) end = after(timeoutMs);
        while (sleepUntilSet(timeoutMs == kInfinite ? nullptr : &end)) {
            if (take()) return WaitResult::kSignalled;
        }
        if (take()) return WaitResult::kSignalled;
        if (errno == ETIMEDOUT) return WaitResult::kTimeout;
        lastFailure = errno;
        lastFailureText = "cannot wait on event " + mPath + ": " + systemText(errno);
        return WaitResult::kFailed;
    }

  private:
    bool take() { return std::atomic_ref(*mWord).exchange(0) != 0; }
    void wakeOne() { syscall(SYS_futex, mWord, FUTEX_WAKE, 1, nullptr, nullptr, 0); }

    static timespec after(uint32_t milliseconds) {
        timespec end{};
        clock_gettime(CLOCK_MONOTONIC, &end);
        end.tv_sec += milliseconds / 1000;
        end.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
        if (end.tv_nsec >= 1000000000) {
            end.tv_nsec -= 1000000000;
            ++end.tv_sec;
        }
        return end;
    }

    // False, with errno, when the time is over or the system refuses.
    bool sleepUntilSet(const timespec* end) {
        const long result = syscall(SYS_futex, mWord, FUTEX_WAIT_BITSET, 0, end, nullptr, FUTEX_BITSET_MATCH_ANY);
        return result == 0 || errno == EAGAIN || errno == EINTR;
    }

    File mFile;
    std::string mPath;
    pid_t mProcess;
    uint32_t* mWord = nullptr;  // of an event
};

OpenObject& object(Handle handle) {
    return *static_cast<OpenObject*>(handle);
}

class SystemKernelObjects final : public KernelObjects {
  public:
    Handle createEvent(const char* name) override {
        const Wanted wanted("event", name, kEventBytes);
        if (!isWantedAllowed(wanted)) return nullptr;
        auto event = held(openOrCreate(wanted, "", 0), wanted);
        if (!event || event->mapWord()) return event.release();
        fail("map", wanted, errno, systemText(errno));
        return nullptr;
    }

    void setEvent(Handle event) override { object(event).set(); }
    void setEventOnce(Handle event) override { object(event).setOnce(); }
    WaitResult waitEvent(Handle event, uint32_t timeoutMs) override { return object(event).wait(timeoutMs); }
    void closeEvent(Handle event) override { delete &object(event); }

    Handle openMapping(const char* name, size_t size) override {
        const Wanted wanted("shared memory", name, size);
        File file;
        if (!isWantedAllowed(wanted) || openLive(wanted, file) != Found::kOpened) return nullptr;
        return held(std::move(file), wanted).release();
    }

    Handle createMapping(const char* name, size_t size, const void* content, size_t contentSize) override {
        const Wanted wanted("shared memory", name, size);
        if (!isWantedAllowed(wanted)) return nullptr;
        return held(openOrCreate(wanted, content, contentSize), wanted).release();
    }

    void* mapView(Handle mapping, size_t size) override {
        if (void* view = mapShared(object(mapping).descriptor(), size)) return view;
        lastFailure = errno;
        lastFailureText = "cannot map " + std::to_string(size) + " bytes of shared memory: " + systemText(errno);
        return nullptr;
    }

    void unmapView(void* view, size_t size) override { unmapShared(view, size); }
    void closeMapping(Handle mapping) override { delete &object(mapping); }

    uint32_t lastError() override { return static_cast<uint32_t>(lastFailure); }
    std::string lastErrorText() override { return lastFailureText; }

  private:
    static std::unique_ptr<OpenObject> held(File file, const Wanted& wanted) {
        if (!file.isOpen()) return nullptr;
        return std::make_unique<OpenObject>(std::move(file), wanted.path);
    }
};

std::atomic<KernelObjects*> replaced{nullptr};

bool sweep(const std::string& name) {
    const std::string path = std::string(kFolder) + "/" + name;
    const File file(retried([&] { return ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK); }));
    struct stat status {};
    if (!file.isOpen() || fstat(file.get(), &status) != 0) return false;
    return S_ISREG(status.st_mode) && status.st_uid == geteuid() && removeIfAbandoned(file, path);
}

}  // namespace

KernelObjects& systemKernelObjects() {
    // Never destroyed: objects with static lifetime close their handles at exit.
    static auto* const objects = new SystemKernelObjects;
    return *objects;
}

KernelObjects& kernelObjects() {
    KernelObjects* const objects = replaced.load(std::memory_order_acquire);
    return objects ? *objects : systemKernelObjects();
}

void replaceKernelObjects(KernelObjects* replacement) {
    replaced = replacement;
}

int sweepAbandonedObjects() {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(kFolder), closedir);
    if (!folder) return 0;
    int removed = 0;
    while (const dirent* entry = readdir(folder.get())) {
        const std::string name = entry->d_name;
        if (name.compare(0, kOwnPrefix.size(), kOwnPrefix) == 0 && sweep(name)) ++removed;
    }
    return removed;
}

}  // namespace platform
