#include "lib/cm/object_refcount.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

class Counted final : public lumbase::object_refcount {
 public:
  explicit Counted(std::atomic<int>& destroyed) : destroyed_(destroyed) {}

 private:
  ~Counted() override { ++destroyed_; }

  std::atomic<int>& destroyed_;
};

TEST(ObjectRefcount, LastReleaseDestroys) {
  std::atomic<int> destroyed{0};
  auto* const object = new Counted(destroyed);
  object->retain();
  object->retain();
  object->release();
  EXPECT_EQ(destroyed, 0);
  object->release();
  EXPECT_EQ(destroyed, 1);
}

TEST(ObjectRefcount, ManyThreadsShareOneObject) {
  std::atomic<int> destroyed{0};
  auto* const object = new Counted(destroyed);
  constexpr int threadCount = 8;
  constexpr int rounds = 20000;
  for (int i = 0; i < threadCount; ++i) object->retain();
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) {
    threads.emplace_back([object] {
      for (int round = 0; round < rounds; ++round) {
        object->retain();
        object->release();
      }
      object->release();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
