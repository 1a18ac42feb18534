#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// Handmade files that no encoder would write. Each function returns the complete content of a
/// file.
namespace hostile {

/// Pictures whose headers declare this size, with almost no content.
std::string gif(std::uint32_t width, std::uint32_t height);
std::string png(std::uint32_t width, std::uint32_t height);
std::string tiff(std::uint32_t width, std::uint32_t height);
std::string bmp(std::uint32_t width, std::uint32_t height);
std::string jpeg(std::uint32_t width, std::uint32_t height);
std::string y4m(std::uint32_t width, std::uint32_t height);

/// An MP4 with a few hundred bytes per track whose tables declare this number of one-byte samples
/// in every track.
std::string movie(std::uint32_t tracks, std::uint32_t samples);

/// An MP4 of nested boxes.
std::string nestedBoxes(int depth);

/// A Matroska file of nested elements of unknown length.
std::string nestedElements(int depth);

/// Playlists of all supported kinds, which refer to files and addresses.
std::string hls(const std::vector<std::string>& segments);
std::string concat(const std::vector<std::string>& files);
std::string dash(const std::string& file);
std::string sdp();
std::string svg();

}  // namespace hostile
