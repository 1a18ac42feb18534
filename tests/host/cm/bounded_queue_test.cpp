#include "host/cm/bounded_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

namespace {

using cm::BoundedQueue;
using namespace std::chrono_literals;

TEST(BoundedQueue, KeepsOrder) {
  BoundedQueue<int> queue(3);
  EXPECT_TRUE(queue.put(1));
  EXPECT_TRUE(queue.put(2));
  EXPECT_EQ(queue.size(), 2U);
  EXPECT_EQ(queue.take(), 1);
  EXPECT_EQ(queue.tryTake(), 2);
  EXPECT_EQ(queue.tryTake(), std::nullopt);
}

TEST(BoundedQueue, ProducerWaitsWhileFull) {
  BoundedQueue<int> queue(2);
  std::atomic<int> queued{0};
  std::thread producer([&] {
    for (int i = 0; i < 5; ++i) {
      queue.put(i);
      ++queued;
    }
  });
  while (queued < 2) std::this_thread::yield();
  std::this_thread::sleep_for(50ms);
  EXPECT_EQ(queued, 2);
  EXPECT_EQ(queue.take(), 0);
  while (queued < 3) std::this_thread::yield();
  std::this_thread::sleep_for(50ms);
  EXPECT_EQ(queued, 3);
  for (int i = 1; i < 5; ++i) EXPECT_EQ(queue.take(), i);
  producer.join();
}

TEST(BoundedQueue, NeverHoldsMoreThanItsCapacity) {
  constexpr int items = 20000;
  constexpr std::size_t capacity = 3;
  BoundedQueue<int> queue(capacity);
  std::thread producer([&] {
    for (int i = 0; i < items; ++i) queue.put(i);
    queue.finish();
  });
  int expected = 0;
  while (const auto item = queue.take()) {
    EXPECT_LE(queue.size(), capacity);
    ASSERT_EQ(*item, expected++);
  }
  EXPECT_EQ(expected, items);
  producer.join();
}

TEST(BoundedQueue, FinishLeavesWhatIsQueued) {
  BoundedQueue<int> queue(2);
  queue.put(1);
  queue.finish();
  EXPECT_FALSE(queue.put(2));
  EXPECT_TRUE(queue.waitForItem());
  EXPECT_EQ(queue.take(), 1);
  EXPECT_FALSE(queue.waitForItem());
  EXPECT_EQ(queue.take(), std::nullopt);
}

TEST(BoundedQueue, FinishWakesAWaitingConsumer) {
  BoundedQueue<int> queue(2);
  std::thread consumer([&] { EXPECT_EQ(queue.take(), std::nullopt); });
  std::this_thread::sleep_for(20ms);
  queue.finish();
  consumer.join();
}

TEST(BoundedQueue, AbandonWakesAWaitingProducerAndDropsItems) {
  BoundedQueue<std::shared_ptr<int>> queue(1);
  const auto item = std::make_shared<int>(1);
  queue.put(item);
  std::thread producer([&] { EXPECT_FALSE(queue.put(item)); });
  std::this_thread::sleep_for(20ms);
  queue.abandon();
  producer.join();
  EXPECT_EQ(item.use_count(), 1);
  EXPECT_EQ(queue.take(), std::nullopt);
}

}  // namespace
