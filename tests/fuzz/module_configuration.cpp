// cmhost's use of the module between a decoded frame and an encoded one: it chooses the layout by
// pixel format or FourCC, describes the stream, configures the filter, and packs, marks and unpacks
// frames.
#include <sanitizer/allocator_interface.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "component/filter/video/static_watermark/static_watermark.h"
#include "host/cm/filter_configuration.h"
#include "host/cm/frame_queue.h"
#include "host/cm/video_description.h"
#include "host/cm/video_frame.h"
#include "host/cmhost/picture/frame_packing.h"
#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/support/failure.h"
#include "tests/fuzz/byte_reader.h"
#include "video/resize/qor_resize.h"
#include "video/watermark/watermark.h"

namespace {

using cmhost::FramePtr;
using cmhost::PictureLayout;
using fuzz::byte_reader;
using fuzz::require;

// The filter never frees what `configure` allocates; a fuzzer would run out of memory. Memory that
// is still allocated after the filter's destruction is freed here.
std::unordered_set<const void*>* kept = nullptr;
bool in_configure = false;
bool in_the_set = false;  // the set allocates, too

void note_allocation(const volatile void* block, std::size_t) {
  if (!in_configure || in_the_set || block == nullptr) return;
  in_the_set = true;
  kept->insert(const_cast<const void*>(block));
  in_the_set = false;
}

void note_release(const volatile void* block) {
  if (in_the_set || kept->empty()) return;
  in_the_set = true;
  kept->erase(const_cast<const void*>(block));
  in_the_set = false;
}

class filter_under_test {
 public:
  filter_under_test() : filter_(new static_watermark) {}
  ~filter_under_test() {
    delete filter_;
    in_the_set = true;
    for (const void* block : *kept) std::free(const_cast<void*>(block));
    kept->clear();
    in_the_set = false;
  }
  filter_under_test(const filter_under_test&) = delete;
  filter_under_test& operator=(const filter_under_test&) = delete;

  static_watermark* operator->() { return filter_; }

  /// The message of the exception, or empty.
  std::string configure(QOR::CM::RFilterConfiguration& configuration) {
    std::string failure;
    in_configure = true;
    try {
      filter_->configure(configuration);
      in_configure = false;
    } catch (const QOR::CException& exception) {
      in_configure = false;
      failure = exception.message();
    }
    return failure;
  }

