// A small host: reads 4:2:0 video as Y4M from standard input, runs every frame through a filter
// module, and writes the result as Y4M to standard output.
//
//   ffmpeg -i in.mp4 -pix_fmt yuv420p -f yuv4mpegpipe - | host MODULE.so | ffplay -

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

#include "host/cm/filter_configuration.h"
#include "host/cm/frame_queue.h"
#include "host/cm/picture_pool.h"
#include "host/cm/video_description.h"
#include "host/cm/video_frame.h"
#include "lib/cm/CMComponent.h"

namespace {

constexpr unsigned int iyuv = 0x49595556;  // 'IYUV', 8-bit planar 4:2:0

struct Unload {
  void operator()(void* library) const { ::dlclose(library); }
};

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

struct Size {
  unsigned int width = 0, height = 0;

  unsigned int bytes() const { return width * height + 2 * ((width / 2) * (height / 2)); }
};

// The header contains size, rate and layout as words: one letter, followed by the value.
Size sizeOf(const std::string& header) {
  std::istringstream words(header);
  std::string word;
  words >> word;
  if (word != "YUV4MPEG2") throw std::runtime_error("the input is not Y4M");
  unsigned long width = 0, height = 0;
  std::string layout = "420jpeg";
  while (words >> word) {
    const std::string value = word.substr(1);
    if (word[0] == 'W') width = std::stoul(value);
    if (word[0] == 'H') height = std::stoul(value);
    if (word[0] == 'C') layout = value;
  }
  if (layout != "420jpeg" && layout != "420mpeg2" && layout != "420paldv" && layout != "420")
    throw std::runtime_error("the input is not 8-bit 4:2:0 but " + layout);
  // Only for even sizes, Y4M and the contract define the same chroma planes.
  if (width == 0 || width > 16384 || width % 2 != 0 || height == 0 || height > 16384 ||
      height % 2 != 0)
    throw std::runtime_error("width and height must be even, from 2 to 16384");
  return {static_cast<unsigned int>(width), static_cast<unsigned int>(height)};
}

std::string line() {
  std::string text;
  if (!std::getline(std::cin, text)) text.clear();
  return text;
}

// Opens standard output for the video alone: what a module prints goes to standard error.
std::unique_ptr<std::FILE, Close> takeStandardOutput() {
  std::unique_ptr<std::FILE, Close> video(::fdopen(::dup(STDOUT_FILENO), "wb"));
  if (video == nullptr || ::dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
    throw std::runtime_error("cannot use standard output");
  return video;
}

void run(const char* path) {
  const auto video = takeStandardOutput();

  // The module leaves the contract's names undefined and finds them in this process, which is
  // linked with libcm.
  const std::unique_ptr<void, Unload> library(::dlopen(path, RTLD_NOW | RTLD_LOCAL));
  if (library == nullptr) throw std::runtime_error(::dlerror());
  using Factory = QOR::CM::RComponent* (*)();
  const auto factory = reinterpret_cast<Factory>(::dlsym(library.get(), "getComponentInstance"));
  if (factory == nullptr) throw std::runtime_error(::dlerror());
  // Declared after the library, so destroyed before it is unloaded.
  const std::unique_ptr<QOR::CM::RComponent> component(factory());
  auto* const filter = dynamic_cast<QOR::CM::RFilter*>(component.get());
  if (filter == nullptr) throw std::runtime_error("the module's component is not a filter");

  const std::string header = line();
  const Size size = sizeOf(header);

  // Queues first, then the configuration. The input queue has its description from the start.
  const auto input =
      cm::InputQueue::create(cm::VideoDescription::create(size.width, size.height), 1);
  const auto output = cm::OutputQueue::create(1);
  filter->addInputReader(input);
  filter->addOutputWriter(output);
  const auto configuration = cm::FilterConfiguration::create();
  configuration->setFourCC("system_informat", iyuv);
  if (filter->configure(*configuration) != 0)
    throw std::runtime_error("the module cannot be configured");

  const auto writeWaiting = [&output, &size, &video] {
    while (const auto put = output->frames().tryTake()) {
      const auto* const frame = dynamic_cast<const cm::VideoFrame*>(put->get());
      if (frame == nullptr || frame->size() != size.bytes())
        throw std::runtime_error("the module did not return a frame of the right size");
      std::fputs("FRAME\n", video.get());
      std::fwrite(frame->data(), 1, size.bytes(), video.get());
    }
  };

  std::fprintf(video.get(), "%s\n", header.c_str());
  const auto pictures = cm::PicturePool::create();  // all frames reuse its memory
  while (line().compare(0, 5, "FRAME") == 0) {
    const auto frame = cm::VideoFrame::create(iyuv, size.bytes(), nullptr, pictures);
    if (!std::cin.read(reinterpret_cast<char*>(frame->data()), size.bytes()))
      throw std::runtime_error("the input ends within a frame");
    input->frames().put(frame);
    if (!filter->process()) throw std::runtime_error("the module does not take its input");
    writeWaiting();
  }
  // A filter that puts more frames at the end than its queue holds needs a thread; see `runloop`.
  filter->flush();
  writeWaiting();
  if (std::fflush(video.get()) != 0 || std::ferror(video.get()) != 0)
    throw std::runtime_error("cannot write");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: host MODULE <INPUT.y4m >OUTPUT.y4m\n";
    return 2;
  }
  try {
    std::ios::sync_with_stdio(false);
    run(argv[1]);
    return EXIT_SUCCESS;
  } catch (const std::exception& exception) {
    std::cerr << "host: " << exception.what() << '\n';
    return EXIT_FAILURE;
  }
}
