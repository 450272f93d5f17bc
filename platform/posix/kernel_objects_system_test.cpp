#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <barrier>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/include/kernel_objects.h"

// Names, rights and lifetime as files of /dev/shm, seen from outside.
namespace platform {
namespace {

class SharedFileTest : public testing::Test {
  protected:
    ~SharedFileTest() override { unlink(path.c_str()); }

    static std::string uniqueName() {
        static int count = 0;
        return "zelhostposix" + std::to_string(getpid()) + "_" + std::to_string(count++);
    }
    Handle create(size_t size = 4096) { return objects.createMapping(name.c_str(), size, "", 0); }
    bool exists() const { return access(path.c_str(), F_OK) == 0; }
    // A file of that name that nobody holds, as a killed process leaves it.
    void leaveBehind(mode_t rights = 0600, off_t size = 4096) const {
        const int file = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        ASSERT_GE(file, 0);
        ASSERT_EQ(ftruncate(file, size), 0);
        ASSERT_EQ(fchmod(file, rights), 0);
        ASSERT_EQ(pwrite(file, "old", 3, 0), 3);
        close(file);
    }

    KernelObjects& objects = systemKernelObjects();
    const std::string name = uniqueName();
    const std::string path = "/dev/shm/" + name;
};

TEST_F(SharedFileTest, ObjectIsAFullyReservedFileForItsUserOnly) {
    const Handle mapping = create(100000);
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_EQ(status.st_size, 100000);
    EXPECT_GE(status.st_blocks * 512, 100000);
    objects.closeMapping(mapping);
    EXPECT_FALSE(exists());
}

TEST_F(SharedFileTest, RightsDoNotDependOnTheUmask) {
    const mode_t before = umask(0777);
    const Handle mapping = create();
    umask(before);
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    objects.closeMapping(mapping);
}

TEST_F(SharedFileTest, EventIsOnePageWhoseFirstWordIsItsState) {
    const Handle event = objects.createEvent(name.c_str());
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
    struct stat status {};
    ASSERT_EQ(fstat(file, &status), 0);
    EXPECT_EQ(status.st_size, 4096);
    uint32_t word = 9;
    EXPECT_EQ(pread(file, &word, 4, 0), 4);
    EXPECT_EQ(word, 0u);
    objects.setEvent(event);
    EXPECT_EQ(pread(file, &word, 4, 0), 4);
    EXPECT_EQ(word, 1u);
    const uint32_t five = 5;
    EXPECT_EQ(pwrite(file, &five, 4, 0), 4);
    EXPECT_EQ(objects.waitEvent(event, kInfinite), WaitResult::kSignalled);
    EXPECT_EQ(pread(file, &word, 4, 0), 4);
    EXPECT_EQ(word, 0u);
    close(file);
    objects.closeEvent(event);
    EXPECT_FALSE(exists());
}

TEST_F(SharedFileTest, ObjectOfTheDeadIsNeitherOpenedNorReused) {
    leaveBehind();
    EXPECT_EQ(objects.openMapping(name.c_str(), 4096), nullptr);
    EXPECT_FALSE(exists());
    leaveBehind();
    const Handle mapping = create();
    auto* view = static_cast<char*>(objects.mapView(mapping, 4096));
    EXPECT_EQ(view[0], 0);
    objects.unmapView(view, 4096);
    objects.closeMapping(mapping);
}

TEST_F(SharedFileTest, ObjectWithLooserRightsIsRefused) {
    for (const mode_t rights : {0640, 0604, 0602, 0777}) {
        leaveBehind(rights);
        const int held = open(path.c_str(), O_RDWR | O_CLOEXEC);
        ASSERT_EQ(flock(held, LOCK_SH), 0);
        EXPECT_EQ(create(), nullptr);
        EXPECT_EQ(objects.lastError(), static_cast<uint32_t>(EACCES));
        EXPECT_NE(objects.lastErrorText().find("0600"), std::string::npos);
        EXPECT_TRUE(exists());
        unlink(path.c_str());
        close(held);
    }
}

TEST_F(SharedFileTest, ObjectOfAnotherUserIsRefused) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    leaveBehind();
    ASSERT_EQ(chown(path.c_str(), 12345, 12345), 0);
    EXPECT_EQ(objects.createEvent(name.c_str()), nullptr);
    EXPECT_NE(objects.lastErrorText().find("another user (12345)"), std::string::npos);
    EXPECT_TRUE(exists());
    sweepAbandonedObjects();
    EXPECT_TRUE(exists());
}

TEST_F(SharedFileTest, LinkOrFolderOfTheNameIsRefused) {
    ASSERT_EQ(symlink("/etc/passwd", path.c_str()), 0);
    EXPECT_EQ(create(), nullptr);
    EXPECT_EQ(unlink(path.c_str()), 0);
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(create(), nullptr);
    EXPECT_EQ(rmdir(path.c_str()), 0);
}

TEST_F(SharedFileTest, NamesThatLeaveTheFolderAreRefused) {
    for (const std::string& bad : {std::string(), std::string("."), std::string(".."), std::string("a/b"),
                                   std::string("../etc"), std::string(256, 'x')}) {
        EXPECT_EQ(objects.createEvent(bad.c_str()), nullptr);
        EXPECT_EQ(objects.openMapping(bad.c_str(), 10), nullptr);
        EXPECT_EQ(objects.lastError(), static_cast<uint32_t>(EINVAL));
    }
}

TEST_F(SharedFileTest, FullFolderIsToldWithNameAndNeed) {
    struct statvfs folder {};
    ASSERT_EQ(statvfs("/dev/shm", &folder), 0);
    const size_t more = static_cast<size_t>(folder.f_blocks + 1) * folder.f_frsize;
    EXPECT_EQ(create(more), nullptr);
    EXPECT_EQ(objects.lastError(), static_cast<uint32_t>(ENOSPC));
    EXPECT_EQ(objects.lastErrorText(), "cannot create shared memory /" + name + " (" + std::to_string(more) +
                                           " bytes): no space left on /dev/shm; free space there or enlarge it");
    EXPECT_FALSE(exists());
}

TEST_F(SharedFileTest, DescriptorsAreClosedOnExec) {
    const Handle mapping = create();
    bool found = false;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        struct stat own {};
        struct stat named {};
        if (fstat(descriptor, &own) != 0 || stat(path.c_str(), &named) != 0 || own.st_ino != named.st_ino) continue;
        found = true;
        EXPECT_TRUE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC);
    }
    EXPECT_TRUE(found);
    objects.closeMapping(mapping);
}

