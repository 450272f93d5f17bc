#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "util/include/CmThread.h"

// For tests: one real thread of the factory under a name of its own.
class QueueThreadFixture : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(ACmThreadSingletonFactory::Instance().GetSingletonThread(m_name.c_str(), m_thread), 0);
    }
    void TearDown() override {
        if (m_thread != nullptr) release();
    }

    void release() {
        EXPECT_EQ(ACmThreadSingletonFactory::Instance().ResleseSingletonThread(m_name.c_str(), m_thread), 0);
        m_thread = nullptr;
    }

    // Runs the work on the thread and hands back its result.
    template <class F>
    auto onThread(F work) {
        std::packaged_task<decltype(work())()> task(std::move(work));
        auto result = task.get_future();
        EXPECT_EQ(post([task = std::make_shared<decltype(task)>(std::move(task))] { (*task)(); }), 0);
        return result.get();
    }

    template <class F>
    int post(F&& work) {
        return InvokeInThread(m_thread, std::forward<F>(work));
    }

    // Returns once the thread is held inside an event, where it stays until `opened` is ready.
    void hold(const std::shared_future<void>& opened) {
        const auto held = std::make_shared<std::promise<void>>();
        auto isHeld = held->get_future();
        ASSERT_EQ(post([held, opened] {
                      held->set_value();
                      opened.wait();
                  }),
                  0);
        isHeld.wait();
    }

    // Waits for a state that nothing announces. False after a generous deadline.
    template <class F>
    static bool eventually(F state) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!state()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            std::this_thread::yield();
        }
        return true;
    }

    const std::string m_name = "utest-disp";
    ACmThread* m_thread = nullptr;
};
