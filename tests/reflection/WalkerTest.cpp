// Paths of names: what they reach, what they set, what they refuse and where they say it went
// wrong.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "AbortText.h"
#include "LiveObjects.h"
#include "ReflectionWorld.h"
#include "Vek/TextReference.h"

namespace ReflectionTests {
namespace {

using Vek::Walker;

class WalkerTest : public TableTests::LiveObjectsTest {};

// The text with which an act is refused.
template <class Refusal = Vek::ReflectionException, class Act>
std::string refusalOf(Act const& act) {
  try {
    act();
  } catch (Refusal const& refused) {
    return refused.what();
  }
  ADD_FAILURE() << "it was not refused";
  return "";
}

TEST_F(WalkerTest, ReadsThroughObjectsAndValues) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  EXPECT_EQ(groups.read("numEntries").text(), "16");
  EXPECT_EQ(groups.read("entry[#1].numPaths").text(), "2");
  EXPECT_EQ(groups.read("entryHandle[#1].entryState").text(), "1");
  EXPECT_EQ(groups.read("entryHandle[#1].key.value").text(), "7");
  EXPECT_EQ(groups.read("entry[#1].neededEntryHandle[3].hwEntryIndex").text(), "0");
  EXPECT_EQ(groups.read("entry[#1].ecmpBlockPtrHandle.key.entry[#2].nextHopEntry").text(), "1");
  EXPECT_EQ(groups.read("unresolvedEntry[8].entry.numPaths").text(), "4");
  EXPECT_EQ(groups.read("").object(), tables.chain.groups.table.get());
  EXPECT_EQ(groups.read("entryHandle[#1].swTable").object(), tables.chain.groups.table.get());
}

TEST_F(WalkerTest, FindsAnElementByItsKeysTextByWhatItPrintsAndByPosition) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  Value const handle = groups.read("entryHandle[{'value': 7}]");
  EXPECT_EQ(groups.read("entryHandle[ { 'value' : 7 } ]"), handle);
  EXPECT_EQ(groups.read("entryHandle[7]"), handle);
  EXPECT_EQ(groups.read("entryHandle[#1]"), handle);
  EXPECT_FALSE(groups.read("entryHandle[#2]") == handle);
  // A key without any text form.
  Walker const hops(tables.chain.hops.table);
  EXPECT_EQ(hops.read("entry[vrf 0 inet dev 1].destination").text(), "7");
  // A key that is an object.
  Walker const ingress(tables.ingress.table);
  std::string key;
  ingress.walk("entry", [&](Value const& present, Value const&) {
    key = present.text();
    return false;
  });
  EXPECT_EQ(ingress.read("entry[" + key + "].destination").text(), "1");
}

TEST_F(WalkerTest, KeysThatPrintAlikeAreNamedByPosition) {
  Tables const tables;
  Walker const members(tables.chain.members.table);
  auto const lines = members.list("rawEntryHandle");
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].name, "[#1]");
  EXPECT_EQ(lines[1].name, "[#2]");
  std::string const key = members.read("rawEntryHandle[#1].key").text();
  EXPECT_EQ(refusalOf([&] { static_cast<void>(members.read("rawEntryHandle[" + key + "]")); }),
            "at 'rawEntryHandle[" + key +
                "]': several keys of "
                "OrviaL3Unicast::L3EcmpMemberTable.rawEntryHandle print '" +
                key + "': name an element by its position, [#1]");
  EXPECT_EQ(members.read("entryBlock[" + key + "].blockSize").text(), "2");  // only one is there
}

TEST_F(WalkerTest, SetsAttributesOfObjectsFromText) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  groups.set("numEntries", "32");
  EXPECT_EQ(tables.chain.groups.table->numEntries(), 32U);
  groups.set("hwTableReady", "false");
  EXPECT_FALSE(tables.chain.groups.table->hwTableReady());
  groups.set("entryHandle[7].mode", "del");
  EXPECT_EQ(groups.read("entryHandle[7].mode").text(), "del");
  groups.set("hwTable", "None");
  EXPECT_EQ(tables.chain.groups.table->hwTable(), nullptr);
}

