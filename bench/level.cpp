#include "bench/level.h"

#include <cctype>

#include "signal/dispatch.h"
#include "signal/processor_features.h"
#include "signal/processor_identification.h"
#include "video/watermark/blend_blocks.h"

namespace ns_bench {
namespace {

const ns_signal::variant* forced = nullptr;

// For example, "p8_ AVX-512" is the level avx512.
std::string level_of(const ns_signal::variant& variant) {
  const std::string name = variant.name;
  std::string level;
  for (const char c : name.substr(name.find(' ') + 1)) {
    if (std::isalnum(static_cast<unsigned char>(c))) {
      level += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
  }
  return level;
}

// The compositor has one variant for the baseline, and one for AVX2 and all wider levels.
void force_blend(const std::string& level) {
  const bool is_wide = level == "avx2" || level == "avx512";
  const std::string wanted = level == "portable" ? "portable" : is_wide ? "AVX2" : "SSE2";
  for (const auto& variant : ns_video_watermark::blend_variants()) {
    if (variant.name == wanted) ns_video_watermark::forced_blend_blocks = variant.blend;
  }
}

}  // namespace

bool force_level(const std::string& name) {
  const auto features = ns_signal::all_features(ns_signal::this_processor());
  for (auto candidate = ns_signal::all_variants; *candidate != nullptr; ++candidate) {
    const ns_signal::variant& variant = **candidate;
    if (level_of(variant) == name && (features & variant.required) == variant.required) {
      forced = &variant;
      force_blend(level_of(variant));
      return true;
    }
  }
  return false;
}

bool is_level_forced() { return forced != nullptr; }

void apply_level() {
  ippStaticInit();
  if (forced != nullptr) {
    ns_signal::variant_table[3] = forced;
    ippJumpIndexForMergedLibs = 3;
  }
}

std::string level_name() {
  apply_level();
  return level_of(ns_signal::current_variant());
}

}  // namespace ns_bench