// What is written to a closed stream would go into an object that has its number.
TEST_F(SharedFileTest, ObjectsLeaveTheNumbersOfClosedStreamsAlone) {
    const pid_t child = fork();
    if (child == 0) {
        for (int stream = 0; stream < 3; ++stream) close(stream);
        const Handle created = create();
        const Handle opened = objects.openMapping(name.c_str(), 4096);
        bool good = created && opened;
        for (int stream = 0; stream < 3; ++stream) good = good && fcntl(stream, F_GETFD) == -1;
        sweepAbandonedObjects();
        good = good && exists();  // both are still locked
        if (created) objects.closeMapping(created);
        good = good && exists();
        if (opened) objects.closeMapping(opened);
        _exit(good && !exists() ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(SharedFileTest, SweepRemovesWhatNobodyHolds) {
    int removed = 0;
    while (removed == 0) {  // unless a sweep of another program comes first
        leaveBehind();
        removed = sweepAbandonedObjects();
        ASSERT_FALSE(exists());
    }
}

TEST_F(SharedFileTest, SweepLeavesForeignNamesAlone) {
    const std::string other = "/dev/shm/other" + name;
    const int file = open(other.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    close(file);
    sweepAbandonedObjects();
    EXPECT_EQ(unlink(other.c_str()), 0);
}

// The child of a fork shares our lock; what it does with the inherited handle must not take the object from us.
TEST_F(SharedFileTest, ForkedChildDoesNotEndTheObject) {
    const Handle mapping = create();
    const pid_t child = fork();
    if (child == 0) {
        objects.closeMapping(mapping);
        _exit(0);
    }
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_TRUE(exists());
    sweepAbandonedObjects();
    EXPECT_TRUE(exists());
    objects.closeMapping(mapping);
    EXPECT_FALSE(exists());
}

// Returns when the thread sleeps, as the kernel's table shows it.
void awaitSleep(int thread) {
    std::string state;
    while (state != "S") {
        std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
        std::string line;
        std::getline(file, line);
        state = line.substr(line.rfind(')') + 2, 1);
    }
}

std::atomic<int> signalsHandled{0};

// Only a sleeper is signalled: a sanitizer keeps a signal that comes before the sleep until the wait ends.
TEST_F(SharedFileTest, SignalsDoNotEndAWait) {
    constexpr int kSignals = 200;
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = [](int) { ++signalsHandled; };
    ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
    const Handle event = objects.createEvent(name.c_str());
    const pthread_t waiter = pthread_self();
    const int waiterId = gettid();
    std::thread signaller([&] {
        while (signalsHandled < kSignals) {
            awaitSleep(waiterId);
            pthread_kill(waiter, SIGUSR1);
        }
        objects.setEvent(event);
    });
    EXPECT_EQ(objects.waitEvent(event, kInfinite), WaitResult::kSignalled);
    EXPECT_GE(signalsHandled, kSignals);
    signaller.join();
    objects.closeEvent(event);
    sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(SharedFileTest, SetWakesASleeperWhoseSetterDiedBeforeTheWake) {
    const Handle event = objects.createEvent(name.c_str());
    std::atomic<int> sleeperId{0};
    std::thread sleeper([&] {
        sleeperId = gettid();
        EXPECT_EQ(objects.waitEvent(event, kInfinite), WaitResult::kSignalled);
    });
    while (sleeperId == 0) std::this_thread::yield();
    awaitSleep(sleeperId);
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
    const uint32_t one = 1;
    EXPECT_EQ(pwrite(file, &one, 4, 0), 4);
    objects.setEvent(event);
    sleeper.join();
    close(file);
    objects.closeEvent(event);
}

// Whether somebody waits for a lock on the file, as the kernel's table shows it.
bool isLockAwaited(int file) {
    struct stat status {};
    fstat(file, &status);
    std::ifstream table("/proc/locks");
    for (std::string line; std::getline(table, line);) {
        if (line.find("->") != std::string::npos &&
            line.find(":" + std::to_string(status.st_ino) + " ") != std::string::npos)
            return true;
    }
    return false;
}

// The closer holds the object exclusively and unlinks it while the opener waits for its lock.
TEST_F(SharedFileTest, ObjectThatGoesWhileItIsOpenedIsReplaced) {
    if (!std::ifstream("/proc/locks")) GTEST_SKIP() << "the kernel does not show its locks";
    leaveBehind();
    const int closer = open(path.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(flock(closer, LOCK_EX), 0);
    Handle mapping = nullptr;
    std::thread opener([&] { mapping = create(); });
    while (!isLockAwaited(closer)) std::this_thread::yield();
    unlink(path.c_str());
    close(closer);
    opener.join();
    ASSERT_TRUE(mapping);
    EXPECT_TRUE(exists());
    auto* view = static_cast<char*>(objects.mapView(mapping, 4096));
    EXPECT_EQ(view[0], 0);
    objects.unmapView(view, 4096);
    objects.closeMapping(mapping);
    EXPECT_FALSE(exists());
}

// Many open and close one name at once; whoever holds it sees a whole object, and nothing stays.
TEST_F(SharedFileTest, OpenersAndClosersOfOneNameDoNotDisturbEachOther) {
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 2000; ++i) {
                if (t == 3) sweepAbandonedObjects();
                const Handle mapping = objects.createMapping(name.c_str(), 4096, "built", 5);
                ASSERT_TRUE(mapping) << objects.lastErrorText();
                auto* view = static_cast<char*>(objects.mapView(mapping, 4096));
                EXPECT_EQ(std::string(view, 5), "built");
                objects.unmapView(view, 4096);
                objects.closeMapping(mapping);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_FALSE(exists());
}

// Opening meets the other's closing here: two that hold one name must never hold two objects.
TEST_F(SharedFileTest, TwoHoldersOfOneNameShareItsBytes) {
    constexpr uint32_t kRounds = 3000;
    std::barrier both(2);
    std::atomic<uint32_t> strangers{0};
    const auto hold = [&](int self) {
        for (uint32_t round = 1; round <= kRounds; ++round) {
            const Handle mapping = objects.createMapping(name.c_str(), 4096, "", 0);
            auto* words = static_cast<uint32_t*>(objects.mapView(mapping, 4096));
            std::atomic_ref(words[self]).store(round);
            both.arrive_and_wait();
            if (std::atomic_ref(words[1 - self]).load() < round) ++strangers;
            objects.unmapView(words, 4096);
            objects.closeMapping(mapping);
        }
    };
    std::thread other(hold, 1);
    hold(0);
    other.join();
    EXPECT_EQ(strangers, 0u);
    EXPECT_FALSE(exists());
}

}  // namespace
}  // namespace platform
