// A small module: a filter that turns every picture into its negative, sample by sample.
//
//   cmhost --module ./negative.so in.mp4 out.mp4

#include <cstddef>
#include <vector>

#include "lib/cm/CMComponent.h"

namespace {

using QOR::CM::RVideoFrame;

constexpr unsigned int iyuv = 0x49595556;  // 'IYUV', 8-bit planar 4:2:0
constexpr unsigned int y22p = 0x59323250;  // 'Y22P', 4:2:2
constexpr unsigned int y44p = 0x59343450;  // 'Y44P', 4:4:4

class Negative final : public QOR::CM::RFilter {
 public:
  using RFilter::process;

  QOR::Result configure(QOR::CM::RFilterConfiguration& config) override {
    const auto description = inputReaders().at(0)->getDescription();
    layout_ = config.getFourCC("system_informat", iyuv);
    picture_.resize(pictureSize(description->width(), description->height()));
    // The output has the size of the input.
    outputWriters().at(0)->setDescription(description);
    return 0;
  }

  bool process() override {
    const auto frame = inputReaders().at(0)->nextFrame();
    if (!frame) return false;
    // Input frames are read only; the result is a new frame.
    const unsigned char* const samples = frame->data();
    for (std::size_t i = 0; i < picture_.size(); ++i)
      picture_[i] = static_cast<unsigned char>(255 - samples[i]);
    const QOR::RPtr<RVideoFrame> negative = RVideoFrame::createWithData(
        frame.get(), layout_, static_cast<unsigned int>(picture_.size()), picture_.data(), 0,
        QOR::ConstructionCopyData);
    outputWriters().at(0)->put(negative);
    return true;
  }

  void flush() override {}  // no frame is held between calls

 private:
  std::size_t pictureSize(std::size_t width, std::size_t height) const {
    switch (layout_) {
      case iyuv:
        return width * height + 2 * ((width / 2) * (height / 2));
      case y22p:
        return width * height + 2 * ((width / 2) * height);
      case y44p:
        return 3 * width * height;
      default:
        throw QOR::CException("QOR::CException", __LINE__, "negative", "configure",
                              QOR::CString::createWithFormat("unknown layout 0x%08x", layout_));
    }
  }

  unsigned int layout_ = 0;
  std::vector<unsigned char> picture_;
};

}  // namespace

/// The only name that a module exports: creates a component, which the host deletes.
extern "C" __attribute__((visibility("default"))) QOR::CM::RComponent* getComponentInstance() {
  return new Negative;
}
