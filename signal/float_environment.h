#pragma once

#if defined(__SSE2__) && !defined(CM_FLOAT_ENVIRONMENT_CFENV)
#define CM_FLOAT_ENVIRONMENT_MXCSR 1
#include <xmmintrin.h>
#else
#define CM_FLOAT_ENVIRONMENT_MXCSR 0
#include <cfenv>
#endif

namespace ns_signal {

/// During the lifetime of an object of this class, the calling thread uses plain IEEE arithmetic:
/// rounding to nearest, denormals kept, no trapping. The destructor restores the caller's settings.
/// Exception flags raised in between stay raised, except the invalid-operation flag if requested.
///
/// Costs one read of the control word if the caller has the default settings.
///
/// Compilers do not know that arithmetic depends on the environment. The object is a barrier for
/// memory accesses, so arithmetic from memory to memory is not moved out; arithmetic on values that
/// are already in registers must be in a function that is not inlined.
class float_environment {
 public:
  enum class invalid_flag {
    keep,     ///< stays raised if it was raised in between
    restore,  ///< restored to its value at construction
  };

  explicit float_environment(invalid_flag invalid = invalid_flag::keep);
  ~float_environment();

  float_environment(const float_environment&) = delete;
  float_environment& operator=(const float_environment&) = delete;

 private:
  invalid_flag invalid_;
#if CM_FLOAT_ENVIRONMENT_MXCSR
  unsigned int saved_;
#else
  std::fenv_t saved_;
#endif
};

#if CM_FLOAT_ENVIRONMENT_MXCSR

namespace mxcsr {
constexpr unsigned int invalid = 0x1;
constexpr unsigned int flags = 0x3f;  // all other bits are control bits
constexpr unsigned int plain = 0x1f80;

inline unsigned int read() { return _mm_getcsr(); }

inline void write(unsigned int word) {
  __asm__ volatile("" ::: "memory");
  _mm_setcsr(word);
  __asm__ volatile("" ::: "memory");
}
}  // namespace mxcsr

inline float_environment::float_environment(invalid_flag invalid)
    : invalid_(invalid), saved_(mxcsr::read()) {
  if ((saved_ & ~mxcsr::flags) != mxcsr::plain) {
    mxcsr::write((saved_ & mxcsr::flags) | mxcsr::plain);
  }
}

inline float_environment::~float_environment() {
  __asm__ volatile("" ::: "memory");
  const bool was_plain = (saved_ & ~mxcsr::flags) == mxcsr::plain;
  if (was_plain && invalid_ == invalid_flag::keep) return;  // nothing was changed
  const unsigned int now = mxcsr::read();
  const unsigned int kept = invalid_ == invalid_flag::restore ? mxcsr::invalid : 0U;
  const unsigned int from_saved = ~mxcsr::flags | kept;
  const unsigned int end = (saved_ & from_saved) | (now & ~from_saved);
  if (end != now) {
    mxcsr::write(end);
  }
}

#else

inline float_environment::float_environment(invalid_flag invalid) : invalid_(invalid) {
  std::feholdexcept(&saved_);
  std::fesetenv(FE_DFL_ENV);
}

inline float_environment::~float_environment() {
  const int unwanted = invalid_ == invalid_flag::restore ? FE_INVALID : 0;
  const int raised = std::fetestexcept(FE_ALL_EXCEPT & ~unwanted);
  std::fesetenv(&saved_);
  std::feraiseexcept(raised);
}

#endif

}  // namespace ns_signal
