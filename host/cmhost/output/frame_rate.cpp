#include "host/cmhost/output/frame_rate.h"

extern "C" {
#include <libavutil/avstring.h>
}

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/messages.h"

namespace cmhost {

namespace {

constexpr AVRational end = {0, 0};

constexpr AVRational ofMxf[] = {{24000, 1001}, {24, 1}, {25, 1}, {30000, 1001}, {30, 1},
                                {48, 1},       {50, 1}, {60, 1}, {60000, 1001}, end};
constexpr AVRational ofDvWith480Lines[] = {{30000, 1001}, end};
constexpr AVRational ofDvWith576Lines[] = {{25, 1}, end};

// MPEG-4 stores the number of ticks in a second in 16 bits.
constexpr int mostTicksOfMpeg4 = 65535;

// Null: any.
const AVRational* ratesOf(const AVCodec& encoder, int height) {
  if (encoder.id == AV_CODEC_ID_DVVIDEO && height == 480) return ofDvWith480Lines;
  if (encoder.id == AV_CODEC_ID_DVVIDEO && height == 576) return ofDvWith576Lines;
  return frameRatesOf(encoder);
}

const AVRational* ratesOf(const AVOutputFormat& container) {
  return av_match_name(container.name, "mxf,mxf_d10,mxf_opatom") != 0 ? ofMxf : nullptr;
}

bool contains(const AVRational* rates, AVRational rate) {
  if (rates == nullptr) return true;
  for (; rates->num != 0; ++rates)
    if (av_cmp_q(*rates, rate) == 0) return true;
  return false;
}

AVRational nearestIn(const std::vector<AVRational>& rates, AVRational rate) {
  return *std::min_element(rates.begin(), rates.end(), [rate](AVRational one, AVRational other) {
    return av_nearer_q(rate, one, other) > 0;
  });
}

// The nearest rate that both the encoder and the container support.
AVRational nearestSupported(const AVCodec& encoder, const AVOutputFormat& container, int height,
                            AVRational rate) {
  const AVRational* const ofEncoder = ratesOf(encoder, height);
  const AVRational* const ofContainer = ratesOf(container);
  if (encoder.id == AV_CODEC_ID_MPEG4)
    av_reduce(&rate.num, &rate.den, rate.num, rate.den, mostTicksOfMpeg4);
  std::vector<AVRational> both;
  const AVRational* each = ofEncoder != nullptr ? ofEncoder : ofContainer;
  for (; each != nullptr && each->num != 0; ++each)
    if (contains(ofContainer, *each)) both.push_back(*each);
  return both.empty() ? rate : nearestIn(both, rate);
}

std::string rateText(AVRational rate) {
  char number[32];
  std::snprintf(number, sizeof number, "%.6g", av_q2d(rate));
  if (rate.den == 1) return number;
  return std::string(number) + " (" + std::to_string(rate.num) + "/" + std::to_string(rate.den) +
         ")";
}

}  // namespace

std::optional<AVRational> rateToConvertTo(const Options& options, const AVCodec& encoder,
                                          const AVOutputFormat& container, int height,
                                          AVRational rate) {
  constexpr AVRational usual = {25, 1};
  const bool isKnown = rate.num > 0 && rate.den > 0;
  const AVRational wanted = options.rate ? *options.rate : isKnown ? rate : usual;
  const AVRational nearest = nearestSupported(encoder, container, height, wanted);
  const bool isSupported = av_cmp_q(nearest, wanted) == 0;
  const std::string who = std::string(encoder.name) + " in " + container.name;
  if (options.rate) {
    if (!isSupported)
      throw Failure("--rate: " + who + " does not support " + rateText(wanted) +
                        " frames per second; the nearest is " + rateText(nearest),
                    exitUsage);
    return wanted;
  }
  const bool isAny = ratesOf(encoder, height) == nullptr && ratesOf(container) == nullptr;
  if (isSupported && (isKnown || isAny)) return std::nullopt;
  if (!options.quiet)
    printNote((isKnown ? who + " does not support " + rateText(rate) + " frames per second"
                       : std::string("the input has no frame rate")) +
              "; frames are repeated or dropped for " + rateText(nearest) +
              ", choose another with --rate");
  return nearest;
}

}  // namespace cmhost
