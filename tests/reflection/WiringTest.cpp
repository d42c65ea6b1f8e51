// Each name reaches what it says: told for each type by hand, since what goes over the registry
// holds a row against itself.
#include <string>

#include "LiveObjects.h"
#include "ReflectionWorld.h"

namespace ReflectionTests {
namespace {

using namespace OrviaL3Unicast;
using Vek::Walker;

class WiringTest : public TableTests::LiveObjectsTest {
 protected:
  template <class T>
  static Vek::VekValueOps const& opsOf(char const* name) {
    Vek::VekValueOps const* const ops = Vek::vekTypeNamed(name).valueOps();
    EXPECT_NE(ops, nullptr) << name;
    return *ops;
  }
  template <class T>
  static void printsItsText(char const* name, T const& value) {
    EXPECT_EQ(opsOf<T>(name).text(&value).str(), OrviaL3Unicast::valueToStrep(value).str());
  }
  template <class Index>
  static void hashesItsNumber(char const* name) {
    Index const seven(7);
    Index const eight(8);
    EXPECT_EQ(opsOf<Index>(name).hash(&seven, 3), seven.hash(3));
    EXPECT_NE(opsOf<Index>(name).hash(&seven, 3), opsOf<Index>(name).hash(&eight, 3));
  }
  // The record of a next hop with different handles in its slots.
  template <class Entry>
  static void readsEachSlotByItsName(Walker const& walker, std::string const& record) {
    EXPECT_EQ(walker.read(record + ".l3Oif1").text().str(), "40");
    EXPECT_EQ(walker.read(record + ".mtuProfilePtr").text().str(), "50");
    EXPECT_EQ(walker.read(record + ".l3Oif1Handle.hwEntryIndex").text().str(), "40");
    EXPECT_EQ(walker.read(record + ".mtuProfilePtrHandle.hwEntryIndex").text().str(), "50");
    EXPECT_EQ(walker.read(record + ".neededEntryHandle[9].hwEntryIndex").text().str(), "40");
    EXPECT_EQ(walker.read(record + ".neededEntryHandle[12].hwEntryIndex").text().str(), "50");
  }
};

TEST_F(WiringTest, EveryValuePrintsTheTextOfItsFunction) {
  printsItsText("OrviaL3Unicast::IngL3NextHop1Table::Entry", IngL3NextHop1Table::Entry());
  printsItsText("OrviaL3Unicast::EcmpIngL3NextHop1Table::Entry", EcmpIngL3NextHop1Table::Entry());
  printsItsText("OrviaL3Unicast::L3EcmpGroupTable::Entry", L3EcmpGroupTable::Entry());
  printsItsText("OrviaL3Unicast::L3EcmpMemberTable::EntryBlock",
                L3EcmpMemberTable::EntryBlock(Asic::BlockSize(3)));
  printsItsText("OrviaL3Unicast::L3EcmpMemberTable::Entry", L3EcmpMemberTable::Entry());
  printsItsText("OrviaL3Unicast::EcmpIngL3NextHop1Table::Index", EcmpIngL3NextHop1Table::Index(7));
  printsItsText("OrviaL3Unicast::L3EcmpGroupTable::Index", L3EcmpGroupTable::Index(8));
  printsItsText("OrviaL3Unicast::L3EcmpMemberTable::Index", L3EcmpMemberTable::Index(9));
}

TEST_F(WiringTest, EveryIndexHashesItsNumber) {
  hashesItsNumber<EcmpIngL3NextHop1Table::Index>("OrviaL3Unicast::EcmpIngL3NextHop1Table::Index");
  hashesItsNumber<L3EcmpGroupTable::Index>("OrviaL3Unicast::L3EcmpGroupTable::Index");
  hashesItsNumber<L3EcmpMemberTable::Index>("OrviaL3Unicast::L3EcmpMemberTable::Index");
}

TEST_F(WiringTest, TheNamesOfANextHopReachTheirSlots) {
  Tables tables;
  auto const mtu = ChainTests::programmedHandle(50);
  auto hop = ChainTests::NextHops::entry(tables.interface, 9);
  hop.mtuProfilePtrHandleIs(mtu);
  auto const held = tables.chain.hops.table->entryCommit(ChainTests::NextHops::key(3), hop);
  readsEachSlotByItsName<EcmpIngL3NextHop1Table::Entry>(Walker(tables.chain.hops.table),
                                                        "entry[vrf 0 inet dev 3]");

  auto plain = tables.ingress.entry(1, {});
  plain.l3Oif1HandleIs(tables.interface);
  plain.mtuProfilePtrHandleIs(mtu);
  auto const key = tables.ingress.key(7);
  auto const owned = tables.ingress.table->entryCommit(key, plain);
  readsEachSlotByItsName<IngL3NextHop1Table::Entry>(Walker(tables.ingress.table), "entry[#2]");
}

TEST_F(WiringTest, TheNamesOfANextHopSetTheirSlots) {
  Tables tables;
  auto const mtu = ChainTests::programmedHandle(50);
  auto const other = ChainTests::programmedHandle(60);
  auto hop = ChainTests::NextHops::entry(tables.interface, 9);
  hop.mtuProfilePtrHandleIs(mtu);
  auto const held = tables.chain.hops.table->entryCommit(ChainTests::NextHops::key(3), hop);
  Walker const walker(tables.chain.hops.table);
  std::string const record = "entry[vrf 0 inet dev 3]";
  walker.set(record + ".l3Oif1Handle", valueOf(other.get()));
  EXPECT_EQ(tables.chain.hops.table->entry(ChainTests::NextHops::key(3)).l3Oif1(), 60);
  EXPECT_EQ(tables.chain.hops.table->entry(ChainTests::NextHops::key(3)).mtuProfilePtr(), 50);
  walker.set(record + ".mtuProfilePtrHandle", "None");
  EXPECT_EQ(tables.chain.hops.table->entry(ChainTests::NextHops::key(3)).l3Oif1(), 60);
  EXPECT_FALSE(tables.chain.hops.table->entry(ChainTests::NextHops::key(3)).mtuProfilePtrHandle());
}

TEST_F(WiringTest, TheNamesOfAGroupReachItsSlot) {
  Tables tables;
  auto const block = ChainTests::programmedHandle(64);
  auto const held = tables.chain.groups.table->entryCommit(ChainTests::Groups::key(9),
                                                           ChainTests::Groups::entry(block, 5));
  Walker const walker(tables.chain.groups.table);
  EXPECT_EQ(walker.read("entry[9].ecmpBlockPtr").text().str(), "64");
  EXPECT_EQ(walker.read("entry[9].ecmpBlockPtrHandle.hwEntryIndex").text().str(), "64");
  EXPECT_EQ(walker.read("entry[9].neededEntryHandle[3].hwEntryIndex").text().str(), "64");
}

TEST_F(WiringTest, AModeThatIsSetByNameIsAnnouncedWhenItChanges) {
  class Watch final : public Vek::NotifieeConst {
   public:
    explicit Watch(Vek::PtrInterface const& handle) {
      notifierIs(&handle);
      isRegisteredNotifieeIs(true);
      hasNotificationActiveIs(true);
    }
    void onAttribute(Vek::AttributeId attribute, void const*) override {
      if (attribute == L3EcmpGroupTable::EntryHandle::modeAttribute) ++changes;
    }
    int changes = 0;
  };
  Tables tables;
  auto const handle = tables.chain.groups.table->entryHandle(ChainTests::Groups::key(7));
  Vek::Ptr<Watch> const watch = new Watch(*handle);
  Walker const walker(handle);
  walker.set("mode", "del");
  EXPECT_EQ(watch->changes, 1);
  EXPECT_EQ(handle->mode(), L3EcmpGroupTable::EntryHandle::del);
  walker.set("mode", "del");
  EXPECT_EQ(watch->changes, 1);
}

TEST_F(WiringTest, AnEmptyReferenceIsOneToItsClass) {
  Tables tables;
  Walker const walker(tables.chain.groups.table);
  Value const noTable = Value::object(Vek::VekTypeOf<OrviaAsicUtils::SwTable>::type, nullptr);
  EXPECT_THROW(walker.set("hwTable", noTable), Vek::ReflectionException);
  EXPECT_TRUE(tables.chain.groups.table->hwTable());
  walker.set("hwTable", Value::object(Vek::VekTypeOf<Asic::HwTable>::type, nullptr));
  EXPECT_FALSE(tables.chain.groups.table->hwTable());
}

}  // namespace
}  // namespace ReflectionTests
