#include "lib/cm/RPtr.h"

#include <gtest/gtest.h>

#include <utility>

#include "lib/cm/object_refcount.h"

namespace {

using QOR::RPtr;

class Base : public lumbase::object_refcount {
 public:
  explicit Base(int& alive) : alive_(alive) { ++alive_; }

 protected:
  ~Base() override { --alive_; }

 private:
  int& alive_;
};

class Derived final : public Base {
 public:
  using Base::Base;

 private:
  ~Derived() override = default;
};

TEST(RPtr, EmptyHoldsNull) {
  const RPtr<Base> empty;
  EXPECT_EQ(empty.get(), nullptr);
  EXPECT_FALSE(empty);
  const RPtr<Base> fromNull(nullptr);
  EXPECT_EQ(fromNull.get(), nullptr);
}

TEST(RPtr, CopyKeepsAliveMoveHandsOver) {
  int alive = 0;
  RPtr<Base> first(new Base(alive));
  {
    const RPtr<Base> second = first;
    EXPECT_EQ(second.get(), first.get());
    first = RPtr<Base>();
    EXPECT_EQ(alive, 1);
    first = second;
  }
  EXPECT_EQ(alive, 1);
  RPtr<Base> third = std::move(first);
  // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move): it is empty
  EXPECT_EQ(first.get(), nullptr);
  EXPECT_EQ(alive, 1);
  third = RPtr<Base>();
  EXPECT_EQ(alive, 0);
}

TEST(RPtr, AssignmentToItselfKeepsTheObject) {
  int alive = 0;
  RPtr<Base> pointer(new Base(alive));
  const RPtr<Base>& same = pointer;
  pointer = same;
  EXPECT_EQ(alive, 1);
  EXPECT_NE(pointer.get(), nullptr);
}

TEST(RPtr, ConvertsToBaseAndConst) {
  int alive = 0;
  RPtr<const Base> shared;
  {
    const RPtr<Derived> derived(new Derived(alive));
    shared = derived;
  }
  EXPECT_EQ(alive, 1);
  shared = nullptr;
  EXPECT_EQ(alive, 0);
}

}  // namespace