TEST_F(WalkerTest, WritesAChangedValueBackIntoTheTableAndSoToTheHardware) {
  Tables tables;
  tables.chain.journal.take();
  Walker const groups(tables.chain.groups.table);
  groups.set("entry[7].numPaths", "9");
  EXPECT_EQ(tables.chain.groups.table->entry(7).numPaths(), 9U);
  EXPECT_EQ(tables.chain.journal.take(), (ChainTests::Lines{"group write 1 0/9"}));
  groups.set("entry[7].neededEntryHandle[3]", "None");
  EXPECT_EQ(tables.chain.groups.table->entry(7).neededEntryHandleCount(), 0U);
  groups.del("entry[7]");
  EXPECT_FALSE(tables.chain.groups.table->entryExists(7));
}

TEST_F(WalkerTest, WhatCannotBeWrittenBackRefusesBeforeAnythingChanges) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  EXPECT_EQ(
      refusalOf<Vek::ReadOnlyException>(
          [&] { groups.set("unresolvedEntry[8].entry.numPaths", "9"); }),
      "at 'unresolvedEntry[8].entry': OrviaL3Unicast::L3EcmpGroupTable::UnresolvedEntry.entry "
      "can only be read");
  EXPECT_EQ(groups.read("unresolvedEntry[8].entry.numPaths").text(), "4");
  EXPECT_EQ(refusalOf<Vek::ReadOnlyException>([&] { groups.set("entry[7].ecmpBlockPtr", "9"); }),
            "at 'entry[7].ecmpBlockPtr': OrviaL3Unicast::L3EcmpGroupTable::Entry.ecmpBlockPtr can "
            "only be read");
}

TEST_F(WalkerTest, RefusesTypesWithoutTextBeforeItTries) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  EXPECT_EQ(refusalOf([&] { groups.set("entry[7]", "1"); }),
            "at 'entry[7]': OrviaL3Unicast::L3EcmpGroupTable.entry: values of type "
            "OrviaL3Unicast::L3EcmpGroupTable::Entry cannot be read from text");
  Walker const members(tables.chain.members.table);
  EXPECT_THROW(members.set("entryBlock[#1]", "1"), Vek::ReflectionException);
}

// Like any value of another type: with what the parser says, and where in the text.
TEST_F(WalkerTest, ATextThatIsNoValueIsRefusedByTypeAndAttribute) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  auto const setting = [&](std::string const& path, std::string const& text) {
    return refusalOf([&] { groups.set(path, text); });
  };
  std::string const table = "OrviaL3Unicast::L3EcmpGroupTable";
  EXPECT_EQ(
      setting("numEntries", "many"),
      "at 'numEntries': " + table + ".numEntries: expected a number but found 'm' at position 0");
  EXPECT_EQ(setting("numEntries", "12 monkeys"),
            "at 'numEntries': " + table + ".numEntries: text left over at position 3");
  EXPECT_EQ(setting("hwTableReady", "maybe"),
            "at 'hwTableReady': " + table +
                ".hwTableReady: expected true or false but found 'maybe' at position 0");
  EXPECT_EQ(setting("entry[7].numPaths", "65536"),
            "at 'entry[7].numPaths': " + table +
                "::Entry.numPaths: value 65536 does not fit U16 at position 0");
  EXPECT_EQ(setting("entryHandle[7].mode", " gone"),
            "at 'entryHandle[7].mode': " + table + "::EntryHandle.mode: " + table +
                "::EntryHandle::Mode has no value 'gone' at position 1");
  // Nobody knows such an object.
  EXPECT_EQ(setting("hwTable", "0x10"), "at 'hwTable': " + table +
                                            ".hwTable: no known object has address 0x10 at "
                                            "position 0");
  EXPECT_EQ(setting("entry[7].neededEntryHandle[3]", "7"),
            "at 'entry[7].neededEntryHandle[3]': " + table +
                "::Entry.neededEntryHandle: expected an address but found '7' at position 0");
  EXPECT_EQ(groups.read("numEntries").text(), "16");
  EXPECT_EQ(groups.read("entry[7].numPaths").text(), "2");
  EXPECT_EQ(groups.read("entryHandle[7].mode").text(), "add");
  EXPECT_TRUE(tables.chain.groups.table->hwTableReady());
}

