#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "signal/vector_primitives.h"

namespace {

std::size_t requested = 0;
void* given = nullptr;
void* returned = nullptr;
std::size_t shift = 0;

void* recording_malloc(std::size_t size) {
  requested = size;
  const std::size_t total = size + shift;
  char* const block = static_cast<char*>(std::malloc(total));
  given = block + shift;
  return given;
}

void recording_free(void* block) {
  returned = block;
  std::free(static_cast<char*>(block) - shift);
}

void* failing_malloc(std::size_t size) {
  requested = size;
  return nullptr;
}

class AlignedAllocator : public testing::Test {
 protected:
  void TearDown() override {
    i_malloc = std::malloc;
    i_free = std::free;
    shift = 0;
  }
};

TEST_F(AlignedAllocator, HooksAreTheCLibrarysOwn) {
  EXPECT_EQ(i_malloc, static_cast<void* (*)(std::size_t)>(std::malloc));
  EXPECT_EQ(i_free, static_cast<void (*)(void*)>(std::free));
}

TEST_F(AlignedAllocator, EveryLengthIsAlignedAndWhole) {
  for (int len = 1; len < 300; ++len) {
    unsigned char* const block = ippsMalloc_8u(len);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 32, 0U);
    std::memset(block, 0xa5, static_cast<std::size_t>(len));
    ippsFree(block);
  }
}

// For any alignment of the hook's memory, the block and the word before it are inside of it.
TEST_F(AlignedAllocator, KeepsTheRawAddressBeforeTheBlock) {
  i_malloc = recording_malloc;
  i_free = recording_free;
  for (shift = 0; shift < 64; ++shift) {
    for (const int len : {1, 31, 32, 33, 1000}) {
      unsigned char* const block = ippsMalloc_8u(len);
      ASSERT_NE(block, nullptr);
      EXPECT_EQ(requested, static_cast<std::size_t>(len) + 32 + sizeof(void*));
      void* kept = nullptr;
      std::memcpy(&kept, block - sizeof kept, sizeof kept);
      EXPECT_EQ(kept, given);
      EXPECT_GE(block - static_cast<unsigned char*>(given),
                static_cast<std::ptrdiff_t>(sizeof(void*)));
      EXPECT_LE(block + len, static_cast<unsigned char*>(given) + requested);
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 32, 0U);
      std::memset(block, 0xa5, static_cast<std::size_t>(len));
      ippsFree(block);
      EXPECT_EQ(returned, given);
    }
  }
}

TEST_F(AlignedAllocator, LengthBelowOneGivesNullUnasked) {
  i_malloc = failing_malloc;
  requested = 7;
  for (const int len : {0, -1, INT_MIN}) {
    EXPECT_EQ(ippsMalloc_8u(len), nullptr);
  }
  EXPECT_EQ(ippMalloc(-1), nullptr);
  EXPECT_EQ(requested, 7U);
}

TEST_F(AlignedAllocator, GeneralFormTakesLengthZero) {
  void* const block = ippMalloc(0);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 32, 0U);
  ippFree(block);
}

TEST_F(AlignedAllocator, ExhaustionGivesNullAndTheSizeDoesNotWrap) {
  i_malloc = failing_malloc;
  EXPECT_EQ(ippsMalloc_8u(INT_MAX), nullptr);
  EXPECT_EQ(requested, static_cast<std::size_t>(INT_MAX) + 32 + sizeof(void*));
}

TEST_F(AlignedAllocator, FreeTakesNull) {
  returned = given = &requested;
  i_free = recording_free;
  ippsFree(nullptr);
  ippFree(nullptr);
  EXPECT_EQ(returned, &requested);
}

}  // namespace
