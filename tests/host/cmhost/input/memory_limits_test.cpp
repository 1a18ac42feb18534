#include "host/cmhost/input/memory_limits.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cerrno>
#include <vector>

#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/memory_cap.h"

namespace {

using namespace cmhost;

// 128 MiB each, mostly untouched.
FramePtr picture(AVCodecContext& decoder) {
  FramePtr frame = newFrame();
  frame->format = AV_PIX_FMT_RGBA64LE;
  frame->width = frame->height = 4096;
  return decoder.get_buffer2(&decoder, frame.get(), 0) == 0 ? std::move(frame) : nullptr;
}

CodecPtr newDecoder(MemoryLimits& limits) {
  const AVCodec* const codec = avcodec_find_decoder(AV_CODEC_ID_RAWVIDEO);
  CodecPtr decoder = orThrow<CodecPtr>(avcodec_alloc_context3(codec));
  decoder->width = decoder->height = 4096;
  decoder->pix_fmt = AV_PIX_FMT_RGBA64LE;
  limits.limit(*decoder, 0);
  EXPECT_EQ(avcodec_open2(decoder.get(), codec, nullptr), 0);
  return decoder;
}

TEST(MemoryLimits, PicturesThatExistAreBounded) {
  MemoryLimits limits("in.mkv", 4096 * 4096);  // 1 GiB of frames
  const CodecPtr decoder = newDecoder(limits);
  std::vector<FramePtr> pictures;
  while (FramePtr next = picture(*decoder)) {
    pictures.push_back(std::move(next));
    ASSERT_LE(pictures.size(), 8U);
  }
  EXPECT_GE(pictures.size(), 7U);
  try {
    limits.check("anything");
    FAIL() << "too many pictures are not reported";
  } catch (const Failure& failure) {
    EXPECT_STREQ(failure.what(),
                 "in.mkv: the decoder holds more than 1 GiB of frames; raise the limit with "
                 "--max-pixels");
  }
}

TEST(MemoryLimits, PicturesThatAreGoneDoNotCount) {
  MemoryLimits limits("in.mkv", 4096 * 4096);
  const CodecPtr decoder = newDecoder(limits);
  for (int i = 0; i < 100; ++i) ASSERT_NE(picture(*decoder), nullptr) << i;
  EXPECT_NO_THROW(limits.check("anything"));
}

TEST(MemoryLimits, PicturesOutliveDecoderAndLimits) {
  FramePtr kept;
  {
    MemoryLimits limits("in.mkv", 4096 * 4096);
    const CodecPtr decoder = newDecoder(limits);
    kept = picture(*decoder);
  }
  ASSERT_NE(kept, nullptr);
  kept->data[0][0] = 1;
}

TEST(MemoryLimits, BytesFollowFromPixels) {
  EXPECT_EQ(MemoryLimits::pictureBytes(8192 * 8192), std::int64_t{4} << 30);
  EXPECT_EQ(MemoryLimits::pictureBytes(1920 * 1080), std::int64_t{1} << 30);
}

TEST(MemoryLimits, SizeIsReadFromTheLibrarysWords) {
  const MemoryLimits limits("in.gif", 100);
  const std::string words =
      "Invalid argument (IMGUTILS: Picture size 16000x9000 exceeds specified max pixel count 100, "
      "see the documentation if you wish to increase it)";
  EXPECT_TRUE(MemoryLimits::isTooLarge(words));
  EXPECT_FALSE(MemoryLimits::isTooLarge("Picture size 0x0 is invalid"));
  EXPECT_NO_THROW(limits.check("Picture size 0x0 is invalid"));
  try {
    limits.check(words);
    FAIL() << "the size is not refused";
  } catch (const Failure& failure) {
    EXPECT_STREQ(
        failure.what(),
        "in.gif: the frame size 16000x9000 exceeds the limit of 100 pixels; raise the limit "
        "with --max-pixels");
  }
}

bool canTake(std::size_t bytes) {
  void* const place =
      ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return place != MAP_FAILED && ::munmap(place, bytes) == 0;
}

TEST(MemoryCap, HoldsWhileItLives) {
  constexpr std::size_t mebibyte = std::size_t{1} << 20;
  {
    const MemoryCap cap(64 * mebibyte);
    EXPECT_TRUE(canTake(32 * mebibyte));
    EXPECT_FALSE(canTake(128 * mebibyte));
  }
  EXPECT_TRUE(canTake(128 * mebibyte));
}

}  // namespace
