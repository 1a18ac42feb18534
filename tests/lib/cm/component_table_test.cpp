// Tests the order of the virtual functions, which must be the same in separately built modules and
// hosts.
#include <gtest/gtest.h>

#include <cstddef>

#include "lib/cm/CMComponent.h"
#include "tests/support/virtual_slot.h"

namespace {

using namespace QOR;      // NOLINT(google-build-using-namespace)
using namespace QOR::CM;  // NOLINT(google-build-using-namespace)

template <typename Function>
std::size_t slot(Function function) {
  return test_support::virtual_slot(function);
}

class Filter : public RFilter {
 public:
  using RFilter::process;
  bool process() override { return false; }
  void flush() override {}
  Result configure(RFilterConfiguration& /*config*/) override { return 0; }
};

// Slots 0 and 1 are the two destructors, which have no member pointers.
TEST(ComponentTable, SlotsOfAFilter) {
  EXPECT_EQ(slot(static_cast<void (RFilter::*)(const CException&)>(&RComponent::handleException)),
            2U);
  EXPECT_EQ(slot(&RComponent::type), 3U);
  EXPECT_EQ(slot(&RComponent::getStatus), 4U);
  EXPECT_EQ(slot(&RComponent::componentWillReset), 5U);
  EXPECT_EQ(slot(&RComponent::handleNotification), 6U);
  EXPECT_EQ(slot(&RComponent::isVPLComponent), 7U);
  EXPECT_EQ(slot(static_cast<bool (RComponent::*)()>(&RComponent::process)), 8U);
  EXPECT_EQ(slot(static_cast<bool (RComponent::*)(RPtr<RFrame>)>(&RComponent::process)), 9U);
  EXPECT_EQ(slot(&RComponent::flush), 10U);
  EXPECT_EQ(slot(&CMMultipleQueueComponent::numSimpleThreads), 11U);
  EXPECT_EQ(slot(&CMMultipleQueueComponent::threadrunloop), 12U);
  EXPECT_EQ(slot(&CMMultipleQueueComponent::runloop), 13U);
  EXPECT_EQ(slot(&RFilter::configure), 14U);
}

TEST(ComponentTable, OverridesTakeTheSlotsOfTheirBases) {
  EXPECT_EQ(slot(&CMMultipleQueueComponent::handleException), 2U);
  EXPECT_EQ(slot(&RFilter::type), 3U);
  EXPECT_EQ(slot(static_cast<bool (Filter::*)(RPtr<RFrame>)>(&CMMultipleQueueComponent::process)),
            9U);
  EXPECT_EQ(slot(&Filter::flush), 10U);
}

TEST(ComponentTable, SlotsOfTheThreadStarter) {
  EXPECT_EQ(slot(&RThreadRunner::handleException), 2U);
  EXPECT_EQ(slot(&RThreadRunner::threadrunloop), 3U);
}

TEST(ComponentTable, FirstTableStandsAtTheStart) {
  Filter filter;
  EXPECT_EQ(static_cast<void*>(static_cast<RComponent*>(&filter)), static_cast<void*>(&filter));
  EXPECT_EQ(static_cast<void*>(static_cast<RFilter*>(&filter)), static_cast<void*>(&filter));
}

TEST(Component, InheritedAnswers) {
  Filter filter;
  EXPECT_EQ(filter.type(), 0x666c7472U);
  EXPECT_EQ(filter.numSimpleThreads(), 0U);
  EXPECT_FALSE(filter.isVPLComponent());
  filter.getStatus();
  filter.componentWillReset();
}

TEST(Component, StepOnAGivenFrameIsNotImplemented) {
  Filter filter;
  RFilter& base = filter;
  try {
    base.CMMultipleQueueComponent::process(RPtr<RFrame>());
    FAIL() << "no exception";
  } catch (const CException& exception) {
    EXPECT_STREQ(exception.name(), "QOR::CException");
    EXPECT_EQ(exception.line(), 256);
    EXPECT_STREQ(exception.file(), "lib/cm/CMComponent");
    EXPECT_STREQ(exception.function(),
                 "virtual bool QOR::CM::CMMultipleQueueComponent::process(RPtr<QOR::CM::RFrame>)");
    EXPECT_STREQ(exception.message(), "process(CMFrame) not implemented!");
  }
}

}  // namespace
