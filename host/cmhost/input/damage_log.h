#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace cmhost {

/// The damage of an input that --conceal has passed over. Any thread.
class DamageLog {
 public:
  struct Place {
    std::int64_t frame;  ///< number of the frame in the output; near it if the decoder is ahead
    double seconds;      ///< time in the input
    std::string what;
  };

  /// Places that are kept. Further ones are only counted, so that an endless input needs no more
  /// memory.
  static constexpr std::size_t mostPlaces = 1000;

  void add(Place place);

  std::int64_t count() const { return count_; }

  /// The first places, in the order in which they were found.
  std::vector<Place> places() const;

 private:
  mutable std::mutex mutex_;
  std::vector<Place> places_;
  std::atomic<std::int64_t> count_{0};
};

}  // namespace cmhost
