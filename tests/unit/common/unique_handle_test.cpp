// The owner of a handle, for two kinds of handle on the sim: it closes each handle exactly once,
// whichever way it is moved, reset or released, and never closes a value that is no handle.
#include "common/unique_handle.h"

#include <gtest/gtest.h>

#include "common/owned_handles.h"
#include "platform/events.h"
#include "tests/support/sim_test.h"

namespace {

struct Event {
  using Owner = velmo::KernelHandle;
  static constexpr const char* kClose = "CloseHandle";
  static HANDLE open() { return platform::CreateEventW(nullptr, FALSE, FALSE, nullptr); }
  static const std::vector<HANDLE> invalid() { return {nullptr, INVALID_HANDLE_VALUE}; }
};

struct DisplayContext {
  using Owner = velmo::DeviceContext;
  static constexpr const char* kClose = "DeleteDC";
  static HDC open() { return platform::CreateDCA("DISPLAY", "\\\\.\\DISPLAY1", nullptr, nullptr); }
  static const std::vector<HDC> invalid() { return {nullptr}; }
};

template <typename Kind>
class UniqueHandleTest : public testing_support::SimTest {
 protected:
  static std::size_t closes() { return sim::test::callsOf(Kind::kClose).size(); }
  static std::size_t open() { return sim::test::openHandleCount(); }
};
using Kinds = ::testing::Types<Event, DisplayContext>;
TYPED_TEST_SUITE(UniqueHandleTest, Kinds);

TYPED_TEST(UniqueHandleTest, ClosesEachHandleOnceWhateverHappensToItsOwner) {
  using Owner = typename TypeParam::Owner;
  for (const auto value : TypeParam::invalid()) {
    Owner none(value);
    EXPECT_FALSE(none);
  }
  EXPECT_FALSE(Owner());
  EXPECT_EQ(this->closes(), 0u) << "a value that is no handle is never closed";

  Owner first(TypeParam::open());
  const auto held = first.get();
  ASSERT_TRUE(first);
  Owner second(std::move(first));
  EXPECT_EQ(first.get(), TypeParam::invalid().front()) << "an empty owner holds null";
  EXPECT_EQ(second.get(), held);
  Owner& same = second;
  second = std::move(same);  // a self-move closes nothing
  second.reset(held);
  EXPECT_EQ(this->open(), 1u);
  EXPECT_EQ(this->closes(), 0u);

  Owner third(TypeParam::open());
  third = std::move(second);  // the handle third held is closed, held moves in
  EXPECT_EQ(third.get(), held);
  EXPECT_EQ(this->open(), 1u);
  EXPECT_EQ(this->closes(), 1u);

  third.reset(TypeParam::open());  // held is closed
  EXPECT_EQ(this->closes(), 2u);
  Owner(third.release()).reset();  // released without a close, then closed by its new owner
  EXPECT_FALSE(third);
  EXPECT_EQ(this->closes(), 3u);
  third.reset();
  EXPECT_EQ(this->open(), 0u);
  EXPECT_EQ(this->closes(), 3u);
}

}  // namespace