// A setter's own refusal is what its C++ callers know.
TEST_F(WalkerTest, PassesOnWhatSettersRaise) {
  Tables const tables;
  Walker const members(tables.chain.members.table);
  Value const member = members.read("entryBlock[#1].entry[#1]");
  EXPECT_EQ(refusalOf<Vek::RangeException>(
                [&] { members.set("entryBlock[#1].entry[{'value': 5}]", member); }),
            "index must be smaller than blockSize");
}

TEST_F(WalkerTest, AWholeCollectionCannotBeSet) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  std::string const refusal =
      "at 'entry': OrviaL3Unicast::L3EcmpGroupTable.entry is a collection: name an element";
  EXPECT_EQ(refusalOf<Vek::ReadOnlyException>([&] { groups.set("entry", "7"); }), refusal);
  EXPECT_EQ(refusalOf<Vek::ReadOnlyException>([&] { groups.set("entry", Value()); }), refusal);
}

TEST_F(WalkerTest, ReplacesAnElementByAnotherAndTheHardwareFollows) {
  Tables tables;
  Walker const groups(tables.chain.groups.table);
  tables.chain.journal.take();
  ChainTests::Groups::Entry const other(0, tables.interface, 3, 5);
  groups.set("entry[7]", Value(groups.read("entry[7]").type(), &other));
  EXPECT_EQ(tables.chain.groups.table->entry(7), other);
  EXPECT_EQ(tables.chain.journal.take(), (ChainTests::Lines{"group write 1 40/5"}));
  auto const instead = ChainTests::programmedHandle(41);
  groups.set("entry[#1].neededEntryHandle[#1]", valueOf(instead.get()));
  EXPECT_EQ(tables.chain.groups.table->entry(7).ecmpBlockPtrHandle(), instead);
  EXPECT_EQ(tables.chain.journal.take(), (ChainTests::Lines{"group write 1 41/5"}));
}

// Slots are whole numbers, keys of the collection are numbers of 32 bits: -1 is the greatest.
TEST_F(WalkerTest, NamesNegativeSlotsByTheNumberOfTheirBits) {
  Tables const tables;
  auto& table = *tables.chain.groups.table;
  Walker const groups(&table);
  groups.set("entry[7].neededEntryHandle[4294967295]", valueOf(tables.interface.get()));
  groups.set("entry[7].neededEntryHandle[2147483648]", valueOf(tables.waiting.get()));
  EXPECT_EQ(table.entry(7).neededEntryHandle(-1), tables.interface);
  EXPECT_EQ(table.entry(7).neededEntryHandle(std::numeric_limits<int>::min()), tables.waiting);
  EXPECT_EQ(groups.read("entry[7].neededEntryHandle[4294967295]"), valueOf(tables.interface.get()));
  std::vector<std::string> slots;
  groups.walk("entry[7].neededEntryHandle", [&](Value const& slot, Value const&) {
    slots.push_back(slot.text());
    return true;
  });
  std::sort(slots.begin(), slots.end());
  EXPECT_EQ(slots, (std::vector<std::string>{"2147483648", "3", "4294967295"}));
  groups.del("entry[7].neededEntryHandle[4294967295]");
  groups.set("entry[7].neededEntryHandle[2147483648]", "None");
  EXPECT_EQ(table.entry(7).neededEntryHandleCount(), 1U);
  EXPECT_FALSE(table.entry(7).neededEntryHandle(-1));
  EXPECT_EQ(refusalOf([&] { groups.set("entry[7].neededEntryHandle[-1]", "None"); }),
            "at 'entry[7].neededEntryHandle[-1]': "
            "OrviaL3Unicast::L3EcmpGroupTable::Entry.neededEntryHandle has no element '-1'");
}

