// Matching of mesh frames to texture frames, slots, and the workers' sleep, without a player around them.
#include "NimbUnityPluginML/ConcurrentQueue.h"
#include "NimbUnityPluginML/FrameQueue.h"
#include "NimbUnityPluginML/Worker.h"

#include "NimbCore/NimbCrossPlatform.h"

#include <gtest/gtest.h>

#include <thread>

using namespace Nimb::Plugin;

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

std::shared_ptr<MeshFrame> FrameWithNumber(std::int64_t number) {
    const NIMBCORE::CComPtr<INimbBuffer> vertices(new NimbCrossPlatform::Buffer(1));
    const NIMBCORE::CComPtr<INimbBuffer> indices(new NimbCrossPlatform::Buffer(1));
    auto frame = std::make_shared<MeshFrame>(vertices, indices, 0);
    frame->m_frameNumber = number;
    return frame;
}

class FrameQueueTest : public testing::Test {
protected:
    void Push(std::initializer_list<std::int64_t> numbers) {
        for (const std::int64_t number : numbers) {
            ASSERT_TRUE(TakeNow());
            m_Queue.Push(FrameWithNumber(number), m_Queue.CurrentTicket());
        }
    }

    /// Takes all slots that there are and says how many.
    int FreeSlots() {
        int count = 0;
        while (count < 20 && TakeNow()) {
            ++count;
        }
        return count;
    }
    bool TakeNow() {
        int looks = 0;  // the first look at whether to give up comes after the first wait for a slot
        return m_Queue.TakeSlot([&looks] { return looks++ > 0; });
    }

    std::int64_t MatchNumber(std::int64_t texture) {
        m_Last = m_Queue.Match(texture, &m_PendingRestart);
        return m_Last.frame != nullptr ? m_Last.frame->m_frameNumber : -1;
    }

    FrameQueue m_Queue;
    std::atomic<bool> m_PendingRestart{false};
    FrameQueue::Matched m_Last;
};

TEST_F(FrameQueueTest, CatchesUpToTheTextureAndNoFurther) {
    EXPECT_EQ(MatchNumber(0), -1);
    Push({0, 1, 2, 5, 6});
    EXPECT_EQ(MatchNumber(0), 0);
    EXPECT_TRUE(m_Last.isFirstTake);
    EXPECT_EQ(m_Last.queued, 4u);
    EXPECT_EQ(MatchNumber(0), 0);
    EXPECT_FALSE(m_Last.isFirstTake);
    EXPECT_EQ(m_Last.frame->m_renderCount, 2u);
    EXPECT_EQ(MatchNumber(2), 2);
    EXPECT_TRUE(m_Last.isFirstTake);
    // 3 and 4 were lost: 5 is kept until its texture comes.
    for (const std::int64_t texture : {3, 4}) {
        EXPECT_EQ(MatchNumber(texture), 5);
        EXPECT_FALSE(m_Last.isFirstTake);
        EXPECT_EQ(m_Last.queued, 1u);
    }
    EXPECT_EQ(MatchNumber(5), 5);
    EXPECT_TRUE(m_Last.isFirstTake);
    EXPECT_EQ(MatchNumber(9), 6);  // the last that there is, and still behind
    EXPECT_FALSE(m_Last.isFirstTake);
}

TEST_F(FrameQueueTest, APendingRestartDiscardsWhatIsMoreThanTenAway) {
    for (const std::int64_t ahead : {1, 10}) {
        m_Queue.Clear();
        m_PendingRestart = false;
        Push({100 + ahead});
        MatchNumber(0);
        m_PendingRestart = true;
        Push({200});
        EXPECT_EQ(MatchNumber(100), 100 + ahead);
        EXPECT_EQ(m_Last.discarded, 0u);
        EXPECT_TRUE(m_PendingRestart);
    }
    m_Queue.Clear();
    m_PendingRestart = false;
    Push({111});
    MatchNumber(0);
    m_PendingRestart = true;
    EXPECT_EQ(MatchNumber(100), 111);  // nothing to put in its place: the restart stays pending
    EXPECT_TRUE(m_PendingRestart);
    Push({300, 301, 99, 105, 106});
    EXPECT_EQ(MatchNumber(100), 105);  // 99 is behind, and so as far off as can be
    EXPECT_EQ(m_Last.discarded, 4u);
    EXPECT_EQ(m_Last.queued, 1u);
    EXPECT_FALSE(m_PendingRestart);
    Push({400});
    EXPECT_EQ(MatchNumber(105), 105);
    EXPECT_EQ(MatchNumber(107), 400);  // without a restart pending, far ahead is kept
    EXPECT_EQ(m_Last.discarded, 0u);
}

TEST_F(FrameQueueTest, NumbersAreComparedUnsigned) {
    Push({3, 4});
    EXPECT_EQ(MatchNumber(-1), 4);  // -1 is a very large number: everything is behind it
    EXPECT_EQ(m_Last.queued, 0u);
}

