#include "host/cmhost/output/streams/sound_converter.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <new>
#include <utility>
#include <vector>

#include "host/cmhost/output/streams/sound_codec.h"

namespace cmhost {

namespace {

// Samples converted at once, which bounds the memory for sound of a low rate.
constexpr int sliceSamples = 4096;

// Time stamps beyond this are wrong, and computing with them could overflow.
constexpr double mostSeconds = 1e9;

FramePtr soundFrame(const AVCodecContext& encoder, int samples) {
  FramePtr frame = newFrame();
  frame->format = encoder.sample_fmt;
  frame->sample_rate = encoder.sample_rate;
  frame->nb_samples = samples;
  if (av_channel_layout_copy(&frame->ch_layout, &encoder.ch_layout) < 0 ||
      av_frame_get_buffer(frame.get(), 0) < 0)
    throw std::bad_alloc();
  return frame;
}

}  // namespace

SoundConverter::SoundConverter(const AVCodecContext& encoder, AVRational timeBase, Sink sink)
    : encoder_(encoder),
      timeBase_(timeBase),
      sink_(std::move(sink)),
      waiting_(orThrow<AudioFifoPtr>(
          av_audio_fifo_alloc(encoder.sample_fmt, encoder.ch_layout.nb_channels, sliceSamples))) {}

bool SoundConverter::add(const AVFrame& frame) {
  if (frame.nb_samples <= 0) return true;
  if (!follow(frame)) return false;
  moveTo(timeOf(frame));
  const int planes = av_sample_fmt_is_planar(inputFormat_) != 0 ? inputLayout_.nb_channels : 1;
  const int step =
      av_get_bytes_per_sample(inputFormat_) * (planes == 1 ? inputLayout_.nb_channels : 1);
  std::vector<const std::uint8_t*> samples(static_cast<std::size_t>(planes));
  for (int done = 0; done < frame.nb_samples; done += sliceSamples) {
    for (int plane = 0; plane < planes; ++plane)
      samples[static_cast<std::size_t>(plane)] =
          frame.extended_data[plane] + static_cast<std::ptrdiff_t>(step) * done;
    convert(samples.data(), std::min(sliceSamples, frame.nb_samples - done));
  }
  return true;
}

// Opens a resampler for frames like this one, unless there is one.
bool SoundConverter::follow(const AVFrame& frame) {
  const AVChannelLayout layout = frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC
                                     ? namedLayout(frame.ch_layout)
                                     : frame.ch_layout;
  if (resampler_ != nullptr && frame.format == inputFormat_ && frame.sample_rate == inputRate_ &&
      av_channel_layout_compare(&layout, &inputLayout_) == 0)
    return true;
  if (!isUsualRate(frame.sample_rate) || layout.order == AV_CHANNEL_ORDER_CUSTOM) return false;
  if (resampler_ != nullptr) convert(nullptr, 0);
  inputFormat_ = static_cast<AVSampleFormat>(frame.format);
  inputRate_ = frame.sample_rate;
  inputLayout_ = layout;  // not a custom one, which would own memory
  inputTime_ = AV_NOPTS_VALUE;
  SwrContext* resampler = nullptr;
  const int result = swr_alloc_set_opts2(
      &resampler, const_cast<AVChannelLayout*>(&encoder_.ch_layout), encoder_.sample_fmt,
      encoder_.sample_rate, &inputLayout_, inputFormat_, inputRate_, 0, nullptr);
  resampler_.reset(resampler);
  if (result >= 0 && swr_init(resampler) >= 0) return true;
  resampler_.reset();
  return false;
}

// In samples of the output. Time stamps in coarse units are made exact by the number of samples.
std::int64_t SoundConverter::timeOf(const AVFrame& frame) {
  const std::int64_t next = time_ + av_audio_fifo_size(waiting_.get());
  const std::int64_t pts = frame.pts;
  if (pts == AV_NOPTS_VALUE || std::abs(static_cast<double>(pts) * av_q2d(timeBase_)) > mostSeconds)
    return next;
  const std::int64_t time = av_rescale_delta(timeBase_, pts, {1, inputRate_}, frame.nb_samples,
                                             &inputTime_, {1, inputRate_});
  return av_rescale(time, encoder_.sample_rate, inputRate_) -
         swr_get_delay(resampler_.get(), encoder_.sample_rate);
}

// A long gap remains, after the current frame was filled up with silence. Short differences, which
// come from rounded time stamps, are added up until they matter.
void SoundConverter::moveTo(std::int64_t time) {
  const int waiting = av_audio_fifo_size(waiting_.get());
  const std::int64_t tolerance = encoder_.sample_rate / 500;
  const std::int64_t gap = time - (time_ + waiting);
  if (std::exchange(began_, true) && std::abs(gap) <= tolerance) return;
  if (waiting > 0 && gap >= encoder_.frame_size) {
    pad();
    passOn(1);
  }
  time_ = time - av_audio_fifo_size(waiting_.get());
}

void SoundConverter::pad() {
  const int samples = encoder_.frame_size - av_audio_fifo_size(waiting_.get());
  if (samples <= 0) return;
  const FramePtr silence = soundFrame(encoder_, samples);
  av_samples_set_silence(silence->extended_data, 0, samples, encoder_.ch_layout.nb_channels,
                         encoder_.sample_fmt);
  if (av_audio_fifo_write(waiting_.get(), reinterpret_cast<void**>(silence->extended_data),
                          samples) < samples)
    throw std::bad_alloc();
}

// Without samples, takes what the resampler still holds.
void SoundConverter::convert(const std::uint8_t* const* samples, int count) {
  const int room = swr_get_out_samples(resampler_.get(), count);
  if (room <= 0) return;
  const FramePtr converted = soundFrame(encoder_, room);
  const int result = swr_convert(resampler_.get(), converted->extended_data, room,
                                 const_cast<const std::uint8_t**>(samples), count);
  if (result < 0) throw std::bad_alloc();
  if (av_audio_fifo_write(waiting_.get(), reinterpret_cast<void**>(converted->extended_data),
                          result) < result)
    throw std::bad_alloc();
  passOn(std::max(encoder_.frame_size, 1));
}

void SoundConverter::finish() {
  if (resampler_ != nullptr) convert(nullptr, 0);
  passOn(1);
}

void SoundConverter::passOn(int leastSamples) {
  for (int waiting = 0; (waiting = av_audio_fifo_size(waiting_.get())) >= leastSamples;) {
    const int count = encoder_.frame_size > 0 ? std::min(waiting, encoder_.frame_size) : waiting;
    const FramePtr frame = soundFrame(encoder_, count);
    if (av_audio_fifo_read(waiting_.get(), reinterpret_cast<void**>(frame->extended_data), count) <
        count)
      throw std::bad_alloc();
    frame->pts = time_;
    time_ += count;
    sink_(*frame);
  }
}

}  // namespace cmhost