 private:
  static_watermark* filter_;
};

const PictureLayout* read_layout(byte_reader& in) {
  static const char* const accepted[] = {"IYUV", "Y22P", "Y44P"};
  const bool by_format = in.flag();
  if (by_format) {
    const auto format = static_cast<AVPixelFormat>(in.between(0, AV_PIX_FMT_NB - 1));
    const PictureLayout* const layout = cmhost::layoutOf(format);
    return layout != nullptr ? layout : &cmhost::closestLayout(format);
  }
  if (in.byte() < 250) return cmhost::layoutOfFourcc(cmhost::fourccOf(accepted[in.byte() % 3]));
  return cmhost::layoutOfFourcc(in.word());
}

FramePtr decoded_frame(byte_reader& in, const PictureLayout& layout, int width, int height) {
  FramePtr frame = cmhost::newFrame();
  frame->format = layout.pixelFormat;
  frame->width = width;
  frame->height = height;
  if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
  for (int plane = 0; plane < 3; ++plane) {
    const int rows = plane == 0 ? height : AV_CEIL_RSHIFT(height, layout.shiftY);
    in.fill(frame->data[plane],
            static_cast<std::size_t>(frame->linesize[plane]) * static_cast<std::size_t>(rows));
  }
  return frame;
}

// Outside the mark, and in the columns and rows that the module never sees, the picture does not
// change.
void require_rest_untouched(const static_watermark& filter, const PictureLayout& layout,
                            const AVFrame& before, const AVFrame& after) {
  require(after.width == before.width && after.height == before.height, "size of a frame");
  require(after.format == layout.pixelFormat, "format of a frame");
  for (int plane = 0; plane < 3; ++plane) {
    const int shift_x = plane == 0 ? 0 : layout.shiftX;
    const int shift_y = plane == 0 ? 0 : layout.shiftY;
    const int left = filter.watermark_x >> shift_x;
    const int top = filter.watermark_y >> shift_y;
    const int right = left + (filter.watermark_width >> shift_x);
    const int bottom = top + (filter.watermark_height >> shift_y);
    for (int y = 0; y < AV_CEIL_RSHIFT(before.height, shift_y); ++y) {
      const std::uint8_t* const row_before = before.data[plane] + y * before.linesize[plane];
      const std::uint8_t* const row_after = after.data[plane] + y * after.linesize[plane];
      for (int x = 0; x < AV_CEIL_RSHIFT(before.width, shift_x); ++x) {
        const bool marked = x >= left && x < right && y >= top && y < bottom;
        require(marked || row_after[x] == row_before[x], "a sample beside the mark");
      }
    }
  }
}

void run_stream(byte_reader& in, const PictureLayout& layout) {
  // Artwork for a wider stream needs more memory than the fuzzer has, up to the width that is
  // rejected.
  constexpr int widest = 500;
  const bool wild = in.byte() >= 250;
  const int width =
      wild ? 100000 + static_cast<int>(in.word() % 0x70000000U) : in.between(0, widest);
  const int height = wild ? static_cast<int>(in.word() & 0x7FFFFFFFU) : in.between(0, 300);
  const unsigned int fourcc = in.byte() < 250 ? layout.fourcc : in.word();

  const auto configuration = cm::FilterConfiguration::create();
  if (in.byte() < 250) configuration->setFourCC("system_informat", fourcc);
  const auto input =
      cm::InputQueue::create(cm::VideoDescription::create(static_cast<unsigned int>(width),
                                                          static_cast<unsigned int>(height)),
                             2);
  const auto output = cm::OutputQueue::create(2);
  filter_under_test filter;
  filter->addInputReader(input);
  filter->addOutputWriter(output);
  const std::string failure = filter.configure(*configuration);
  require(output->description().get() == input->getDescription().get(), "the description");
  if (!failure.empty()) {
    require(failure == "*** ERROR ***: Incorrect colorspace" ||
                failure == "*** ERROR ***: Error configuring watermark.",
            "the message");
    return;
  }
  const PictureLayout* const configured =
      cmhost::layoutOfFourcc(configuration->getFourCC("system_informat", cmhost::fourccOf("AYUV")));
  require(configured != nullptr, "a layout that modules do not take was accepted");
  if (wild || width == 0 || height == 0) return;

  for (int frames = in.between(0, 2); frames >= 0; --frames) {
    FramePtr decoded = decoded_frame(in, *configured, width, height);
    if (decoded == nullptr) return;
    const AVFrame& before = *decoded;
    const auto packed = cmhost::packFrame(std::move(decoded), *configured, 0, true);
    require(packed->size() == filter->frame_size, "size of a picture");
    input->frames().put(packed);
    require(filter->process(), "a waiting frame was left");
    require(!filter->process(), "there was one frame only");
    const auto put = output->frames().tryTake();
    require(put.has_value(), "no frame came out");
    const FramePtr after = cmhost::unpackFrame(put->get(), *configured);
    require_rest_untouched(*filter.operator->(), *configured, before, *after);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Memory that the libraries allocate at their first use and keep is not the filter's.
  if (std::freopen("/dev/null", "w", stdout) == nullptr) return 1;
  std::printf("\n");
  kept = new std::unordered_set<const void*>;
  using ns_video_resize::qor_resize;
  qor_resize::destroy(qor_resize::create(qor_resize::yuv422));
  __sanitizer_install_malloc_and_free_hooks(note_allocation, note_release);
  return 0;
}

// NOLINTNEXTLINE(bugprone-reserved-identifier): the name that the sanitizer calls
extern "C" const char* __asan_default_options() { return "alloc_dealloc_mismatch=0"; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  byte_reader in(data, size);
  if (const PictureLayout* const layout = read_layout(in)) run_stream(in, *layout);
  return 0;
}
