#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace cmhost {

/// Random access to the bytes of an input.
class ByteSource {
 public:
  virtual ~ByteSource() = default;

  /// Size of the input in bytes.
  virtual std::int64_t size() const = 0;

  /// Copies `count` bytes starting at `offset`. Returns false unless all of them are available.
  virtual bool read(std::int64_t offset, unsigned char* to, std::size_t count) const = 0;
};

/// The first `size` bytes of a regular file. The caller keeps ownership of the descriptor.
class FileBytes final : public ByteSource {
 public:
  FileBytes(int file, std::int64_t size) : file_(file), size_(size) {}

  std::int64_t size() const override { return size_; }
  bool read(std::int64_t offset, unsigned char* to, std::size_t count) const override;

 private:
  int file_;
  std::int64_t size_;
};

/// The data read from a pipe. Keeps its first and last bytes.
class PassedBytes final : public ByteSource {
 public:
  static constexpr std::size_t headBytes = 1 << 16;
  static constexpr std::size_t tailBytes = 1 << 18;

  /// Adds the next bytes.
  void add(const unsigned char* bytes, std::size_t count);

  std::int64_t size() const override { return size_; }
  bool read(std::int64_t offset, unsigned char* to, std::size_t count) const override;

 private:
  bool hasTail() const;

  std::vector<unsigned char> head_;
  std::vector<unsigned char> ring_;  ///< byte n of the input is at n % tailBytes
  std::int64_t size_ = 0;
};

}  // namespace cmhost
