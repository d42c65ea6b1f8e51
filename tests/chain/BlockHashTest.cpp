// Equal blocks have equal hashes, whatever happened to them before.
#include "ChainTables.h"

namespace ChainTests {
namespace {

constexpr unsigned seed = 7;

class ChainBlockHashTest : public ChainTest {
 protected:
  NeededHandle const one = waitingHandle();
  NeededHandle const two = waitingHandle();
};

TEST_F(ChainBlockHashTest, ABlockThatLostItsMembersHashesAsOneThatNeverHadAny) {
  Block const empty(Asic::BlockSize(2));
  Block emptied = empty;
  emptied.entryIs(0, L3EcmpMember(one));
  emptied.entryDel(0);
  ASSERT_EQ(emptied, empty);
  EXPECT_EQ(emptied.hash(seed), empty.hash(seed));
}

TEST_F(ChainBlockHashTest, AHashFollowsEveryChangeOfTheMembers) {
  Block block(Asic::BlockSize(2));
  block.entryIs(0, L3EcmpMember(one));
  EXPECT_EQ(block.hash(seed), [this] {
    Block same(Asic::BlockSize(2));
    same.entryIs(0, L3EcmpMember(one));
    return same.hash(seed);
  }());
  block.entryIs(1, L3EcmpMember(two));
  EXPECT_EQ(block, blockOf({one, two}));
  EXPECT_EQ(block.hash(seed), blockOf({one, two}).hash(seed));
  block.entryIs(0, L3EcmpMember(two));
  EXPECT_EQ(block.hash(seed), blockOf({two, two}).hash(seed));
}

}  // namespace
}  // namespace ChainTests