TEST_F(WalkerTest, AddsAPendingReactorForAHandle) {
  Tables tables;
  auto& table = *tables.chain.groups.table;
  Walker const groups(&table);
  tables.chain.groups.observe();
  Vek::Ptr<ChainTests::Groups::Table::EntryHandle> const seven = table.entryHandle(7);
  std::vector<int> answers;
  seven->writeResponseHandlerIs([&](auto state) { answers.push_back(state); });

  groups.del("pendingEntrySm[7]");
  EXPECT_FALSE(table.pendingEntrySm(7));
  tables.chain.journal.take();
  groups.set("pendingEntrySm[{'value': 7}]", valueOf(seven.get()));
  ASSERT_TRUE(table.pendingEntrySm(7));
  EXPECT_EQ(tables.chain.journal.take(), (ChainTests::Lines{"group announces pendingEntrySm 7"}));
  EXPECT_EQ(groups.read("pendingEntrySm[7].notifier"), valueOf(seven.get()));
  // A new one looks at its handle from the next change on.
  EXPECT_EQ(answers, std::vector<int>());
  seven->entryStateIs(ChainTests::refused);
  EXPECT_EQ(answers, std::vector<int>{2});

  // An existing one is re-targeted, without a word to the table's observers.
  auto const reactor = table.pendingEntrySm(7);
  Vek::Ptr<ChainTests::Groups::Table::EntryHandle> const eight = table.entryHandle(8);
  groups.set("pendingEntrySm[7]", valueOf(eight.get()));
  EXPECT_EQ(table.pendingEntrySm(7), reactor);
  EXPECT_EQ(reactor->notifier(), eight);
  EXPECT_EQ(tables.chain.journal.take(), ChainTests::Lines());
  groups.set("pendingEntrySm[7]", "None");
  EXPECT_FALSE(reactor->notifier());
  seven->writeResponseHandlerIs({});
}

TEST_F(WalkerTest, APendingReactorIsMadeFromAHandleOfItsTableOnly) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  std::string const start =
      "at 'pendingEntrySm[7]': OrviaL3Unicast::L3EcmpGroupTable.pendingEntrySm: the value must be "
      "of type OrviaL3Unicast::L3EcmpGroupTable::EntryHandle, not ";
  EXPECT_EQ(refusalOf([&] { groups.set("pendingEntrySm[7]", groups.read("pendingEntrySm[7]")); }),
            start + "OrviaL3Unicast::L3EcmpGroupTable::PendingEntrySm");
  EXPECT_EQ(refusalOf([&] { groups.set("pendingEntrySm[7]", valueOf(tables.interface.get())); }),
            start + "Asic::SwTable::EntryHandle");
}

// From text by its address, for whoever knows live handles.
TEST_F(WalkerTest, FindsTheHandleOfAPendingReactorByItsAddress) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  Value const eight = groups.read("entryHandle[8]");
  Vek::ObjectFinder const finder([&](std::uintptr_t address) {
    return reinterpret_cast<std::uintptr_t>(eight.object()) == address ? eight.object() : nullptr;
  });
  EXPECT_THROW(static_cast<void>(groups.read("pendingEntrySm[8]")), Vek::ReflectionException);
  groups.set("pendingEntrySm[{'value': 8}]", eight.text().str());
  EXPECT_EQ(groups.read("pendingEntrySm[8].notifier"), eight);
}

TEST_F(WalkerTest, ErrorsNameThePlaceInThePath) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  auto const reading = [&](std::string const& path) {
    return refusalOf([&] { static_cast<void>(groups.read(path)); });
  };
  std::string const table = "OrviaL3Unicast::L3EcmpGroupTable";
  EXPECT_EQ(reading("nothing"), "at 'nothing': " + table + " has no attribute 'nothing'");
  EXPECT_EQ(reading("entry[7].nothing"),
            "at 'entry[7].nothing': " + table + "::Entry has no attribute 'nothing'");
  EXPECT_EQ(reading("entry[9].numPaths"), "at 'entry[9]': " + table + ".entry has no element '9'");
  EXPECT_EQ(reading("entry[{'value': 9}]"), "at 'entry[{'value': 9}]': there is nothing here");
  EXPECT_EQ(reading("entry[#3]"), "at 'entry[#3]': " + table + ".entry has fewer elements than 3");
  EXPECT_EQ(reading("entry"), "at 'entry': " + table + ".entry is a collection: name an element");
  EXPECT_EQ(reading("numEntries[1]"),
            "at 'numEntries[1]': " + table + ".numEntries is no collection");
  EXPECT_EQ(reading("numEntries.more"), "at 'numEntries.more': Vek::U32 has no attribute 'more'");
  EXPECT_EQ(reading("entry[a[7]]"), "at 'entry[a[7]]': " + table + ".entry has no element 'a[7]'");
  EXPECT_EQ(reading("entry[7"), "at 'entry[7': a bracket is not closed");
  EXPECT_EQ(reading("entry[7]x"), "at 'entry[7]': expected a dot or the end behind it");
  EXPECT_EQ(reading("util..name"), "at 'util.': a name is missing");
  EXPECT_EQ(reading("util."), "at 'util.': a name is missing");
  tables.chain.groups.table->hwTableIs(nullptr);
  EXPECT_EQ(reading("hwTable.name"), "at 'hwTable': there is nothing here");
  EXPECT_EQ(groups.read("hwTable").text(), "None");
}

