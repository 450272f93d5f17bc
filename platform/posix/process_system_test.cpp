#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>

#include "platform/include/clock.h"
#include "platform/include/kernel_objects.h"
#include "platform/include/process.h"
#include "platform/test_support.h"

namespace platform::test {

namespace {

const std::string& childProgram() {
    static const std::string program = siblingProgram("platform_test_child");
    return program;
}

bool waitForLine(const std::string& path, std::string& line) {
    constexpr uint64_t kDeadlineMicroseconds = 30000000;
    const uint64_t start = monotonicMicroseconds();
    while (monotonicMicroseconds() - start < kDeadlineMicroseconds) {
        const std::string content = readFile(path);
        if (!content.empty() && content.back() == '\n') {
            line = content;
            return true;
        }
        sleepMilliseconds(1);
    }
    return false;
}

// Runs platform_test_entry to its end in the streams that `prepare` leaves; its wait status.
template <class Prepare>
int statusOfEntry(const char* argument, Prepare prepare) {
    const std::string program = siblingProgram("platform_test_entry");
    const pid_t child = fork();
    if (child == 0) {
        prepare();
        execl(program.c_str(), program.c_str(), argument, nullptr);
        _exit(99);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
}

bool signalIsIn(const std::string& status, const std::string& set, int signal) {
    std::istringstream stream(status.substr(status.find(set + ":") + set.size() + 1));
    uint64_t bits = 0;
    stream >> std::hex >> bits;
    return bits >> (signal - 1) & 1;
}

}  // namespace

TEST(LinuxProcessTest, ChildInheritsNoFileButItsStreams) {
    const int inheritable = open("/dev/null", O_RDONLY);
    const int high = fcntl(inheritable, F_DUPFD, 200);
    EXPECT_EQ(runTestChild({"descriptors"}).output, "0 1 2 ");
    close(inheritable);
    close(high);
}

TEST(LinuxProcessTest, ChildStartsWithoutBlockedSignalsAndWithTheBrokenPipeSignal) {
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto handler = signal(SIGPIPE, SIG_IGN);
    const std::string status = runTestChild({"signals"}).output;
    EXPECT_FALSE(signalIsIn(status, "SigBlk", SIGTERM)) << status;
    EXPECT_FALSE(signalIsIn(status, "SigIgn", SIGPIPE)) << status;
    sigset_t now;
    pthread_sigmask(SIG_SETMASK, &before, &now);
    EXPECT_EQ(sigismember(&now, SIGTERM), 1);
    EXPECT_EQ(sigismember(&now, SIGUSR1), 0);
    signal(SIGPIPE, handler);
}

TEST(LinuxProcessTest, StreamsAreRightEvenWhenOurOwnAreClosed) {
    const TemporaryFolder folder;
    const pid_t bare = fork();
    if (bare == 0) {
        for (int i = 0; i < 3; ++i) close(i);
        ProcessOptions options;
        options.standardOutput = folder.path("output");
        options.standardError = folder.path("error");
        const auto child = startProcess(childProgram(), {"streams"}, options, nullptr);
        _exit(child && child->waitForExit(kInfinite) ? child->exitCode() : 99);
    }
    int status = 0;
    ASSERT_EQ(waitpid(bare, &status, 0), bare);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(readFile(folder.path("output")), "out 0\n");
    EXPECT_EQ(readFile(folder.path("error")), "err\n");
}

TEST(LinuxProcessTest, ClosedErrorStreamIsInheritedAsAnEmptyOne) {
    const TemporaryFolder folder;
    const pid_t bare = fork();
    if (bare == 0) {
        close(1);
        close(2);
        ProcessOptions options;
        options.standardError = "inherit";
        // Lives on, so that what it needs here could lie in the place of our stream.
        const auto before = startProcess(childProgram(), {"exit", "0"}, options, nullptr);
        options.standardOutput = folder.path("output");
        const auto child = startProcess(childProgram(), {"descriptors"}, options, nullptr);
        _exit(child && child->waitForExit(kInfinite) ? child->exitCode() : 99);
    }
    int status = 0;
    ASSERT_EQ(waitpid(bare, &status, 0), bare);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(readFile(folder.path("output")), "0 1 2 ");
}

TEST(LinuxProcessTest, ChildThatASignalEndedHas128PlusItsNumber) {
    const auto child = startProcess(childProgram(), {"wait"}, {}, nullptr);
    ASSERT_NE(child, nullptr);
    ASSERT_EQ(kill(child->id(), SIGTERM), 0);
    ASSERT_TRUE(child->waitForExit(kInfinite));
    EXPECT_EQ(child->exitCode(), 128 + SIGTERM);
}

TEST(LinuxProcessTest, EndedChildIsReapedWithItsObject) {
    auto child = startProcess(childProgram(), {"exit", "0"}, {}, nullptr);
    ASSERT_NE(child, nullptr);
    const pid_t id = child->id();
    siginfo_t info;
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(id), &info, WEXITED | WNOWAIT), 0);
    child.reset();
    EXPECT_EQ(waitpid(id, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(LinuxProcessTest, RunningChildSurvivesItsObject) {
    auto child = startProcess(childProgram(), {"wait"}, {}, nullptr);
    ASSERT_NE(child, nullptr);
    const pid_t id = child->id();
    child.reset();
    EXPECT_EQ(waitpid(id, nullptr, WNOHANG), 0);
    kill(id, SIGKILL);
    EXPECT_EQ(waitpid(id, nullptr, 0), id);
}

TEST(LinuxProcessTest, ChildThatSomebodyElseReapedHasEndedWithAnUnknownCode) {
    const auto child = startProcess(childProgram(), {"exit", "5"}, {}, nullptr);
    ASSERT_NE(child, nullptr);
    ASSERT_EQ(waitpid(child->id(), nullptr, 0), child->id());
    EXPECT_TRUE(child->waitForExit(kInfinite));
    EXPECT_EQ(child->exitCode(), -1);
    child->kill();
}

TEST(LinuxProcessTest, FailedStartLeavesNoChild) {
    std::string error;
    EXPECT_EQ(startProcess("/nothing/there", {}, {}, &error), nullptr);
    EXPECT_EQ(error, "cannot start /nothing/there: No such file or directory");
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(LinuxProcessTest, ChildDiesWithTheParentThatAskedForIt) {
    // The grandchild becomes ours when its parent dies, so that its end can be waited for.
    ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    const TemporaryFolder folder;
    ProcessOptions options;
    options.standardOutput = folder.path("output");
    const auto nursery = startProcess(childProgram(), {"nursery", childProgram()}, options, nullptr);
    ASSERT_NE(nursery, nullptr);
    std::string line;
    ASSERT_TRUE(waitForLine(folder.path("output"), line));
    const pid_t grandchild = std::stoi(line);
    nursery->kill();
    ASSERT_TRUE(nursery->waitForExit(kInfinite));
    int status = 0;
    ASSERT_EQ(waitpid(grandchild, &status, 0), grandchild);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    prctl(PR_SET_CHILD_SUBREAPER, 0);
}

TEST(LinuxEntryTest, ArgumentBytesThatAreNoTextSurvive) {
    const Outcome outcome = runToEnd(siblingProgram("platform_test_entry"), {"MID=\xff\xc3\xa4\xc3"});
    EXPECT_EQ(outcome.output, "MID=\xff\xc3\xa4\xc3|0|0");
}

TEST(LinuxEntryTest, NoFileTakesTheNumberOfAClosedStream) {
    for (const bool all : {false, true}) {
        for (int stream = 0; stream < 3; ++stream) {
            const int status = statusOfEntry("NUMBER", [=] {
                for (int i = 0; i < 3; ++i) {
                    if (all || i == stream) close(i);
                }
            });
            ASSERT_TRUE(WIFEXITED(status)) << status;
            EXPECT_GE(WEXITSTATUS(status), 3);
            EXPECT_LT(WEXITSTATUS(status), 99);
        }
    }
}

TEST(LinuxEntryTest, ProgramOutlivesTheReaderOfItsOutput) {
    const int status = statusOfEntry("PID=1", [] {
        signal(SIGPIPE, SIG_DFL);
        int ends[2];
        if (pipe(ends) != 0 || dup2(ends[1], 1) != 1 || dup2(ends[1], 2) != 2) _exit(98);
        close(ends[0]);
        close(ends[1]);
    });
    ASSERT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), 37);
}

TEST(LinuxExceptionFilterTest, FaultsOfLinuxHaveTheCodesThatFit) {
    const Outcome bus = runTestChild({"fail", "bus", "report"});
    EXPECT_EQ(bus.output, "code=c0000006 message=\n");
    EXPECT_EQ(bus.exitCode, 128 + SIGBUS);
    const Outcome number = runTestChild({"fail", "number-overflow", "report"});
    EXPECT_EQ(number.output, "code=c0000095 message=\n");
    EXPECT_EQ(number.exitCode, 128 + SIGFPE);
}

}  // namespace platform::test
