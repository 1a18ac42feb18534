#pragma once

#include <xmmintrin.h>

#include <vector>

/// Settings that a caller of the primitives may use.
namespace float_settings {

constexpr unsigned int usual = 0x1f80;
constexpr unsigned int denormals_are_zero = 0x0040;
constexpr unsigned int flush_to_zero = 0x8000;
constexpr unsigned int invalid_raised = 0x1;
constexpr unsigned int rounding_down = 0x2000;
constexpr unsigned int rounding_up = 0x4000;
constexpr unsigned int rounding_to_zero = 0x6000;
constexpr unsigned int flags = 0x3f;

/// Every rounding mode, with denormals kept and flushed.
inline std::vector<unsigned int> all() {
  std::vector<unsigned int> settings;
  for (const unsigned int mode : {0U, rounding_down, rounding_up, rounding_to_zero}) {
    for (const unsigned int flush :
         {0U, denormals_are_zero, flush_to_zero, denormals_are_zero | flush_to_zero}) {
      settings.push_back(usual | mode | flush);
    }
  }
  return settings;
}

/// Activates settings and restores the previous ones.
class scope {
 public:
  explicit scope(unsigned int word) : saved_(_mm_getcsr()) { set(word); }
  ~scope() { set(saved_); }
  scope(const scope&) = delete;
  scope& operator=(const scope&) = delete;

  static void set(unsigned int word) {
    __asm__ volatile("" ::: "memory");
    _mm_setcsr(word);
    __asm__ volatile("" ::: "memory");
  }
  static unsigned int get() {
    __asm__ volatile("" ::: "memory");
    return _mm_getcsr();
  }

 private:
  unsigned int saved_;
};

}  // namespace float_settings
