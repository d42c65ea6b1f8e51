// Paths of names: what they reach, what they set, what they refuse and where they say it went
// wrong.
#include <gtest/gtest.h>

#include <string>

#include "AbortText.h"
#include "LiveObjects.h"
#include "ReflectionWorld.h"

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
            "at 'rawEntryHandle[" + key + "]': several keys of rawEntryHandle print '" + key +
                "': name an element by its position, [#1]");
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
            "at 'entry[7]': values of type OrviaL3Unicast::L3EcmpGroupTable::Entry cannot be read "
            "from text");
  Walker const members(tables.chain.members.table);
  EXPECT_THROW(members.set("entryBlock[#1]", "1"), Vek::ReflectionException);
}

TEST_F(WalkerTest, PassesOnWhatParsersAndSettersRaise) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  EXPECT_THROW(groups.set("numEntries", "many"), Vek::TextException);
  EXPECT_THROW(groups.set("entry[7].numPaths", "65536"), Vek::RangeException);
  EXPECT_EQ(groups.read("entry[7].numPaths").text(), "2");
  EXPECT_THROW(groups.set("hwTable", "0x10"), Vek::TextException);  // nobody knows such an object
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
  EXPECT_EQ(reading("entry[9].numPaths"), "at 'entry[9]': entry has no element '9'");
  EXPECT_EQ(reading("entry[{'value': 9}]"), "at 'entry[{'value': 9}]': there is nothing here");
  EXPECT_EQ(reading("entry[#3]"), "at 'entry[#3]': entry has fewer elements than 3");
  EXPECT_EQ(reading("entry"), "at 'entry': " + table + ".entry is a collection: name an element");
  EXPECT_EQ(reading("numEntries[1]"), "at 'numEntries[1]': numEntries is no collection");
  EXPECT_EQ(reading("numEntries.more"), "at 'numEntries.more': Vek::U32 has no attribute 'more'");
  EXPECT_EQ(reading("entry[a[7]]"), "at 'entry[a[7]]': entry has no element 'a[7]'");
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
  EXPECT_EQ(texts.at("minIndex"), "(at 'minIndex': the table has no utility to ask)");
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

TEST_F(WalkerTest, AnIteratorPassesOverWhatWentAndDoesNotMoveWhenItsElementGoes) {
  Tables const tables;
  auto& table = *tables.chain.groups.table;
  for (std::uint32_t n = 20; n < 23; ++n) table.entryIs(n, {});
  Value groups = valueOf(&table);
  Vek::AttributeIterator i(groups, Vek::attributeNamed(groups, "entry"));
  EXPECT_EQ(i.key().text(), "7");
  table.entryDel(20);
  table.entryDel(21);
  EXPECT_EQ((++i).key().text(), "22");
  table.entryDel(22);
  EXPECT_TRUE(i);
  EXPECT_EQ(i.key().text(), "22");
  EXPECT_TRUE(i.object().isNone());
  EXPECT_FALSE(++i);
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
            "nextHopEntry: the member has no handle");
}

TEST_F(WalkerTest, TheRegistryThatDoesNotOwnTakesHandlesOfItsTableAndKeyOnly) {
  Tables const tables;
  Walker const groups(tables.chain.groups.table);
  Value const seven = groups.read("rawEntryHandle[7]");
  EXPECT_EQ(refusalOf([&] { groups.set("rawEntryHandle[8]", seven); }),
            "at 'rawEntryHandle[8]': rawEntryHandle takes a handle of this table and key only");
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
  EXPECT_THROW(Walker(tables.chain.members.table).set("entryBlock[#1]", block),
               Vek::ReflectionException);
}

TEST_F(WalkerTest, HoldsWhatItWalks) {
  Walker const walker(OrviaL3Unicast::l3EcmpGroupTableFactory());
  EXPECT_EQ(walker.read("numEntries").text(), "0");
  EXPECT_THROW(Walker(nullptr), Vek::ReflectionException);
}

}  // namespace
}  // namespace ReflectionTests
