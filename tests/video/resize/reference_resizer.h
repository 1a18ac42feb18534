#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tests/video/resize/reference_crop.h"
#include "tests/video/resize/reference_request.h"
#include "tests/video/resize/reference_scaling.h"

namespace reference {

/// The effect of one call of `process` on its arguments.
struct expected_frame {
  std::optional<unsigned> out_size;    ///< empty: not changed
  std::vector<unsigned char> bytes;    ///< `output_size` of them
  std::vector<unsigned char> written;  ///< 0 where the output buffer is not changed
};

/// A reference implementation of `ns_video_resize::qor_resize`, slow and simple, without common
/// code. It keeps no state between frames: no output depends on an earlier frame.
class reference_resizer {
 public:
  /// The result of `init` for the request, on an object created for `request.created_for`.
  int init(const resize_request& request);

  unsigned output_size() const { return output_size_; }
  /// Bytes of a complete input frame.
  unsigned input_size() const { return input_size_; }
  /// Samples processed per frame and entries of the tables, as a measure of the work.
  double samples() const { return samples_; }

  /// The result of `process` for the first `size` bytes at `in`, which may be null.
  expected_frame process(unsigned size, const unsigned char* in) const;

 private:
  plane scaled(const plane& source, std::size_t p) const;
  plane scaled_by_fields(const plane& source, std::size_t p) const;
  std::vector<std::uint16_t> read_input(unsigned size, const unsigned char* in) const;

  resize_request request_;
  sample_format format_ = {1, 128};
  crop_plan crop_;
  bool copies_ = true;
  bool field_mode_ = false;
  bool x_first_ = false;
  int method_ = 2;
  int smoothing_ = 0;
  unsigned output_size_ = 0;
  unsigned input_size_ = 0;
  double samples_ = 0;
};

}  // namespace reference
