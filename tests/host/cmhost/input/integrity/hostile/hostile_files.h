#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// Files that no encoder writes, made by hand. Each is the whole content of a file.
namespace hostile {

/// Pictures whose headers say this size, with hardly any content.
std::string gif(std::uint32_t width, std::uint32_t height);
std::string png(std::uint32_t width, std::uint32_t height);
std::string tiff(std::uint32_t width, std::uint32_t height);
std::string bmp(std::uint32_t width, std::uint32_t height);
std::string jpeg(std::uint32_t width, std::uint32_t height);
std::string y4m(std::uint32_t width, std::uint32_t height);

/// An MP4 of some hundred bytes for each track, whose tables say that every track has so many
/// samples of one byte.
std::string movie(std::uint32_t tracks, std::uint32_t samples);

/// An MP4 of boxes within boxes.
std::string nestedBoxes(int depth);

/// A Matroska file of elements within elements that have no length of their own.
std::string nestedElements(int depth);

/// Playlists of the kinds that there are, which refer to files and addresses.
std::string hls(const std::vector<std::string>& segments);
std::string concat(const std::vector<std::string>& files);
std::string dash(const std::string& file);
std::string sdp();
std::string svg();

}  // namespace hostile