TEST_F(WalkerTest, RefusesAPathOfTooManySteps) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  std::string path = "entryHandle[7]";
  for (std::size_t steps = 1; steps + 1 < Walker::maximumSteps; steps += 2) {
    path += ".swTable.entryHandle[7]";
  }
  EXPECT_NO_THROW(static_cast<void>(groups.read(path)));
  EXPECT_THROW(static_cast<void>(groups.read(path + ".swTable.name")), Vek::ReflectionException);
}

TEST_F(WalkerTest, ListsAttributesWithTheirValues) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  std::map<std::string, Walker::Line> lines;
  for (Walker::Line const& line : groups.list("")) lines.emplace(line.name, line);
  EXPECT_EQ(lines.at("entry").text, "1 element");
  EXPECT_TRUE(lines.at("entry").isCollection);
  EXPECT_EQ(lines.at("entryHandle").text, "2 elements");
  EXPECT_EQ(lines.at("numEntries").text, "16");
  EXPECT_EQ(lines.at("numEntries").type, "Vek::U32");
  EXPECT_TRUE(lines.at("numEntries").isWritable);
  EXPECT_EQ(lines.at("maxIndex").text, "77");
  EXPECT_FALSE(lines.at("maxIndex").isWritable);
  EXPECT_EQ(lines.size(), groups.attributes("").size());
  auto const elements = groups.list("entryHandle");
  ASSERT_EQ(elements.size(), 2U);
  EXPECT_EQ(elements[0].name, "[7]");
  EXPECT_EQ(groups.list("entryHandle", 1).size(), 1U);
  EXPECT_EQ(groups.list("entry[7]").size(), 6U);
}

// What cannot be read is said in its line and does not end the listing.
TEST_F(WalkerTest, ListsWhatCannotBeReadWithTheReason) {
  Tables const tables;
  tables.chain.groups.table->utilIs(nullptr);
  std::map<std::string, std::string> texts;
  for (Walker::Line const& line : Walker(tables.chain.groups.table).list("")) {
    texts.emplace(line.name, line.text);
  }
  EXPECT_EQ(texts.at("minIndex"),
            "(at 'minIndex': OrviaL3Unicast::L3EcmpGroupTable.minIndex: the table has no utility "
            "to ask)");
  EXPECT_EQ(texts.at("util"), "None");
  tables.chain.groups.table->utilIs(tables.chain.groups.util);
}

TEST_F(WalkerTest, CountsAndWalksInTheOrderOfTheCollection) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  EXPECT_EQ(groups.count("entryHandle"), 2U);
  std::vector<std::string> keys;
  groups.walk("entryHandle", [&](Value const& key, Value const& element) {
    EXPECT_TRUE(element.isObject());
    keys.push_back(key.text());
    return true;
  });
  EXPECT_EQ(keys, (std::vector<std::string>{"7", "8"}));
  EXPECT_EQ(refusalOf([&] { static_cast<void>(groups.count("numEntries")); }),
            "at 'numEntries': OrviaL3Unicast::L3EcmpGroupTable.numEntries is no collection");
  EXPECT_THROW(groups.walk("numEntries", {}), Vek::ReflectionException);
}

