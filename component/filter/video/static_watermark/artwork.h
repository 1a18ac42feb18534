#pragma once

namespace ns_static_watermark {

/// Size of the artwork, in luma pixels and rows.
constexpr unsigned int artwork_width = 800;
constexpr unsigned int artwork_height = 186;

/// Bytes of the artwork's alpha plane and of its planar 4:2:2 picture.
constexpr unsigned int artwork_alpha_size = artwork_width * artwork_height;
constexpr unsigned int artwork_picture_size = 2 * artwork_alpha_size;

/// The picture: luma (800 x 186, each 16 to 95), then Cb and Cr (400 x 186 each, all 128), rows
/// from top to bottom without padding.
extern const unsigned char watermark_picture[artwork_picture_size];

/// The alpha of every luma pixel, in the same order: 0 outside the mark, at most 102 (40%) inside,
/// 0 for at least 8 pixels from every side.
extern const unsigned char watermark_alpha[artwork_alpha_size];

}  // namespace ns_static_watermark
