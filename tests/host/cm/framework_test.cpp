// The host as seen by a component: frames, queues, configuration and the loop.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "host/cm/filter_configuration.h"
#include "host/cm/frame_queue.h"
#include "host/cm/loop_context.h"
#include "host/cm/video_description.h"
#include "host/cm/video_frame.h"
#include "lib/cm/CMComponent.h"

namespace {

using namespace QOR::CM;  // NOLINT(google-build-using-namespace)
using QOR::CException;
using QOR::ConstructionCopyData;
using QOR::RPtr;

constexpr unsigned int iyuv = 0x49595556;
constexpr unsigned int y44p = 0x59343450;

class Properties final : public lumbase::object_refcount {
 public:
  explicit Properties(int& alive) : alive_(alive) { ++alive_; }

 private:
  ~Properties() override { --alive_; }
  int& alive_;
};

TEST(VideoFrame, MadeLikeAnotherCopiesDataAndSharesProperties) {
  int alive = 0;
  const RPtr<const Properties> properties(new Properties(alive));
  const auto model = cm::VideoFrame::create(iyuv, 6, properties);
  std::vector<unsigned char> data = {1, 2, 3, 4, 5, 6, 7};
  const RPtr<RVideoFrame> made(
      RVideoFrame::createWithData(model.get(), y44p, 7, data.data(), 0, ConstructionCopyData));
  ASSERT_TRUE(made);
  data.assign(7, 0);
  const auto* const frame = dynamic_cast<const cm::VideoFrame*>(made.get());
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(frame->fourcc(), y44p);
  EXPECT_EQ(frame->size(), 7U);
  EXPECT_EQ(std::memcmp(frame->data(), "\1\2\3\4\5\6\7", 7), 0);
  EXPECT_EQ(frame->properties().get(), properties.get());
}

TEST(VideoFrame, LivesOnWithoutItsModel) {
  int alive = 0;
  RPtr<RVideoFrame> made;
  {
    const auto model =
        cm::VideoFrame::create(iyuv, 1, RPtr<const Properties>(new Properties(alive)));
    unsigned char byte = 9;
    made = RVideoFrame::createWithData(model.get(), iyuv, 1, &byte, 0, ConstructionCopyData);
  }
  EXPECT_EQ(alive, 1);
  EXPECT_EQ(made->data()[0], 9);
  made = nullptr;
  EXPECT_EQ(alive, 0);
}

TEST(VideoFrame, CannotBeMadeFromNothing) {
  const auto model = cm::VideoFrame::create(iyuv, 1, nullptr);
  unsigned char byte = 9;
  EXPECT_EQ(RVideoFrame::createWithData(nullptr, iyuv, 1, &byte, 0, ConstructionCopyData), nullptr);
  EXPECT_EQ(RVideoFrame::createWithData(model.get(), iyuv, 1, nullptr, 0, ConstructionCopyData),
            nullptr);
  EXPECT_EQ(RVideoFrame::createWithData(model.get(), iyuv, 1, &byte, 0,
                                        static_cast<QOR::ConstructionFlags>(0)),
            nullptr);
}

TEST(FilterConfiguration, AnswersKeysAndFallsBack) {
  const auto configuration = cm::FilterConfiguration::create();
  const RComponentConfiguration& asked = *configuration;
  EXPECT_EQ(asked.getFourCC("system_informat", 0x41595556), 0x41595556U);
  configuration->setFourCC("system_informat", iyuv);
  EXPECT_EQ(asked.getFourCC("system_informat", 0x41595556), iyuv);
  EXPECT_EQ(asked.getFourCC("other", 7), 7U);
}

TEST(InputQueue, HandsOutDescriptionThenFrames) {
  const auto description = cm::VideoDescription::create(720, 576);
  const auto queue = cm::InputQueue::create(description, 2);
  RQFrameReader& reader = *queue;
  EXPECT_EQ(reader.getDescription()->width(), 720U);
  EXPECT_EQ(reader.getDescription()->height(), 576U);
  EXPECT_EQ(reader.getDescription().get(), description.get());
  EXPECT_FALSE(reader.nextFrame());
  const auto frame = cm::VideoFrame::create(iyuv, 1, nullptr);
  queue->frames().put(frame);
  EXPECT_EQ(reader.nextFrame().get(), frame.get());
  EXPECT_FALSE(reader.nextFrame());
}

TEST(OutputQueue, RecordsDescriptionAndFrames) {
  const auto queue = cm::OutputQueue::create(2);
  RQFrameWriter& writer = *queue;
  const auto description = cm::VideoDescription::create(4, 2);
  writer.setDescription(description);
  EXPECT_EQ(queue->description().get(), description.get());
  RPtr<const RFrame> frame = cm::VideoFrame::create(iyuv, 1, nullptr);
  const RFrame* const address = frame.get();
  writer.put(frame);
  frame = nullptr;
  writer.put(RPtr<const RFrame>());
  const auto first = queue->frames().take();
  ASSERT_TRUE(first.has_value());
  EXPECT_EQ(first->get(), address);
  const auto second = queue->frames().take();
  ASSERT_TRUE(second.has_value());
  EXPECT_EQ(second->get(), nullptr);
}

// A filter whose `process` is provided by the test.
class Filter final : public RFilter {
 public:
  using RFilter::process;
  using Step = std::function<bool(RQFrameReader&, RQFrameWriter&)>;

