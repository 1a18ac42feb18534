#include "host/cm/picture_pool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <set>
#include <thread>
#include <vector>

namespace {

using cm::PicturePool;

TEST(PicturePool, ReusesTheBuffersOfReleasedPictures) {
  const auto pool = PicturePool::create();
  std::set<unsigned char*> first;
  {
    std::vector<PicturePool::Picture> pictures;
    for (int i = 0; i < 20; ++i) pictures.push_back(pool->take(1000));
    for (const auto& picture : pictures) first.insert(picture.get());
  }
  EXPECT_EQ(first.size(), 20U);
  std::set<unsigned char*> second;
  std::vector<PicturePool::Picture> pictures;
  for (int i = 0; i < 20; ++i) pictures.push_back(pool->take(1000));
  for (const auto& picture : pictures) second.insert(picture.get());
  EXPECT_EQ(second, first);
}

TEST(PicturePool, AlignsAndPadsWithZeros) {
  const auto pool = PicturePool::create();
  const std::vector<unsigned char> zeros(PicturePool::padding);
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{63}, std::size_t{64},
                                 std::size_t{65}, std::size_t{3110400}}) {
    const auto picture = pool->take(size);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(picture.get()) % 64, 0U) << size;
    EXPECT_EQ(std::memcmp(picture.get() + size, zeros.data(), zeros.size()), 0) << size;
    std::fill_n(picture.get(), size, static_cast<unsigned char>(0xff));
  }
}

// AddressSanitizer finds a buffer that is reused for a larger picture.
TEST(PicturePool, KeepsPicturesOfDifferentSizesApart) {
  const auto pool = PicturePool::create();
  auto small = pool->take(10);
  auto large = pool->take(10000);
  small.reset();
  large.reset();
  for (const std::size_t size : {std::size_t{10000}, std::size_t{10}, std::size_t{20000}})
    for (int i = 0; i < 3; ++i) std::memset(pool->take(size).get(), 1, size);
}

TEST(PicturePool, OutlivesItsCreatorWhileAPictureIsInUse) {
  auto pool = PicturePool::create();
  const auto picture = pool->take(5);
  const std::weak_ptr<PicturePool> watched = pool;
  pool.reset();
  EXPECT_FALSE(watched.expired());
  std::memset(picture.get(), 1, 5);
}

TEST(PicturePool, ServesThreads) {
  const auto pool = PicturePool::create();
  std::vector<std::thread> threads;
  for (unsigned char value = 0; value < 4; ++value)
    threads.emplace_back([&pool, value] {
      for (int i = 0; i < 1000; ++i) {
        const auto picture = pool->take(100);
        std::memset(picture.get(), value, 100);
        EXPECT_EQ(std::count(picture.get(), picture.get() + 100, value), 100);
      }
    });
  for (std::thread& thread : threads) thread.join();
}

TEST(PicturePool, WorksAfterASizeWasRefused) {
  const auto pool = PicturePool::create();
  const std::size_t most = std::numeric_limits<std::size_t>::max();
  EXPECT_THROW(pool->take(most), std::bad_alloc);
  EXPECT_THROW(pool->take(most - PicturePool::padding + 1), std::bad_alloc);
  EXPECT_NE(pool->take(8), nullptr);
}

}  // namespace
