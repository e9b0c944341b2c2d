#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Foundation/Executor.hpp"

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

// As an event loop does: it waits for the descriptor, then polls once.
TEST(DispatchQueue, AHostThatPollsOncePerWakeUpRunsEveryJob) {
  const int wakeUps = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  const int loop = epoll_create1(EPOLL_CLOEXEC);
  epoll_event wanted{EPOLLIN, {}};
  ASSERT_EQ(epoll_ctl(loop, EPOLL_CTL_ADD, wakeUps, &wanted), 0);
  DispatchQueue queue;
  queue.setWakeUp([&] { eventfd_write(wakeUps, 1); });
  int ran = 0;
  queue.async([&] { queue.async([&] { queue.async([&] { ++ran; }); }); });
  queue.async([&] {
    queue.async([&] { ++ran; });
    throw std::runtime_error("a job of the host's");
  });
  for (epoll_event event{}; ran < 2 && epoll_wait(loop, &event, 1, 1000) == 1;) {
    eventfd_t count = 0;
    eventfd_read(wakeUps, &count);
    try {
      queue.poll();
    } catch (const std::runtime_error&) {
    }
  }
  EXPECT_EQ(ran, 2);
  close(loop);
  close(wakeUps);
}

TEST(DispatchQueue, RunUntilKeepsItsTimeWhileJobsKeepComing) {
  DispatchQueue queue;
  bool isOver = false;
  std::function<void()> again = [&] {
    if (!isOver) queue.async(again);
  };
  again();
  const auto start = std::chrono::steady_clock::now();
  const auto done = [&] { return std::chrono::steady_clock::now() - start > seconds(5); };
  EXPECT_FALSE(queue.runUntil(done, std::chrono::milliseconds(20)));
  isOver = true;
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
