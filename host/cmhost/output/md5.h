#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "host/cmhost/support/av.h"

struct AVMD5;

namespace cmhost {

/// Computes an MD5.
class Md5 {
 public:
  Md5();
  ~Md5();
  Md5(const Md5&) = delete;
  Md5& operator=(const Md5&) = delete;

  void add(const std::uint8_t* bytes, std::size_t count);

  /// Adds a planar 8-bit frame as raw video: its planes without padding.
  void add(const AVFrame& frame);

  /// The digest as hexadecimal digits. Call it once, at the end.
  std::string text();

 private:
  std::unique_ptr<AVMD5, void (*)(AVMD5*)> state_;
};

}  // namespace cmhost
