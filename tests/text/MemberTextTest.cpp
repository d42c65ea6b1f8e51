// A member of a block in text: the reference to its next hop's handle.
#include <sstream>

#include "LiveObjects.h"
#include "TestHandle.h"
#include "TextTables.h"
#include "Vek/TextReference.h"

namespace TextTests {
namespace {

using OrviaL3Unicast::EcmpIngL3NextHop1Table;
using OrviaL3Unicast::L3EcmpMemberTable;
using TableTests::TestHandle;
using Vek::String;
using Member = L3EcmpMemberTable::Entry;

class MemberTextTest : public TableTests::LiveObjectsTest {};

// Knows the handles that a table has under these keys, whichever are there at the time.
auto handlesOf(EcmpIngL3NextHop1Table const& table,
               std::vector<OrviaL3Unicast::L3EcmpNextHopKey> keys) {
  return [&table, keys = std::move(keys)](std::uintptr_t address) -> Vek::PtrInterface const* {
    for (auto const& key : keys) {
      auto const handle = table.entryHandleAccess(key);
      // The table's registration keeps up with the handle's life.
      if (reinterpret_cast<std::uintptr_t>(handle.get()) == address) return handle.get();
    }
    return nullptr;
  };
}

TEST_F(MemberTextTest, AMemberComesBackFromItsTextWhileItsHandleLives) {
  using Asic::AddressFamily;
  auto const table = EcmpIngL3NextHop1Table::EcmpIngL3NextHop1TableIs();
  OrviaL3Unicast::L3EcmpNextHopKey const one(0, AddressFamily::ipv4, 1);
  OrviaL3Unicast::L3EcmpNextHopKey const two(0, AddressFamily::ipv4, 2);
  TestHandle::Ptr const interface = TestHandle::waiting();
  EcmpIngL3NextHop1Table::Entry record;
  record.l3Oif1HandleIs(interface);
  auto first = table->entryRef(one, record);
  auto const second = table->entryRef(two, record);
  Vek::ObjectFinder const finder(handlesOf(*table, {one, two}));

  Member const member{Member::Handle(second)};
  EXPECT_EQ(Vek::strepToValue<Member>(valueToStrep(member)), member);
  String const text = valueToStrep(Member{Member::Handle(first)});
  {
    Member const read = Vek::strepToValue<Member>(text);
    EXPECT_EQ(read.nextHopEntryHandle(), first);
    EXPECT_EQ(first->references(), 2U);
  }
  EXPECT_EQ(first->references(), 1U);
  first = nullptr;
  EXPECT_EQ(thrown<Vek::TextException>([&] { (void)Vek::strepToValue<Member>(text); }),
            "no known object has address " + text.str() + " at position 0")
      << "the handle is gone";
}

TEST_F(MemberTextTest, AnEmptyMemberComesBackFromItsText) {
  EXPECT_EQ(valueToStrep(Member()), "0");
  Member member{Member::Handle(TestHandle::waiting())};
  Vek::strepToValue(valueToStrep(Member()), &member);
  EXPECT_EQ(member, Member());
  EXPECT_EQ(Vek::strepToValue<Member>("None"), Member());
}

TEST_F(MemberTextTest, TheIteratorIsLeftBehindTheReference) {
  TestHandle::Ptr const handle = TestHandle::waiting();
  Vek::ObjectFinder const finder([&](std::uintptr_t address) {
    return address == reinterpret_cast<std::uintptr_t>(handle.get()) ? handle.get() : nullptr;
  });
  String const text = valueToStrep(Member{Member::Handle(handle)}).str() + ", None";
  String::IteratorConst begin = text.begin();
  EXPECT_EQ(Member(begin, text.end()).nextHopEntryHandle(), handle);
  EXPECT_EQ(std::string(begin, text.end()), ", None");
}

TEST_F(MemberTextTest, AnAddressWithoutAFinderIsNoHandle) {
  TestHandle::Ptr const handle = TestHandle::waiting();
  String const text = valueToStrep(Member{Member::Handle(handle)});
  EXPECT_EQ(thrown<Vek::TextException>([&] { (void)Vek::strepToValue<Member>(text); }),
            "no known object has address " + text.str() + " at position 0");
  EXPECT_EQ(handle->references(), 1U);
}

TEST_F(MemberTextTest, ARangeErrorPassesAndNoReferenceIsLeft) {
  TestHandle::Ptr const handle = TestHandle::waiting();
  Member member{Member::Handle(handle)};
  EXPECT_EQ(thrown<Vek::RangeException>([&] { Vek::strepToValue("0x123456789abcdef01", &member); }),
            "value 123456789abcdef01 does not fit an address at position 2");
  EXPECT_EQ(member.nextHopEntryHandle(), handle);
  EXPECT_EQ(handle->references(), 2U);
}

// A finder that looks into a block may raise the framework's range error itself.
TEST_F(MemberTextTest, ARangeErrorOfAFinderPassesAsItIs) {
  Vek::ObjectFinder const finder([](std::uintptr_t) -> Vek::PtrInterface const* {
    throw Vek::RangeException("index must be smaller than blockSize");
  });
  EXPECT_EQ(thrown<Vek::RangeException>([] { (void)Vek::strepToValue<Member>("0x10"); }),
            "index must be smaller than blockSize");
}

}  // namespace
}  // namespace TextTests
