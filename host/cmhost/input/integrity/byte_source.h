#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace cmhost {

/// Bytes of an input that can be looked at by their place.
class ByteSource {
 public:
  virtual ~ByteSource() = default;

  /// Bytes from the beginning to the end.
  virtual std::int64_t size() const = 0;

  /// Copies `count` bytes from `offset` on; false where not all of them are at hand.
  virtual bool read(std::int64_t offset, unsigned char* to, std::size_t count) const = 0;
};

/// A regular file of which the first `size` bytes count. The descriptor stays the caller's.
class FileBytes final : public ByteSource {
 public:
  FileBytes(int file, std::int64_t size) : file_(file), size_(size) {}

  std::int64_t size() const override { return size_; }
  bool read(std::int64_t offset, unsigned char* to, std::size_t count) const override;

 private:
  int file_;
  std::int64_t size_;
};

/// What has come out of a pipe: its first and its last bytes are kept.
class PassedBytes final : public ByteSource {
 public:
  static constexpr std::size_t headBytes = 1 << 16;
  static constexpr std::size_t tailBytes = 1 << 18;

  /// Takes the next bytes.
  void add(const unsigned char* bytes, std::size_t count);

  std::int64_t size() const override { return size_; }
  bool read(std::int64_t offset, unsigned char* to, std::size_t count) const override;

 private:
  bool hasTail() const;

  std::vector<unsigned char> head_;
  std::vector<unsigned char> ring_;  ///< byte n of the input lies at n % tailBytes
  std::int64_t size_ = 0;
};

}  // namespace cmhost
