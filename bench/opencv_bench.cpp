#include <benchmark/benchmark.h>

#include <opencv2/imgproc.hpp>
#include <string>

#include "bench/gaussian_plane.h"

namespace ns_bench {
namespace {

constexpr float mask_5x5[25] = {2,  7,  12, 7,  2,  7,  31, 52, 31, 7,  12, 52, 127,
                                52, 12, 7,  31, 52, 31, 7,  2,  7,  12, 7,  2};

// The plane inside its border. OpenCV makes its own border, so it can use its faster path.
template <typename T>
cv::Mat matrix_of(gaussian_plane<T>& plane) {
  const cv::Mat inside(plane.height, plane.width, sizeof(T) == 1 ? CV_8UC1 : CV_16UC1,
                       plane.first(), static_cast<std::size_t>(plane.stride));
  return inside.clone();
}

template <typename T, typename Filter>
void add(const std::string& name, Filter filter) {
  benchmark::RegisterBenchmark(name.c_str(), [filter](benchmark::State& state) {
    cv::setNumThreads(1);
    gaussian_plane<T> plane;
    const cv::Mat source = matrix_of(plane);
    cv::Mat target = source.clone();
    for (auto _ : state) {
      filter(source, target);
      benchmark::ClobberMemory();
    }
  });
}

template <typename T>
void add_filters(const std::string& bits) {
  add<T>("gauss_3x3_" + bits + "/1080p/opencv", [](const cv::Mat& source, cv::Mat& target) {
    cv::GaussianBlur(source, target, cv::Size(3, 3), 0);
  });
  add<T>("gauss_5x5_" + bits + "/1080p/opencv", [](const cv::Mat& source, cv::Mat& target) {
    cv::GaussianBlur(source, target, cv::Size(5, 5), 0);
  });
  const cv::Mat mask = cv::Mat(5, 5, CV_32F, const_cast<float*>(mask_5x5)) / 571.0;
  add<T>(
      "gauss_5x5_" + bits + "/1080p/opencv_filter2d",
      [mask](const cv::Mat& source, cv::Mat& target) { cv::filter2D(source, target, -1, mask); });
}

bool add_all() {
  add_filters<unsigned char>("8");
  add_filters<unsigned short>("16");
  return true;
}

[[maybe_unused]] const bool registered = add_all();

}  // namespace
}  // namespace ns_bench