TEST_F(WalkerTest, ListsAPartOfACollection) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  auto const namesFrom = [&](std::size_t first, std::size_t most) {
    std::vector<std::string> names;
    for (Walker::Line const& line : groups.list("entryHandle", most, first)) {
      names.push_back(line.name);
    }
    return names;
  };
  EXPECT_EQ(namesFrom(0, 1), (std::vector<std::string>{"[7]"}));
  EXPECT_EQ(namesFrom(1, 1), (std::vector<std::string>{"[8]"}));
  EXPECT_EQ(namesFrom(1, 5), (std::vector<std::string>{"[8]"}));
  EXPECT_TRUE(namesFrom(2, 5).empty());
  EXPECT_TRUE(namesFrom(0, 0).empty());
  // Positions are those in the whole collection.
  auto const second = Walker(tables.chain.members.table).list("rawEntryHandle", 2, 0);
  EXPECT_EQ(second[1].name, "[#2]");
}

TEST_F(WalkerTest, ComparesNoKeysWithATextInACollectionOfMoreThanItMay) {
  Tables const tables;
  Walker const one(tables.chain.groups.table, 1);
  EXPECT_EQ(one.read("entryHandle[{'value': 7}].key.value").text(), "7");
  EXPECT_EQ(one.read("entryHandle[#2].key.value").text(), "8");
  EXPECT_EQ(
      refusalOf([&] { static_cast<void>(one.read("entryHandle[no key]")); }),
      "at 'entryHandle[no key]': OrviaL3Unicast::L3EcmpGroupTable.entryHandle has 2 elements, "
      "and none has 'no key' as its key as it is read: name one by its position, [#1]");
  Walker const two(tables.chain.groups.table, 2);
  EXPECT_EQ(refusalOf([&] { static_cast<void>(two.read("entryHandle[no key]")); }),
            "at 'entryHandle[no key]': OrviaL3Unicast::L3EcmpGroupTable.entryHandle has no element "
            "'no key'");
}

TEST_F(WalkerTest, AWalkToleratesThatElementsGoAndCome) {
  ChainTests::World world;
  auto const handle = ChainTests::programmedHandle(5);
  using ChainTests::Groups;
  auto& table = *world.groups.table;
  world.groups.answerAtOnce();
  for (std::uint32_t n = 1; n <= 4; ++n) {
    table.entryCommit(Groups::key(n), Groups::entry(handle, static_cast<std::uint16_t>(n)));
  }
  std::vector<std::string> keys;
  Walker(&table).walk("entry", [&](Value const& key, Value const&) {
    keys.push_back(key.text());
    if (keys.size() == 1) {
      table.entryRemove(1);
      table.entryRemove(2);
      table.entryCommit(Groups::key(9), Groups::entry(handle, 9));
    }
    return true;
  });
  EXPECT_EQ(keys, (std::vector<std::string>{"1", "3", "4"}));
  EXPECT_EQ(table.entrys(), 3U);
}

TEST_F(WalkerTest, CallsOperationsWithoutArguments) {
  ChainTests::World world;
  Walker const groups(world.groups.table);
  world.journal.take();
  EXPECT_EQ(groups.call("responseNeeded"), Value::of(true));
  EXPECT_TRUE(groups.call("syncEntries").isNone());
  EXPECT_EQ(world.journal.take(), (ChainTests::Lines{"group delete all"}));
  EXPECT_EQ(refusalOf([&] { groups.call("entryRemove"); }),
            "at 'entryRemove': OrviaL3Unicast::L3EcmpGroupTable.entryRemove takes arguments");
  EXPECT_EQ(refusalOf([&] { groups.call("nothing"); }),
            "at 'nothing': OrviaL3Unicast::L3EcmpGroupTable has no operation 'nothing'");
  EXPECT_THROW(groups.call(""), Vek::ReflectionException);
}

TEST_F(WalkerTest, WatchersCountWhenTheirStepIsCalled) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  groups.call("unresolvedEntry[8].neededEntryHandleSm[3].handleEntryProgramming");
  EXPECT_EQ(groups.read("unresolvedEntry[8].entryHandleProgramSuccessCount").text(), "0");
  groups.set("unresolvedEntry[8].entryHandleProgramSuccessCount", "1");
  // The step that the setter ran: the record is no longer parked.
  EXPECT_FALSE(tables.chain.groups.table->unresolvedEntry(8));
  EXPECT_TRUE(tables.chain.groups.table->entryExists(8));
}