  explicit Filter(Step step) : step_(std::move(step)) {}

  bool process() override {
    ++steps;
    return step_(*inputReaders()[0], *outputWriters()[0]);
  }
  void flush() override { ++flushes; }
  QOR::Result configure(RFilterConfiguration& /*config*/) override { return 0; }
  void handleException(const CException& exception) override { handled = exception.message(); }

  int steps = 0;
  int flushes = 0;
  std::string handled;

 private:
  Step step_;
};

bool passOn(RQFrameReader& reader, RQFrameWriter& writer) {
  const RPtr<RVideoFrame> frame = reader.nextFrame();
  if (!frame) return false;
  writer.put(frame);
  return true;
}

class Loop : public testing::Test {
 protected:
  void connect(Filter& filter) {
    filter.addInputReader(input);
    filter.addOutputWriter(output);
  }

  static RPtr<RVideoFrame> frame() { return cm::VideoFrame::create(iyuv, 1, nullptr); }

  RPtr<cm::InputQueue> input = cm::InputQueue::create(cm::VideoDescription::create(1, 1), 2);
  RPtr<cm::OutputQueue> output = cm::OutputQueue::create(2);
  std::string failure;
  RPtr<cm::LoopContext> context = cm::LoopContext::create(
      input, [this](const CException& exception) { failure = exception.message(); });
};

TEST_F(Loop, GoesOnUntilTheStreamEndsThenFlushes) {
  Filter filter(passOn);
  connect(filter);
  std::thread loop([&] { filter.threadrunloop(context.get()); });
  for (int i = 0; i < 50; ++i) {
    input->frames().put(frame());
    ASSERT_TRUE(output->frames().take().has_value());
  }
  EXPECT_EQ(filter.flushes, 0);
  input->frames().finish();
  loop.join();
  EXPECT_EQ(filter.steps, 50);
  EXPECT_EQ(filter.flushes, 1);
  EXPECT_EQ(failure, "");
}

TEST_F(Loop, SleepsWhileNothingIsThere) {
  Filter filter(passOn);
  connect(filter);
  std::thread loop([&] { filter.threadrunloop(context.get()); });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  input->frames().finish();
  loop.join();
  EXPECT_EQ(filter.steps, 0);
}

TEST_F(Loop, ContractExceptionIsHandledAndReported) {
  Filter filter([](RQFrameReader&, RQFrameWriter&) -> bool {
    throw CException("n", 1, "f", "g", QOR::CString::createWithFormat("no more of this"));
  });
  connect(filter);
  input->frames().put(frame());
  filter.threadrunloop(context.get());
  EXPECT_EQ(filter.handled, "no more of this");
  EXPECT_EQ(failure, "no more of this");
  EXPECT_EQ(filter.flushes, 0);
}

TEST_F(Loop, OtherExceptionsAreHandledToo) {
  Filter standard([](RQFrameReader&, RQFrameWriter&) -> bool { throw std::bad_alloc(); });
  connect(standard);
  input->frames().put(frame());
  standard.threadrunloop(context.get());
  EXPECT_EQ(failure, std::bad_alloc().what());

  Filter odd([](RQFrameReader&, RQFrameWriter&) -> bool { throw 5; });
  connect(odd);
  odd.threadrunloop(context.get());
  EXPECT_EQ(failure, "unknown exception");
}

TEST_F(Loop, ComponentThatLeavesItsInputAloneIsAnError) {
  Filter filter([](RQFrameReader&, RQFrameWriter&) { return false; });
  connect(filter);
  input->frames().put(frame());
  filter.threadrunloop(context.get());
  EXPECT_EQ(failure, "the component does not read its input");
}

TEST_F(Loop, ForeignContextIsRefused) {
  Filter filter(passOn);
  EXPECT_THROW(filter.runloop(nullptr), CException);
  EXPECT_THROW(filter.runloop(cm::VideoDescription::create(1, 1).get()), CException);
}

}  // namespace
