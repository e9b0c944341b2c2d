#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "Platform/Foundation/DispatchQueue.hpp"
#include "Platform/Foundation/Executor.hpp"

namespace tavrin {
namespace {

using std::chrono::seconds;

TEST(SerialQueue, RunsJobsOneAtATimeAndInOrderOnManyThreads) {
  DispatchQueue done;
  ThreadPool pool(4);
  constexpr int perQueue = 2000;
  struct Lane {
    std::shared_ptr<SerialQueue> queue;
    std::vector<int> ran;  // the queue is its only guard
  };
  std::vector<Lane> lanes(8);
  int finished = 0;
  for (auto& lane : lanes) lane.queue = SerialQueue::make(pool);
  for (int i = 0; i < perQueue; ++i) {
    for (auto& lane : lanes) {
      lane.queue->post([&, i] {
        lane.ran.push_back(i);
        if (i == perQueue - 1) done.post([&] { ++finished; });
      });
    }
  }
  ASSERT_TRUE(done.runUntil([&] { return finished == 8; }, seconds(30)));
  for (const auto& lane : lanes) {
    ASSERT_EQ(lane.ran.size(), perQueue);
    EXPECT_TRUE(std::ranges::is_sorted(lane.ran));
  }
}

TEST(ThreadPool, RunsWhatIsQueuedBeforeItStopsAndDropsWhatComesAfter) {
  std::atomic<int> ran{0};
  ThreadPool pool(2);
  const auto queue = SerialQueue::make(pool);
  for (int i = 0; i < 100; ++i) pool.post([&] { ++ran; });
  for (int i = 0; i < 100; ++i) queue->post([&] { ++ran; });
  pool.stop();
  EXPECT_EQ(ran, 200);
  pool.post([&] { ++ran; });
  EXPECT_EQ(ran, 200);
}

TEST(DispatchQueue, WakesItsHostOnlyWhenItStopsBeingEmpty) {
  DispatchQueue queue;
  int wakeUps = 0;
  queue.setWakeUp([&] { ++wakeUps; });
  queue.async([] {});
  queue.async([] {});
  EXPECT_EQ(wakeUps, 1);
  EXPECT_TRUE(queue.poll());
  EXPECT_FALSE(queue.poll());
  queue.async([] {});
  EXPECT_EQ(wakeUps, 2);
}

TEST(DispatchQueue, PollRunsWhatIsQueuedAndMayBeCalledFromAJob) {
  DispatchQueue queue;
  std::vector<int> ran;
  queue.async([&] {
    ran.push_back(1);
    queue.async([&] { ran.push_back(3); });
    queue.poll();
    ran.push_back(4);
  });
  queue.async([&] { ran.push_back(2); });
  EXPECT_TRUE(queue.poll());
  EXPECT_EQ(ran, (std::vector{1, 2, 3, 4}));
}

TEST(DispatchQueue, RunEndsAtStopAndKeepsWhatIsLeft) {
  DispatchQueue queue;
  int ran = 0;
  queue.async([&] {
    ++ran;
    queue.stop();
  });
  queue.async([&] { ++ran; });
  queue.run();
  EXPECT_EQ(ran, 1);
  EXPECT_TRUE(queue.poll());
  EXPECT_EQ(ran, 2);
}

}  // namespace
}  // namespace tavrin