TEST_F(FrameQueueTest, EverySlotComesBack) {
    Push({0, 1, 2, 3, 4, 5, 6, 7});
    EXPECT_EQ(FreeSlots(), 0);
    MatchNumber(2);
    EXPECT_EQ(FreeSlots(), 3);
    const FrameQueue::Ticket ticket = m_Queue.CurrentTicket();
    m_Queue.CountLost(ticket);
    m_Queue.CountLost(ticket);
    m_Queue.Push(FrameWithNumber(8), ticket);
    EXPECT_EQ(FreeSlots(), 0);
    EXPECT_EQ(m_Queue.Clear(), 6u);
    EXPECT_EQ(FreeSlots(), 8);

    // Meshes lost before a loop, and those from before it that turn out to be lost after it.
    m_Queue.CountLost(m_Queue.CurrentTicket());
    m_Queue.BeginLoop();
    m_Queue.CountLost(ticket);
    EXPECT_EQ(FreeSlots(), 2);
}

TEST_F(FrameQueueTest, WhatIsOnItsWayAcrossARewindOnlyCounts) {
    EXPECT_TRUE(TakeNow() && TakeNow() && TakeNow());
    const FrameQueue::Ticket before = m_Queue.CurrentTicket();
    EXPECT_EQ(m_Queue.TakeNumber(before), 0);
    m_Queue.BeginPass();
    EXPECT_EQ(m_Queue.TakeNumber(before), 1);
    m_Queue.Push(FrameWithNumber(1), before);
    m_Queue.CountLost(before);
    EXPECT_EQ(MatchNumber(1), -1);
    EXPECT_EQ(m_Queue.TakeNumber(m_Queue.CurrentTicket()), 2);
    EXPECT_EQ(FreeSlots(), 7);

    m_Queue.BeginFile();
    EXPECT_EQ(m_Queue.TakeNumber(before), std::nullopt);
    EXPECT_EQ(m_Queue.TakeNumber(m_Queue.CurrentTicket()), 0);
}

TEST_F(FrameQueueTest, AWaitForASlotEndsWhenOneIsFreeOrTheWaitIsCancelled) {
    EXPECT_EQ(FreeSlots(), 8);
    std::atomic<bool> cancelled{false};
    std::thread waiting([&] { EXPECT_FALSE(m_Queue.TakeSlot([&] { return cancelled.load(); })); });
    cancelled = true;
    waiting.join();
    std::thread again([&] { EXPECT_TRUE(m_Queue.TakeSlot([] { return false; })); });
    m_Queue.CountLost(m_Queue.CurrentTicket());
    m_Queue.Clear();
    again.join();
}

// ---- Workers ----

TEST(WorkerTest, SleepIsAnnouncedOnceAndReportedUntilWoken) {
    Worker worker;
    std::atomic<int> slept{0}, iterations{0};
    std::atomic<bool> mayGoOn{false};
    worker.Start("TestWorker", [&] {
        const auto iteration = [&] {
            ++iterations;
            while (!mayGoOn && !worker.ExitRequested()) {
                worker.Pause(1ms);
            }
        };
        worker.Run(0, "Test", iteration, [&] { ++slept; });
    });
    int unblocked = 0;
    worker.WaitUntilAsleep([&] { ++unblocked; });
    EXPECT_TRUE(worker.IsAsleep());
    std::this_thread::sleep_for(3 * Worker::c_MaxNap);  // it looks around meanwhile, and says nothing
    EXPECT_EQ(slept, 1);
    worker.Wake();
    EXPECT_FALSE(worker.IsAsleep());  // it would not go on sleeping
    while (iterations == 0) {
        std::this_thread::yield();
    }
    worker.RequestSleep();
    worker.WaitUntilAsleep([&] {
        ++unblocked;
        mayGoOn = true;  // as a flush ends a dequeue
    });
    EXPECT_GT(unblocked, 0);
    EXPECT_EQ(slept, 2);
    worker.Join();
    EXPECT_EQ(iterations, 1);  // the one that was woken to end does nothing more
}

TEST(WorkerTest, APauseLastsAsLongAsItShouldOrUntilSleepIsAskedFor) {
    Worker worker;
    worker.Wake();
    auto start = Clock::now();
    EXPECT_TRUE(worker.Pause(20ms));
    EXPECT_GE(Clock::now() - start, 20ms);
    std::thread thread([&] { EXPECT_FALSE(worker.Pause(std::chrono::hours(1))); });
    start = Clock::now();
    worker.RequestSleep();
    thread.join();
    EXPECT_LT(Clock::now() - start, 1s);
}

TEST(ConcurrentQueueTest, TasksRunInOrderAndAStopAbandonsTheRest) {
    ConcurrentQueue queue;
    std::vector<int> ran;
    for (int i = 0; i < 4; ++i) {
        queue.Enqueue([&ran, i] { ran.push_back(i); });
    }
    ConcurrentQueue::Task task;
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(queue.Dequeue(&task));
        task();
    }
    queue.Stop();
    EXPECT_FALSE(queue.Dequeue(&task));
    EXPECT_EQ(ran, (std::vector<int>{0, 1}));

    ConcurrentQueue empty;
    std::thread waiting([&] { EXPECT_FALSE(empty.Dequeue(&task)); });
    empty.Stop();
    waiting.join();
}

}  // namespace
