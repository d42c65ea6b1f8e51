// The counts of live objects that the suites of this folder rely on.
#include <gtest/gtest.h>

#include "TableWorld.h"

namespace TableTests {
namespace {

TEST(LiveObjectCountTest, CountsAnObjectThatAnotherSharedObjectDestroys) {
  std::uint64_t const before = Vek::vekLiveObjects("Asic::HwTable");
  // Made here; the platform's library holds its destructor.
  Vek::Ptr<Asic::HwTable> hwTable = new Asic::HwTable;
  EXPECT_EQ(Vek::vekLiveObjects("Asic::HwTable"), before + 1);
  hwTable = nullptr;
  EXPECT_EQ(Vek::vekLiveObjects("Asic::HwTable"), before);
}

}  // namespace
}  // namespace TableTests
