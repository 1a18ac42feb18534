// The bytes kept from a pipe, compared with all of its data.
#include "host/cmhost/input/integrity/byte_source.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <string>

namespace {

using cmhost::FileBytes;
using cmhost::PassedBytes;

std::vector<unsigned char> content(std::size_t size) {
  std::vector<unsigned char> bytes(size);
  unsigned int state = 1;
  for (unsigned char& byte : bytes)
    byte = static_cast<unsigned char>((state = state * 69069 + 1) >> 24);
  return bytes;
}

PassedBytes pass(const std::vector<unsigned char>& bytes, std::size_t part) {
  PassedBytes passed;
  for (std::size_t at = 0; at < bytes.size(); at += part)
    passed.add(bytes.data() + at, std::min(part, bytes.size() - at));
  return passed;
}

std::vector<unsigned char> readFrom(const cmhost::ByteSource& source, std::int64_t offset,
                                    std::size_t count) {
  std::vector<unsigned char> bytes(count);
  if (!source.read(offset, bytes.data(), count)) bytes.clear();
  return bytes;
}

std::vector<unsigned char> slice(const std::vector<unsigned char>& bytes, std::size_t offset,
                                 std::size_t count) {
  const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
  return {begin, begin + static_cast<std::ptrdiff_t>(count)};
}

TEST(PassedBytes, KeepsBothEnds) {
  constexpr std::size_t sizes[] = {1,
                                   100,
                                   PassedBytes::headBytes,
                                   PassedBytes::headBytes + 1,
                                   PassedBytes::tailBytes + 3,
                                   3 * PassedBytes::tailBytes + 777};
  for (const std::size_t size : sizes) {
    const auto bytes = content(size);
    for (const std::size_t part : {std::size_t{977}, std::size_t{1} << 17, std::size_t{1} << 20}) {
      SCOPED_TRACE(std::to_string(size) + " in parts of " + std::to_string(part));
      const PassedBytes passed = pass(bytes, part);
      EXPECT_EQ(passed.size(), static_cast<std::int64_t>(size));
      const std::size_t head = std::min(size, PassedBytes::headBytes);
      EXPECT_EQ(readFrom(passed, 0, head), slice(bytes, 0, head));
      const std::size_t tail = std::min(size, PassedBytes::tailBytes);
      EXPECT_EQ(readFrom(passed, static_cast<std::int64_t>(size - tail), tail),
                slice(bytes, size - tail, tail));
    }
  }
}

TEST(PassedBytes, RefusesWhatIsNotKept) {
  const std::size_t size = PassedBytes::headBytes + PassedBytes::tailBytes + 10;
  const PassedBytes passed = pass(content(size), 4096);
  const auto head = static_cast<std::int64_t>(PassedBytes::headBytes);
  EXPECT_EQ(readFrom(passed, head - 1, 1).size(), 1U);
  EXPECT_TRUE(readFrom(passed, head, 1).empty());
  EXPECT_TRUE(readFrom(passed, head + 9, 1).empty());
  EXPECT_EQ(readFrom(passed, head + 10, 1).size(), 1U);
  EXPECT_TRUE(readFrom(passed, -1, 1).empty());
  EXPECT_TRUE(readFrom(passed, static_cast<std::int64_t>(size) - 1, 2).empty());
  EXPECT_TRUE(readFrom(passed, static_cast<std::int64_t>(size), 1).empty());
}

TEST(PassedBytes, KeepsNoEndOfRawVideo) {
  std::vector<unsigned char> bytes = content(1 << 20);
  const std::string name = "YUV4MPEG2 W16 H16\n";
  std::copy(name.begin(), name.end(), bytes.begin());
  const PassedBytes passed = pass(bytes, 1 << 17);
  EXPECT_EQ(passed.size(), 1 << 20);
  EXPECT_EQ(readFrom(passed, 0, 16), slice(bytes, 0, 16));
  EXPECT_TRUE(readFrom(passed, (1 << 20) - 16, 16).empty());
}

TEST(FileBytes, EndsWhereItIsTold) {
  const int file = ::memfd_create("bytes", MFD_CLOEXEC);
  const auto bytes = content(1000);
  ASSERT_EQ(::write(file, bytes.data(), bytes.size()), 1000);
  const FileBytes part(file, 900);
  EXPECT_EQ(part.size(), 900);
  EXPECT_EQ(readFrom(part, 890, 10), slice(bytes, 890, 10));
  EXPECT_TRUE(readFrom(part, 891, 10).empty());
  EXPECT_TRUE(readFrom(part, -5, 10).empty());
  ::close(file);
}

}  // namespace
