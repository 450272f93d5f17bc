#include "host/HostFixture.h"

#include "platform/include/clock.h"
#include "platform/include/thread.h"

void HostTest::SetUp() {
    mName = zeltest::uniqueBaseName();
    mHost = std::make_unique<ZelMLHost>();
    ASSERT_TRUE(mHost->init(mName));
    mClient = std::make_unique<zeltest::RawClient>(mName);
}

void HostTest::TearDown() {
    terminate();
    mHost.reset();
}

void HostTest::serve() {
    mHost->listenOnFrame();
    mMain = std::thread([this] { mHost->run(); });
}

void HostTest::terminate() {
    if (!mMain.joinable()) return;
    mClient->command(ipc::CommandCode::Terminate);
    mMain.join();
}

// Commands run one after the other, so the answer to this one comes behind all earlier ones.
void HostTest::settle() {
    mClient->command(ipc::CommandCode::InitClient);
    ASSERT_TRUE(mClient->event(ipc::EventCode::InitClientReply));
}

bool HostTest::traced(unsigned long level, const std::string& text) const {
    for (const auto& line : mTrace.lines())
        if (line.level == level && line.text == text) return true;
    return false;
}

void HostTest::await(const std::string& text, const std::function<void()>& meanwhile) {
    const uint32_t start = platform::tickCount();
    while (!mTrace.contains(text)) {
        ASSERT_LT(platform::tickCount() - start, zeltest::kDeadlineMs) << text;
        meanwhile();
    }
}
