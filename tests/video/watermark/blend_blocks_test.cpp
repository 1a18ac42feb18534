#include "video/watermark/blend_blocks.h"

#include <gtest/gtest.h>
#ifdef __x86_64__
#include <cpuid.h>
#endif

#include <vector>

#include "tests/support/guarded_buffer.h"
#include "video/watermark/blend_line.h"
#include "video/watermark/blend_sample.h"

namespace {

using ns_video_watermark::blend_block;
using ns_video_watermark::blend_blocks_function;
using ns_video_watermark::blend_line;
using ns_video_watermark::blend_sample;
using ns_video_watermark::blend_variant;
using ns_video_watermark::blend_variants;
using ns_video_watermark::block_samples;
using ns_video_watermark::fastest_blend_blocks;
using ns_video_watermark::line_of;
using test_support::fill_pattern;
using test_support::guarded_buffer;
using test_support::protected_edge;

unsigned char byte(std::size_t value) { return static_cast<unsigned char>(value); }

// Blocks for all pairs of an overlay sample and an alpha, in order: sample j of block i belongs to
// pair 16 i + j, whose high byte is the alpha.
const std::vector<blend_block>& blocks_of_all_pairs() {
  static const std::vector<blend_block> made = [] {
    std::vector<blend_block> blocks(65536 / block_samples);
    for (std::size_t pair = 0; pair < 65536; ++pair) {
      const blend_line line = line_of(byte(pair), byte(pair >> 8));
      blocks[pair / block_samples].slope[pair % block_samples] = line.slope;
      blocks[pair / block_samples].offset[pair % block_samples] = line.offset;
    }
    return blocks;
  }();
  return made;
}

TEST(BlendLine, IsTheBlendForEveryInput) {
  std::size_t mismatches = 0;
  for (std::size_t pair = 0; pair < 65536; ++pair) {
    const blend_line line = line_of(byte(pair), byte(pair >> 8));
    for (std::size_t frame = 0; frame < 256; ++frame) {
      if (line(byte(frame)) == blend_sample(byte(frame), byte(pair), byte(pair >> 8))) continue;
      if (mismatches++ == 0) {
        ADD_FAILURE() << "frame " << frame << ", overlay " << (pair & 255) << ", alpha "
                      << (pair >> 8);
      }
    }
  }
  EXPECT_EQ(mismatches, 0U);
}

// This property allows the steps to be done in lanes of 16 bits.
TEST(BlendLine, NeverLeavesSixteenBits) {
  for (std::size_t pair = 0; pair < 65536; ++pair) {
    const blend_line line = line_of(byte(pair), byte(pair >> 8));
    ASSERT_LE((255U * line.slope >> 8) + line.offset, 65535U) << "pair " << pair;
  }
}

TEST(BlendVariants, ThePortableOneIsAlwaysThereAndTheFastestIsTheLast) {
  ASSERT_NE(blend_variants().front().blend, nullptr);
  blend_blocks_function last = nullptr;
  for (const blend_variant& variant : blend_variants()) {
    if (variant.blend != nullptr) last = variant.blend;
  }
  EXPECT_EQ(fastest_blend_blocks(), last);
#ifdef __x86_64__
  EXPECT_NE(blend_variants()[1].blend, nullptr);  // the baseline
#endif
}

#ifdef __x86_64__

// SSE3, SSSE3, SSE4.1, SSE4.2, POPCNT and AVX are in leaf 1.
TEST(BlendVariants, TheWidestIsThereWhereAllIsThatTheCompilerMayUse) {
  constexpr unsigned int needed = 1U << 0 | 1U << 9 | 1U << 19 | 1U << 20 | 1U << 23 | 1U << 28;
  unsigned int eax = 0;
  unsigned int ebx = 0;
  unsigned int ecx = 0;
  unsigned int edx = 0;
  ASSERT_NE(__get_cpuid(1, &eax, &ebx, &ecx, &edx), 0);
  const bool all = (ecx & needed) == needed && __builtin_cpu_supports("avx2") != 0;
  EXPECT_EQ(blend_variants()[2].blend != nullptr, all);
}

#endif

class BlendBlocks : public testing::TestWithParam<std::size_t> {
 protected:
  void SetUp() override {
    blend_ = blend_variants()[GetParam()].blend;
    if (blend_ == nullptr) GTEST_SKIP() << "not on this machine";
  }

