#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>

namespace ns_video_resize {

/// One working plane. The row step is the width; `rows[i]` is `data + i * width`.
template <typename T>
struct image_plane {
  unsigned int width;   ///< samples in a row
  unsigned int height;  ///< rows
  unsigned int kind;    ///< 1: luma, alpha or field; 2: chroma
  T* data;              ///< the first sample
  T** rows;             ///< one entry per row of the height at creation
  bool owns_data;       ///< whether releasing the plane frees `data`
};

/// Frees the plane and everything that it owns; does nothing for null.
template <typename T>
void release_plane(image_plane<T>* plane) {
  if (plane == nullptr) return;
  if (plane->owns_data) delete[] plane->data;
  delete[] plane->rows;
  delete plane;
}

/// Sets the row pointers.
template <typename T>
void rebuild_rows(image_plane<T>& plane) {
  for (std::size_t row = 0; row < plane.height; ++row) {
    plane.rows[row] = plane.data + row * plane.width;
  }
}

/// A new plane that owns its data, with four spare rows below the picture. All samples, spare rows
/// included, are 128 in 8 bits and 0 in 16 bits. Throws `std::bad_alloc`.
template <typename T>
image_plane<T>* make_plane(unsigned int width, unsigned int height, unsigned int kind) {
  std::unique_ptr<image_plane<T>, void (*)(image_plane<T>*)> plane(
      new image_plane<T>{width, height, kind, nullptr, nullptr, true}, release_plane<T>);
  const std::size_t samples = (std::size_t{height} + 4) * width;
  plane->data = new T[samples];
  std::fill_n(plane->data, samples, sizeof(T) == 1 ? T{128} : T{0});
  plane->rows = new T*[height];
  rebuild_rows(*plane);
  return plane.release();
}

/// Makes the plane use samples that it does not own.
template <typename T>
void point_plane_at(image_plane<T>& plane, T* data) {
  if (plane.owns_data) delete[] plane.data;
  plane.owns_data = false;
  plane.data = data;
  rebuild_rows(plane);
}

}  // namespace ns_video_resize
