// Guards that detect nothing would make all tests with them useless: each one is shown to work.
#include "tests/support/guarded_buffer.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>

namespace test_support {
namespace {

constexpr int trapped_at_expected_address = 42;
constexpr int trapped_elsewhere = 43;
constexpr int not_trapped = 44;

const volatile void* expected_address = nullptr;

void on_segv(int, siginfo_t* info, void*) {
  _exit(info->si_addr == expected_address ? trapped_at_expected_address : trapped_elsewhere);
}

void expect_trap_at(const volatile void* address) {
  expected_address = address;
  struct sigaction action = {};
  action.sa_sigaction = on_segv;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGSEGV, &action, nullptr);
}

void read_byte(const volatile unsigned char* p) {
  expect_trap_at(p);
  static_cast<void>(*p);
  _exit(not_trapped);
}

void write_byte(volatile unsigned char* p) {
  expect_trap_at(p);
  *p = 0;
  _exit(not_trapped);
}

constexpr std::size_t sizes[] = {0, 1, 2, 3, 63, 4095, 4096, 4097, 10000};

class GuardedBufferPatterns : public testing::TestWithParam<fill_pattern> {};

TEST_P(GuardedBufferPatterns, EveryByteOfTheBufferIsUsableAndHoldsThePatternAtFirst) {
  for (const std::size_t size : sizes) {
    for (const protected_edge edge : {protected_edge::begin, protected_edge::end}) {
      guarded_buffer buffer(size, edge, GetParam());
      ASSERT_EQ(size, buffer.size());
      EXPECT_TRUE(std::all_of(buffer.data(), buffer.data() + size,
                              [&](unsigned char b) { return b == buffer.fill(); }));
      std::fill_n(buffer.data(), size, static_cast<unsigned char>(~buffer.fill()));
      EXPECT_EQ("", buffer.damage()) << size;
    }
  }
}

TEST_P(GuardedBufferPatterns, AChangedGuardValueIsReportedWithItsPlace) {
  for (const std::size_t size : sizes) {
    guarded_buffer before(size, protected_edge::end, GetParam());
    for (const int distance : {1, 2, 255}) {
      unsigned char& stray = before.data()[-distance];
      stray = static_cast<unsigned char>(stray ^ 1);
      EXPECT_EQ("guard value changed at byte " + std::to_string(-distance), before.damage());
      stray = before.fill();
    }
    guarded_buffer behind(size, protected_edge::begin, GetParam());
    for (const std::size_t distance : {0, 1, 255}) {
      unsigned char& stray = behind.data()[size + distance];
      stray = static_cast<unsigned char>(stray ^ 1);
      EXPECT_EQ("guard value changed at byte " + std::to_string(size + distance), behind.damage());
      stray = behind.fill();
    }
    EXPECT_EQ("", before.damage());
    EXPECT_EQ("", behind.damage());
  }
}

INSTANTIATE_TEST_SUITE_P(Both, GuardedBufferPatterns,
                         testing::Values(fill_pattern::checker, fill_pattern::inverse_checker));

TEST(GuardedBuffer, AWriteOfTheGuardValueItselfIsSeenUnderTheOtherPattern) {
  guarded_buffer one(10, protected_edge::begin, fill_pattern::checker);
  guarded_buffer other(10, protected_edge::begin, fill_pattern::inverse_checker);
  const unsigned char stored = one.fill();
  one.data()[10] = stored;
  other.data()[10] = stored;
  EXPECT_EQ("", one.damage());
  EXPECT_NE("", other.damage());
}

TEST(GuardedBufferDeathTest, AnAccessPastTheEndTraps) {
  for (const std::size_t size : sizes) {
    guarded_buffer buffer(size, protected_edge::end, fill_pattern::checker);
    EXPECT_EXIT(read_byte(buffer.data() + size),
                testing::ExitedWithCode(trapped_at_expected_address), "")
        << size;
    EXPECT_EXIT(write_byte(buffer.data() + size),
                testing::ExitedWithCode(trapped_at_expected_address), "")
        << size;
  }
}

TEST(GuardedBufferDeathTest, AnAccessBeforeTheBeginningTraps) {
  for (const std::size_t size : sizes) {
    guarded_buffer buffer(size, protected_edge::begin, fill_pattern::checker);
    EXPECT_EXIT(read_byte(buffer.data() - 1), testing::ExitedWithCode(trapped_at_expected_address),
                "")
        << size;
    EXPECT_EXIT(write_byte(buffer.data() - 1), testing::ExitedWithCode(trapped_at_expected_address),
                "")
        << size;
  }
}

TEST(GuardedBufferDeathTest, AnAccessInsideDoesNotTrap) {
  guarded_buffer buffer(100, protected_edge::end, fill_pattern::checker);
  EXPECT_EXIT(read_byte(buffer.data()), testing::ExitedWithCode(not_trapped), "");
  EXPECT_EXIT(write_byte(buffer.data() + 99), testing::ExitedWithCode(not_trapped), "");
}

TEST(GuardedPlane, SamplesAreUsableAndTheGapsBetweenRowsAreWatched) {
  for (const protected_edge edge : {protected_edge::begin, protected_edge::end}) {
    guarded_plane<std::uint16_t> plane(5, 3, 14, edge, fill_pattern::checker);
    for (std::size_t y = 0; y < 3; ++y) {
      for (std::size_t x = 0; x < 5; ++x) plane.set(x, y, static_cast<std::uint16_t>(10 * y + x));
    }
    EXPECT_EQ("", plane.damage());
    EXPECT_EQ(24, plane.get(4, 2));
    EXPECT_EQ(13, plane.data()[1 * 7 + 3]);
    plane.data()[1 * 7 + 6] = 0;
    EXPECT_EQ("guard value changed 2 bytes behind row 1", plane.damage());
  }
}

TEST(GuardedPlaneDeathTest, TheLastSampleTouchesTheProtectedPage) {
  guarded_plane<unsigned char> plane(5, 3, 9, protected_edge::end, fill_pattern::checker);
  EXPECT_EXIT(read_byte(plane.data() + 2 * 9 + 5),
              testing::ExitedWithCode(trapped_at_expected_address), "");
  EXPECT_EXIT(read_byte(plane.data() + 2 * 9 + 4), testing::ExitedWithCode(not_trapped), "");
}

TEST(GuardedPlane, AnEmptyPlaneHasNoSamples) {
  guarded_plane<unsigned char> no_rows(5, 0, 9, protected_edge::end, fill_pattern::checker);
  guarded_plane<unsigned char> no_columns(0, 5, 9, protected_edge::begin, fill_pattern::checker);
  EXPECT_EQ("", no_rows.damage());
  EXPECT_EQ("", no_columns.damage());
}

}  // namespace
}  // namespace test_support
