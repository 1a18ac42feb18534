#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "lib/cm/CMComponent.h"

/// A minimal host for the module: its objects report their destruction, and it keeps everything
/// that the module puts on the output, for the test.
namespace test_host {

using bytes = std::vector<unsigned char>;

/// Counts the existing objects, so that a test detects a reference that was not released.
class counted {
 public:
  counted() { ++alive; }
  counted(const counted&) = delete;
  counted& operator=(const counted&) = delete;
  ~counted() { --alive; }
  static inline int alive = 0;
};

class description final : public QOR::CM::RDescription {
 public:
  description(unsigned int width, unsigned int height) : width_(width), height_(height) {}
  unsigned int width() const override { return width_; }
  unsigned int height() const override { return height_; }

 private:
  unsigned int width_;
  unsigned int height_;
  counted counted_;
};

/// A frame of a type that the contract's library does not know and cannot create frames from.
class foreign_frame final : public QOR::CM::RVideoFrame {
 public:
  explicit foreign_frame(bytes picture) : picture_(std::move(picture)) {}
  unsigned char* data() const override { return const_cast<unsigned char*>(picture_.data()); }

 private:
  bytes picture_;
  counted counted_;
};

class reader final : public QOR::CM::RQFrameReader {
 public:
  reader(unsigned int width, unsigned int height) : stream(new description(width, height)) {}
  QOR::RPtr<QOR::CM::RDescription> getDescription() override { return stream; }
  QOR::RPtr<QOR::CM::RVideoFrame> nextFrame() override {
    if (frames.empty()) return {};
    QOR::RPtr<QOR::CM::RVideoFrame> next = frames.front();
    frames.pop_front();
    return next;
  }

  QOR::RPtr<QOR::CM::RDescription> stream;
  std::deque<QOR::RPtr<QOR::CM::RVideoFrame>> frames;
};

class writer final : public QOR::CM::RQFrameWriter {
 public:
  void setDescription(const QOR::RPtr<const QOR::CM::RDescription>& given) override {
    stream = given;
  }
  void put(const QOR::RPtr<const QOR::CM::RFrame>& frame) override {
    if (on_put) on_put();
    frames.push_back(frame);
  }

  QOR::RPtr<const QOR::CM::RDescription> stream;
  std::vector<QOR::RPtr<const QOR::CM::RFrame>> frames;
  std::function<void()> on_put;
};

/// Returns `value` for every key, or the fallback if `value` is 0, and prints the request.
class configuration final : public QOR::CM::RFilterConfiguration {
 public:
  explicit configuration(unsigned int answer) : value(answer) {}
  unsigned int getFourCC(const char* key, unsigned int fallback) const override {
    std::printf("%s, else %08x\n", key, fallback);
    return value != 0 ? value : fallback;
  }

  unsigned int value;
};

/// The loaded module; the destructor unloads it.
class module {
 public:
  module() :handle_(::dlopen(STATIC_WATERMARK_MODULE, RTLD_NOW | RTLD_LOCAL)) {
    EXPECT_NE(handle_, nullptr) << ::dlerror();
  }
  module(const module&) = delete;
  module& operator=(const module&) = delete;
  ~module() { ::dlclose(handle_); }

  std::unique_ptr<QOR::CM::RFilter> component() const {
    using factory = QOR::CM::RComponent* (*)();
    const auto make = reinterpret_cast<factory>(::dlsym(handle_, "getComponentInstance"));
    std::unique_ptr<QOR::CM::RComponent> made(make());
    auto* const filter = dynamic_cast<QOR::CM::RFilter*>(made.get());
    if (filter != nullptr) made.release();  // NOLINT(bugprone-unused-return-value)
    return std::unique_ptr<QOR::CM::RFilter>(filter);
  }

  static bool is_loaded() {
    void* const handle = ::dlopen(STATIC_WATERMARK_MODULE, RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) ::dlclose(handle);
    return handle != nullptr;
  }

 private:
  void* handle_;
};

/// A component with its queues.
struct session {
  session(const module& library, unsigned int width, unsigned int height, unsigned int fourcc)
      : input(new reader(width, height)),
        output(new writer()),
        settings(new configuration(fourcc)),
        filter(library.component()) {
    filter->addInputReader(input);
    filter->addOutputWriter(output);
  }

  /// What `configure` printed; its result must be 0.
  std::string configure() {
    testing::internal::CaptureStdout();
    try {
      EXPECT_EQ(filter->configure(*settings), 0);
    } catch (...) {
      printed = testing::internal::GetCapturedStdout();
      throw;
    }
    printed = testing::internal::GetCapturedStdout();
    return printed;
  }

  QOR::RPtr<reader> input;
  QOR::RPtr<writer> output;
  QOR::RPtr<configuration> settings;
  std::unique_ptr<QOR::CM::RFilter> filter;
  std::string printed;
};

}  // namespace test_host