  blend_blocks_function blend_ = nullptr;
};

INSTANTIATE_TEST_SUITE_P(Every, BlendBlocks, testing::Range<std::size_t>(0, 3),
                         [](const testing::TestParamInfo<std::size_t>& variant) {
                           return blend_variants()[variant.param].name;
                         });

TEST_P(BlendBlocks, AreTheBlendForEveryInput) {
  const std::vector<blend_block>& blocks = blocks_of_all_pairs();
  std::vector<std::uint32_t> numbers(blocks.size());
  for (std::size_t i = 0; i < numbers.size(); ++i) numbers[i] = static_cast<std::uint32_t>(i);

  std::size_t mismatches = 0;
  std::vector<unsigned char> out(65536);
  for (std::size_t frame = 0; frame < 256; ++frame) {
    const std::vector<unsigned char> samples(65536, byte(frame));
    blend_(out.data(), samples.data(), blocks.data(), numbers.data(), blocks.size());
    for (std::size_t pair = 0; pair < 65536; ++pair) {
      const unsigned char expected = blend_sample(byte(frame), byte(pair), byte(pair >> 8));
      if (out[pair] == expected) continue;
      if (mismatches++ == 0) {
        ADD_FAILURE() << "frame " << frame << ", overlay " << (pair & 255) << ", alpha "
                      << (pair >> 8) << ": " << +out[pair] << ", expected " << +expected;
      }
    }
  }
  EXPECT_EQ(mismatches, 0U);
}

// Each sample of a block uses the line at its own position, at every alignment, and nothing outside
// the blocks is read or written.
TEST_P(BlendBlocks, FollowTheirNumbersAtEveryAlignment) {
  const std::vector<blend_block>& blocks = blocks_of_all_pairs();
  for (const protected_edge edge : {protected_edge::begin, protected_edge::end}) {
    for (std::size_t count = 0; count <= 5; ++count) {
      for (std::size_t shift = 0; shift < 64; ++shift) {
        const std::size_t size = count * block_samples;
        const std::size_t other_shift = shift * 23 % 64;
        guarded_buffer frame(size + shift, edge, fill_pattern::checker);
        guarded_buffer out(size + other_shift, edge, fill_pattern::inverse_checker);
        // The shift is the distance between the blocks and the protected page; at 0 they are
        // adjacent.
        const bool at_begin = edge == protected_edge::begin;
        unsigned char* const in = frame.data() + (at_begin ? shift : 0);
        unsigned char* const to = out.data() + (at_begin ? other_shift : 0);
        std::vector<std::uint32_t> numbers;
        for (std::size_t i = 0; i < count; ++i) {
          numbers.push_back(static_cast<std::uint32_t>((i * 977 + shift * 61) % blocks.size()));
        }
        for (std::size_t i = 0; i < size; ++i) in[i] = byte(i * 73 + shift);

        blend_(to, in, blocks.data(), numbers.data(), count);
        for (std::size_t i = 0; i < size; ++i) {
          const std::size_t pair = numbers[i / block_samples] * block_samples + i % block_samples;
          ASSERT_EQ(to[i], blend_sample(byte(i * 73 + shift), byte(pair), byte(pair >> 8)))
              << "sample " << i << " of " << size << ", shifts " << shift << ", " << other_shift;
        }
        for (std::size_t i = 0; i < other_shift; ++i) {
          ASSERT_EQ(out.data()[at_begin ? i : size + i], out.fill());
        }
        ASSERT_EQ(out.damage(), "");
      }
    }
  }
}

}  // namespace