TEST_F(WalkerTest, OffersNoOperationThatEndsItsObjectUnlessAskedTo) {
  Tables const tables;
  Walker const ingress(tables.ingress.table);
  EXPECT_EQ(refusalOf([&] { ingress.call("entryHandle[#1].cleanup"); }),
            "at 'entryHandle[#1].cleanup': OrviaL3Unicast::IngL3NextHop1Table::EntryHandle.cleanup "
            "ends its object and is not offered here");
  EXPECT_EQ(tables.ingress.table->entrys(), 1U);
  ingress.call("entryHandle[#1].cleanup", true);
  EXPECT_EQ(tables.ingress.table->entrys(), 0U);
  EXPECT_EQ(tables.ingress.table->entryHandles(), 2U);
}

// The handle's own end looks for the registration that the operation took.
TEST(WalkerDeathTest, AHandleThatWasCleanedUpByNameAbortsAtItsEndWhereHandlesAreRegistered) {
  EXPECT_EXIT(
      {
        Tables tables;
        Value handle = Walker(tables.chain.groups.table).read("entryHandle[7]");
        Vek::callOperation(handle, "cleanup");
        tables.handles.clear();
        handle = {};
        tables.chain.groups.table->entryHandleDel(7);
      },
      TableTests::abortsWith(), "expected to see rawEntryHandle");
}

TEST_F(WalkerTest, AMemberWithoutAHandleHasNoRowToRead) {
  Value member = Value::defaultOf(Vek::vekTypeNamed("OrviaL3Unicast::L3EcmpMemberTable::Entry"));
  VekAttribute const& row = Vek::attributeNamed(member, "nextHopEntry");
  EXPECT_EQ(refusalOf([&] { Vek::attributeOperation(member, row.id, AttributeOperation::read); }),
            "OrviaL3Unicast::L3EcmpMemberTable::Entry.nextHopEntry: the member has no handle");
}

TEST_F(WalkerTest, TheRegistryThatDoesNotOwnTakesHandlesOfItsTableAndKeyOnly) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  Value const seven = groups.read("rawEntryHandle[7]");
  EXPECT_EQ(refusalOf([&] { groups.set("rawEntryHandle[8]", seven); }),
            "at 'rawEntryHandle[8]': OrviaL3Unicast::L3EcmpGroupTable.rawEntryHandle: a handle of "
            "another table or key");
  groups.set("rawEntryHandle[7]", seven);
  EXPECT_EQ(groups.read("rawEntryHandle[7]"), seven);
}

TEST_F(WalkerTest, ABlockChecksPositionsWhereItDoesForCallers) {
  Tables const tables;
  Value block = Walker(tables.chain.members.table).read("entryBlock[#1]");
  VekAttribute const& checked = Vek::attributeNamed(block, "entry");
  VekAttribute const& raw = Vek::attributeNamed(block, "entryInternal");
  Vek::AttributeIterator const first(block, checked);
  Value const member = first.object();
  Value const five = Value::parsed(checked.keyType, "{'value': 5}");
  EXPECT_THROW(
      Vek::attributeOperation(block, checked.id, AttributeOperation::elementWrite, member, five),
      Vek::RangeException);
  Vek::attributeOperation(block, raw.id, AttributeOperation::elementWrite, member, five);
  EXPECT_EQ(Vek::attributeOperation(block, checked.id, AttributeOperation::count),
            Value::of(std::uint32_t{3}));
  EXPECT_EQ(
      refusalOf([&] { Walker(tables.chain.members.table).set("entryBlock[#1]", block); }),
      "at 'entryBlock[#1]': OrviaL3Unicast::L3EcmpMemberTable.entryBlock: a block is its own key");
}

TEST_F(WalkerTest, HoldsWhatItWalks) {
  Walker const walker(OrviaL3Unicast::l3EcmpGroupTableFactory());
  EXPECT_EQ(walker.read("numEntries").text(), "0");
  EXPECT_THROW(Walker(nullptr), Vek::ReflectionException);
}

}  // namespace
}  // namespace ReflectionTests
