// The record of an ingress next-hop row.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "LiveObjects.h"
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "TestHandle.h"

namespace TableTests {
namespace {

using Entry = OrviaL3Unicast::IngL3NextHop1Table::Entry;
using Needed = Vek::Ptr<Asic::SwTable::EntryHandle const>;

// Every stored field has a value of its own.
Entry full(Needed const& l3Oif1Handle = {}, Needed const& mtuProfilePtrHandle = {}) {
  return Entry(1, 2, 3, 4, 5, 6, 7, l3Oif1Handle, 1, 8, mtuProfilePtrHandle, 9, 10, 2);
}

class RecordTest : public LiveObjectsTest {};

TEST_F(RecordTest, StartsWithZerosAndNoHandles) {
  Entry const entry;
  EXPECT_EQ(entry.destination(), 0U);
  EXPECT_EQ(entry.dvp(), 0U);
  EXPECT_EQ(entry.dvpL3Oif1(), 0);
  EXPECT_EQ(entry.dvpMtuProfilePtr(), 0);
  EXPECT_EQ(entry.forwardingType(), 0);
  EXPECT_EQ(entry.l2McL3McL2OifSysDstValid(), 0);
  EXPECT_EQ(entry.l3Oif1(), 0U);
  EXPECT_FALSE(entry.l3Oif1Handle());
  EXPECT_EQ(entry.l3OifType(), 0);
  EXPECT_EQ(entry.mtuProfilePtr(), 0U);
  EXPECT_FALSE(entry.mtuProfilePtrHandle());
  EXPECT_EQ(entry.strengthProfileIdx(), 0);
  EXPECT_EQ(entry.systemOpcode(), 0);
  EXPECT_EQ(entry.viewType(), 0);
  EXPECT_TRUE(entry.neededEntryHandle().empty());
}

TEST_F(RecordTest, TakesItsFieldsInOrder) {
  auto const oif = TestHandle::programmed(0x1234);
  auto const mtu = TestHandle::programmed(0x56789);
  Entry const entry = full(oif, mtu);
  EXPECT_EQ(entry.destination(), 1U);
  EXPECT_EQ(entry.dvp(), 2U);
  EXPECT_EQ(entry.dvpL3Oif1(), 3);
  EXPECT_EQ(entry.dvpMtuProfilePtr(), 4);
  EXPECT_EQ(entry.forwardingType(), 5);
  EXPECT_EQ(entry.l2McL3McL2OifSysDstValid(), 6);
  EXPECT_EQ(entry.l3Oif1(), 0x1234U);
  EXPECT_EQ(entry.l3Oif1Handle(), oif);
  EXPECT_EQ(entry.l3OifType(), 1);
  EXPECT_EQ(entry.mtuProfilePtr(), 0x6789U);  // the low 16 bits
  EXPECT_EQ(entry.mtuProfilePtrHandle(), mtu);
  EXPECT_EQ(entry.strengthProfileIdx(), 9);
  EXPECT_EQ(entry.systemOpcode(), 10);
  EXPECT_EQ(entry.viewType(), 2);
  EXPECT_EQ(entry.neededEntryHandleCount(), 2U);
  EXPECT_EQ(entry.neededEntryHandle(9), oif);
  EXPECT_EQ(entry.neededEntryHandle(12), mtu);
}

TEST_F(RecordTest, IgnoresThePlainRowsThatItIsConstructedWith) {
  Entry const entry(0, 0, 0, 0, 0, 0, 5, nullptr, 0, 6, nullptr, 0, 0, 0);
  EXPECT_EQ(entry.l3Oif1(), 0U);
  EXPECT_EQ(entry.mtuProfilePtr(), 0U);
  EXPECT_FALSE(entry.neededEntryHandle(9));
  EXPECT_TRUE(entry.neededEntryHandle().empty());
  EXPECT_TRUE(entry == Entry());
  EXPECT_TRUE(entry == Entry(0, 0, 0, 0, 0, 0, 5, nullptr, 0, 7, nullptr, 0, 0, 0));
}

TEST_F(RecordTest, DerivedFieldsFollowTheHandles) {
  auto const oif = TestHandle::programmed(0x1234);
  Entry entry;
  entry.l3Oif1HandleIs(oif);
  EXPECT_EQ(entry.l3Oif1(), 0x1234U);
  oif->hwEntryIndexIs(0x4321);
  EXPECT_EQ(entry.l3Oif1(), 0x4321U);
  oif->hwEntryIndexIs(Asic::Index::invalidIndex());
  EXPECT_EQ(entry.l3Oif1(), 0xFFFFU);
  entry.mtuProfilePtrHandleIs(TestHandle::waiting());
  EXPECT_EQ(entry.mtuProfilePtr(), 0xFFFFU);
}

TEST_F(RecordTest, AnEmptyHandleRemovesItsSlot) {
  auto const handle = TestHandle::waiting();
  auto const other = TestHandle::waiting();
  Entry entry;
  entry.neededEntryHandleIs(9, nullptr);
  EXPECT_EQ(entry.neededEntryHandleCount(), 0U);
  entry.neededEntryHandleIs(9, handle);
  entry.neededEntryHandleIs(9, handle);
  EXPECT_EQ(entry.neededEntryHandleCount(), 1U);
  EXPECT_EQ(handle->references(), 2U);
  entry.neededEntryHandleIs(9, other);
  EXPECT_EQ(entry.l3Oif1Handle(), other);
  EXPECT_EQ(handle->references(), 1U);
  entry.neededEntryHandleIs(9, nullptr);
  EXPECT_EQ(entry.neededEntryHandleCount(), 0U);
  EXPECT_TRUE(entry == Entry());
  EXPECT_EQ(other->references(), 1U);
}

TEST_F(RecordTest, DeletesSlotsAndReturnsWhatWasThere) {
  auto const handle = TestHandle::waiting();
  Entry entry;
  EXPECT_FALSE(entry.neededEntryHandleDel(12));
  entry.mtuProfilePtrHandleIs(handle);
  entry.neededEntryHandleIs(-3, handle);  // any number is a slot
  EXPECT_EQ(entry.neededEntryHandle(-3), handle);
  EXPECT_EQ(entry.neededEntryHandleDel(12), handle);
  EXPECT_FALSE(entry.mtuProfilePtrHandle());
  entry.neededEntryHandleDelAll();
  EXPECT_TRUE(entry.neededEntryHandle().empty());
  EXPECT_EQ(handle->references(), 1U);
}

TEST_F(RecordTest, ACopySharesTheHandlesAndNothingElse) {
  auto const handle = TestHandle::waiting();
  Entry entry = full(handle);
  Entry copy(entry);
  EXPECT_TRUE(copy == entry);
  EXPECT_EQ(handle->references(), 3U);
  copy.destinationIs(99);
  copy.l3Oif1HandleIs(nullptr);
  EXPECT_EQ(entry.destination(), 1U);
  EXPECT_EQ(entry.l3Oif1Handle(), handle);
}

TEST_F(RecordTest, IteratesBySlotWhateverTheOrderOfInsertion) {
  auto const oif = TestHandle::waiting();
  auto const mtu = TestHandle::waiting();
  Entry forth;
  forth.l3Oif1HandleIs(oif);
  forth.mtuProfilePtrHandleIs(mtu);
  Entry back;
  back.mtuProfilePtrHandleIs(mtu);
  back.l3Oif1HandleIs(oif);
  std::vector<int> slots;
  for (auto const& [slot, handle] : back.neededEntryHandle()) slots.push_back(slot);
  EXPECT_EQ(slots, (std::vector<int>{9, 12}));
  EXPECT_TRUE(forth == back);
  EXPECT_FALSE(forth < back);
  EXPECT_FALSE(back < forth);
}

TEST_F(RecordTest, IsTrueExactlyWhenItDiffersFromADefaultOne) {
  EXPECT_FALSE(static_cast<bool>(Entry()));
  Entry viewed;
  viewed.viewTypeIs(1);
  EXPECT_TRUE(static_cast<bool>(viewed));
  Entry needing;
  needing.mtuProfilePtrHandleIs(TestHandle::waiting());
  EXPECT_TRUE(static_cast<bool>(needing));
  needing.mtuProfilePtrHandleIs(nullptr);
  EXPECT_FALSE(static_cast<bool>(needing));
}

// In the order of comparison: the first difference decides.
constexpr std::pair<char const*, void (*)(Entry&)> kRaise[] = {
    {"destination", [](Entry& e) { e.destinationIs(0xFFFF); }},
    {"dvp", [](Entry& e) { e.dvpIs(0xFFFF); }},
    {"dvpL3Oif1", [](Entry& e) { e.dvpL3Oif1Is(0x3FFF); }},
    {"dvpMtuProfilePtr", [](Entry& e) { e.dvpMtuProfilePtrIs(0x3FF); }},
    {"forwardingType", [](Entry& e) { e.forwardingTypeIs(15); }},
    {"l2McL3McL2OifSysDstValid", [](Entry& e) { e.l2McL3McL2OifSysDstValidIs(15); }},
    {"l3OifType", [](Entry& e) { e.l3OifTypeIs(1); }},
    {"strengthProfileIdx", [](Entry& e) { e.strengthProfileIdxIs(31); }},
    {"systemOpcode", [](Entry& e) { e.systemOpcodeIs(15); }},
    {"viewType", [](Entry& e) { e.viewTypeIs(3); }},
};

TEST_F(RecordTest, EveryStoredFieldTakesPartInEqualityAndTruth) {
  for (auto const& [name, raise] : kRaise) {
    SCOPED_TRACE(name);
    Entry entry;
    raise(entry);
    EXPECT_FALSE(entry == Entry());
    EXPECT_TRUE(static_cast<bool>(entry));
    Entry same;
    raise(same);
    EXPECT_TRUE(entry == same);
  }
}

TEST_F(RecordTest, TheFirstFieldThatDiffersDecidesTheOrder) {
  constexpr std::size_t count = std::size(kRaise);
  for (std::size_t i = 0; i < count; ++i) {
    SCOPED_TRACE(kRaise[i].first);
    Entry lower;
    for (std::size_t later = i + 1; later < count; ++later) kRaise[later].second(lower);
    Entry higher;
    kRaise[i].second(higher);
    EXPECT_TRUE(lower < higher);
    EXPECT_FALSE(higher < lower);
    EXPECT_FALSE(higher < higher);
  }
}

TEST_F(RecordTest, TheHandlesComeBeforeTheFields) {
  auto const handle = TestHandle::waiting();
  auto const other = TestHandle::waiting();
  Entry none;
  for (auto const& [name, raise] : kRaise) raise(none);
  Entry one;
  one.l3Oif1HandleIs(handle);
  EXPECT_TRUE(none < one);
  EXPECT_FALSE(one < none);
  Entry two = one;
  two.mtuProfilePtrHandleIs(handle);
  Entry oneHigher = one;
  oneHigher.destinationIs(9);
  EXPECT_TRUE(oneHigher < two);
  // The same number: the slot, then the address.
  Entry inLaterSlot;
  inLaterSlot.mtuProfilePtrHandleIs(handle);
  EXPECT_TRUE(oneHigher < inLaterSlot);
  EXPECT_FALSE(inLaterSlot < oneHigher);
  Entry otherHandle;
  otherHandle.l3Oif1HandleIs(other);
  EXPECT_EQ(one < otherHandle, std::less<>{}(static_cast<void const*>(handle.get()),
                                             static_cast<void const*>(other.get())));
  EXPECT_NE(one < otherHandle, otherHandle < one);
  EXPECT_FALSE(one == otherHandle);
}

TEST_F(RecordTest, DerivedFieldsTakeNoPartInComparison) {
  auto const handle = TestHandle::programmed(1);
  Entry const before = full(handle);
  handle->hwEntryIndexIs(2);
  EXPECT_TRUE(before == full(handle));
  EXPECT_FALSE(before < full(handle));
}

TEST_F(RecordTest, IsTrueOnRequestOnly) {
  static_assert(std::is_constructible_v<bool, Entry>);
  EXPECT_FALSE(static_cast<bool>(Entry(Entry())));
}

TEST_F(RecordTest, RefusesValuesThatDoNotFit) {
  EXPECT_THROW(Entry().viewTypeIs(4), Vek::RangeException);
  EXPECT_THROW(Entry().l3OifTypeIs(2), Vek::RangeException);
  EXPECT_THROW(Entry().strengthProfileIdxIs(32), Vek::RangeException);
  EXPECT_THROW(Entry().forwardingTypeIs(16), Vek::RangeException);
  EXPECT_THROW(Entry().dvpMtuProfilePtrIs(1024), Vek::RangeException);
  EXPECT_THROW(Entry().dvpL3Oif1Is(16384), Vek::RangeException);
}

TEST_F(RecordTest, AttributesAreNumberedFromTwoInTheOrderOfDeclaration) {
  std::vector<std::pair<std::uint32_t, std::string>> seen;
  std::apply([&](auto const&... row) { (seen.emplace_back(row.id.value(), row.name), ...); },
             Entry::attributes());
  EXPECT_EQ(seen,
            (std::vector<std::pair<std::uint32_t, std::string>>{{2, "neededEntryHandle"},
                                                                {3, "destination"},
                                                                {4, "dvp"},
                                                                {5, "dvpL3Oif1"},
                                                                {6, "dvpMtuProfilePtr"},
                                                                {7, "forwardingType"},
                                                                {8, "l2McL3McL2OifSysDstValid"},
                                                                {9, "l3Oif1"},
                                                                {10, "l3Oif1Handle"},
                                                                {11, "l3OifType"},
                                                                {12, "mtuProfilePtr"},
                                                                {13, "mtuProfilePtrHandle"},
                                                                {14, "strengthProfileIdx"},
                                                                {15, "systemOpcode"},
                                                                {16, "viewType"}}));
  EXPECT_EQ(Entry::l3Oif1Slot, 9);
  EXPECT_EQ(Entry::mtuProfilePtrSlot, 12);
}

}  // namespace
}  // namespace TableTests
