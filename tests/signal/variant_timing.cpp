#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "signal/gaussian_filter.h"
#include "signal/vector_primitives.h"
#include "tests/signal/variant_scope.h"

// Prints the time of each primitive for every variant that the machine supports, as a fraction of
// that of the portable code in the same run: the figures at the top of signal/simd/*.cpp.

namespace {

using ns_signal::variant;

struct primitive {
  std::string name;
  std::function<void()> call;
};

// The best of many short runs, in nanoseconds per call.
double time_of(const primitive& p) {
  using clock = std::chrono::steady_clock;
  const auto run = [&p](int calls) {
    const clock::time_point start = clock::now();
    for (int i = 0; i < calls; ++i) {
      p.call();
    }
    return std::chrono::duration<double, std::nano>(clock::now() - start).count() / calls;
  };
  const double once = run(1) + 1.0;
  const int calls = once > 1e6 ? 1 : static_cast<int>(1e6 / once) + 1;
  double best = run(calls);
  for (int i = 0; i < 25; ++i) {
    const double now = run(calls);
    best = now < best ? now : best;
  }
  return best;
}

constexpr int row = 1920;
constexpr int rows = 1080;
constexpr int border = 2;
constexpr int stride = row + 2 * border;
constexpr std::size_t plane = static_cast<std::size_t>(stride) * (rows + 2 * border);
constexpr std::size_t first = static_cast<std::size_t>(border) * (stride + 1);

struct data {
  std::vector<unsigned char> bytes = std::vector<unsigned char>(plane);
  std::vector<unsigned char> bytes_out = bytes;
  std::vector<unsigned short> words = std::vector<unsigned short>(plane);
  std::vector<unsigned short> words_out = words;
  std::vector<float> a = std::vector<float>(row), b = a, c = a;

  data() {
    unsigned int state = 1;
    for (std::size_t i = 0; i < plane; ++i) {
      state = state * 1664525U + 1013904223U;
      bytes[i] = static_cast<unsigned char>(state >> 24);
      words[i] = static_cast<unsigned short>(state >> 16);
    }
    for (std::size_t i = 0; i < row; ++i) {
      a[i] = static_cast<float>(bytes[i]) * 1.01F;
      b[i] = static_cast<float>(bytes[i + row]) * 0.01F;
    }
  }
};

std::vector<primitive> primitives(data& d) {
  std::vector<primitive> list = {
      {"ippsConvert_8u32f", [&d] { ippsConvert_8u32f(d.bytes.data(), d.c.data(), row); }},
      {"ippsConvert_16u32f", [&d] { ippsConvert_16u32f(d.words.data(), d.c.data(), row); }},
      {"ippsConvert_32f8u_Sfs",
       [&d] { ippsConvert_32f8u_Sfs(d.a.data(), d.bytes_out.data(), row, 1, 0); }},
      {"ippsMulC_32f", [&d] { ippsMulC_32f(d.a.data(), 1.5F, d.c.data(), row); }},
      {"ippsAdd_32f", [&d] { ippsAdd_32f(d.a.data(), d.b.data(), d.c.data(), row); }},
      {"ippsMul_32f", [&d] { ippsMul_32f(d.a.data(), d.b.data(), d.c.data(), row); }},
  };
  const IppiSize roi = {row, rows};
  for (const int mask : {33, 55}) {
    list.push_back({"ippiFilterGauss_8u_C1R " + std::to_string(mask), [&d, roi, mask] {
                      ippiFilterGauss_8u_C1R(d.bytes.data() + first, stride,
                                             d.bytes_out.data() + first, stride, roi, mask);
                    }});
    list.push_back({"ippiFilterGauss_16u_C1R " + std::to_string(mask), [&d, roi, mask] {
                      ippiFilterGauss_16u_C1R(d.words.data() + first, 2 * stride,
                                              d.words_out.data() + first, 2 * stride, roi, mask);
                    }});
  }
  return list;
}

}  // namespace

int main() {
  data d;
  const std::vector<const variant*> variants = runnable_variants();
  std::printf("%-28s %14s", "", "portable, us");
  for (const variant* v : variants) {
    if (v->required != 0) {
      std::printf(" %12s", v->name);
    }
  }
  std::printf("\n");
  for (const primitive& p : primitives(d)) {
    double portable = 0;
    {
      const variant_scope scope(ns_signal::portable_variant);
      portable = time_of(p);
    }
    std::printf("%-28s %14.3f", p.name.c_str(), portable / 1000);
    for (const variant* v : variants) {
      if (v->required != 0) {
        const variant_scope scope(*v);
        std::printf(" %12.3f", time_of(p) / portable);
      }
    }
    std::printf("\n");
    std::fflush(stdout);
  }
}
