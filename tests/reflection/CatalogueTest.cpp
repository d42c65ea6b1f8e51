// What has to be registered, by owner: a missing registration fails here, and so does one under
// another owner or number.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "Vek/Reflect.h"

namespace {

using Vek::VekType;
using Names = std::set<std::string>;
using Numbers = std::map<std::string, std::uint32_t>;

VekType typeOf(std::string const& name) {
  VekType const type = Vek::vekTypeNamed(name);
  EXPECT_NE(type.module, nullptr) << "no type " << name;
  return type;
}
Names ownAttributes(std::string const& type) {
  Names names;
  Vek::VekTypeInfo const* const info = typeOf(type).info();
  if (info == nullptr || info->reflection == nullptr) return names;
  for (auto const& row : info->reflection->attributes) names.insert(row.name);
  return names;
}
Names ownOperations(std::string const& type) {
  Names names;
  Vek::VekTypeInfo const* const info = typeOf(type).info();
  if (info == nullptr || info->reflection == nullptr) return names;
  for (auto const& row : info->reflection->operations) names.insert(row.name);
  return names;
}
Numbers numbers(std::string const& type) {
  Numbers result;
  for (auto const& row : typeOf(type).info()->reflection->attributes) {
    result.emplace(row.name, row.id.value());
  }
  return result;
}
Names without(Names all, Names const& some) {
  for (std::string const& name : some) all.erase(name);
  return all;
}

std::string const home = "OrviaL3Unicast::";
std::vector<std::string> const entryTables{"IngL3NextHop1Table", "EcmpIngL3NextHop1Table",
                                           "L3EcmpGroupTable"};
std::vector<std::string> const allTables{"IngL3NextHop1Table", "EcmpIngL3NextHop1Table",
                                         "L3EcmpGroupTable", "L3EcmpMemberTable"};
bool ownsRows(std::string const& table) { return table != "IngL3NextHop1Table"; }

TEST(CatalogueTest, RecordsNumberTheirAttributesFromTwo) {
  Numbers const nextHop{{"neededEntryHandleCount", 1},
                        {"neededEntryHandle", 2},
                        {"destination", 3},
                        {"dvp", 4},
                        {"dvpL3Oif1", 5},
                        {"dvpMtuProfilePtr", 6},
                        {"forwardingType", 7},
                        {"l2McL3McL2OifSysDstValid", 8},
                        {"l3Oif1", 9},
                        {"l3Oif1Handle", 10},
                        {"l3OifType", 11},
                        {"mtuProfilePtr", 12},
                        {"mtuProfilePtrHandle", 13},
                        {"strengthProfileIdx", 14},
                        {"systemOpcode", 15},
                        {"viewType", 16}};
  EXPECT_EQ(numbers(home + "IngL3NextHop1Table::Entry"), nextHop);
  EXPECT_EQ(numbers(home + "EcmpIngL3NextHop1Table::Entry"), nextHop);
  EXPECT_EQ(numbers(home + "L3EcmpGroupTable::Entry"), (Numbers{{"neededEntryHandleCount", 1},
                                                                {"neededEntryHandle", 2},
                                                                {"ecmpBlockPtr", 3},
                                                                {"ecmpBlockPtrHandle", 4},
                                                                {"lbMode", 5},
                                                                {"numPaths", 6}}));
}

TEST(CatalogueTest, DerivedFieldsCanOnlyBeReadAndTheRestOfARecordWritten) {
  Names readOnly;
  for (std::string const& table : entryTables) {
    for (auto const& row : typeOf(home + table + "::Entry").info()->reflection->attributes) {
      if (!row.isWritable()) readOnly.insert(table + "." + row.name);
    }
  }
  EXPECT_EQ(readOnly,
            (Names{"IngL3NextHop1Table.l3Oif1", "IngL3NextHop1Table.mtuProfilePtr",
                   "IngL3NextHop1Table.neededEntryHandleCount", "EcmpIngL3NextHop1Table.l3Oif1",
                   "EcmpIngL3NextHop1Table.mtuProfilePtr",
                   "EcmpIngL3NextHop1Table.neededEntryHandleCount", "L3EcmpGroupTable.ecmpBlockPtr",
                   "L3EcmpGroupTable.neededEntryHandleCount"}));
}

TEST(CatalogueTest, HandlesHaveTheirNamesAndTheNumbersOfTheirAnnouncements) {
  for (std::string const& table : allTables) {
    std::string const handle = home + table + "::EntryHandle";
    EXPECT_EQ(numbers(handle), (Numbers{{"key", 3}, {"swTable", 4}, {"mode", 5}})) << table;
    EXPECT_EQ(ownOperations(handle), Names{"cleanup"}) << table;
    EXPECT_TRUE(Vek::findOperation(typeOf(handle), "cleanup")->endsObject);
    Vek::VekAttribute const* const mode = Vek::findAttribute(typeOf(handle), "mode");
    ASSERT_NE(mode, nullptr);
    EXPECT_EQ(mode->type.name(), handle + "::Mode");
    EXPECT_TRUE(mode->isWritable());
  }
  EXPECT_EQ(numbers("Asic::SwTable::EntryHandle"),
            (Numbers{{"hwEntryIndex", 1}, {"entryState", 2}}));
}

TEST(CatalogueTest, ReactorsAndParkedRecordsHaveTheirNames) {
  for (std::string const& table : entryTables) {
    SCOPED_TRACE(table);
    std::string const start = home + table + "::";
    EXPECT_EQ(ownAttributes(start + "PendingEntrySm"), (Names{"notifier", "key"}));
    EXPECT_EQ(ownOperations(start + "PendingEntrySm"), Names{"processEntryHandleCompletion"});
    EXPECT_EQ(ownAttributes(start + "UnresolvedEntry"),
              (Names{"key", "entry", "neededEntryHandleSm", "entryHandleProgramSuccessCount",
                     "neededEntryHandleCount"}));
    EXPECT_EQ(ownOperations(start + "UnresolvedEntry"),
              (Names{"initializeUnresolvedEntry", "handleEntryHandleProgramSuccessCount"}));
  }
  std::string const block = home + "L3EcmpMemberTable::UnresolvedEntryBlock";
  EXPECT_EQ(ownAttributes(block), (Names{"key", "neededEntryHandleSm", "neededEntryHandleCount",
                                         "entryHandleProgramSuccessCount"}));
  EXPECT_EQ(ownOperations(block),
            (Names{"initializeUnresolvedEntryBlock", "handleEntryHandleProgramSuccessCount"}));
  std::vector<std::string> watchers{block + "::NeededEntryHandleSm"};
  for (std::string const& table : entryTables) {
    watchers.push_back(home + table + "::UnresolvedEntry::NeededEntryHandleSm");
  }
  for (std::string const& watcher : watchers) {
    EXPECT_EQ(ownAttributes(watcher), (Names{"attributeId", "notifier"})) << watcher;
    EXPECT_EQ(ownOperations(watcher),
              (Names{"enclosingInit", "doEnclosingInit", "handleEntryProgramming"}))
        << watcher;
  }
  for (std::string const& table : entryTables) {
    Vek::VekAttribute const* const watching =
        Vek::findAttribute(typeOf(home + table + "::UnresolvedEntry"), "neededEntryHandleSm");
    EXPECT_STREQ(watching->keyType.name(), "Vek::AttributeId");
  }
}

TEST(CatalogueTest, TablesHaveTheirCollectionsAndOperations) {
  Names const operations{"entryWrite",        "entryCommit",       "entryRemove",
                         "entryDummyWrite",   "entryHandleAccess", "entryHandleExists",
                         "entryHandleMutate", "getEntry",          "lookupExistingEntry",
                         "handleEntry",       "syncEntries"};
  for (std::string const& table : entryTables) {
    Names expected{"entry", "entryHandle", "pendingEntrySm", "unresolvedEntry"};
    for (std::string const& collection : expected) {
      EXPECT_TRUE(Vek::findAttribute(typeOf(home + table), collection)->isCollection());
    }
    if (ownsRows(table)) {
      expected.insert({"firstFreeIndexAllocator", "rawEntryHandle", "writeResponseSm"});
    }
    if (table == "L3EcmpGroupTable") expected.insert({"minIndex", "maxIndex"});
    EXPECT_EQ(ownAttributes(home + table), expected) << table;
    EXPECT_EQ(ownOperations(home + table), operations) << table;
  }
  EXPECT_EQ(ownAttributes(home + "L3EcmpMemberTable"),
            (Names{"entryBlock", "unresolvedEntryBlock", "rawEntryHandle", "indexAllocator"}));
  EXPECT_EQ(ownOperations(home + "L3EcmpMemberTable"),
            (Names{"entryBlockWrite", "entryBlockRef", "entryDummyWrite", "entryHandleAccess",
                   "entryHandleExists", "handleEntryBlock", "syncEntries"}));
}

// In the order in which each class declares them, behind those of its bases. The tables share one
// numbering, in which the handles of the ingress table come first.
TEST(CatalogueTest, ClassesNumberTheirAttributesInTheOrderOfTheirDeclaration) {
  EXPECT_EQ(
      numbers(home + "IngL3NextHop1Table"),
      (Numbers{
          {"entryHandle", 19}, {"pendingEntrySm", 20}, {"unresolvedEntry", 21}, {"entry", 24}}));
  Numbers choosing{{"firstFreeIndexAllocator", 16},
                   {"writeResponseSm", 18},
                   {"pendingEntrySm", 20},
                   {"unresolvedEntry", 21},
                   {"rawEntryHandle", 22},
                   {"entryHandle", 23},
                   {"entry", 24}};
  EXPECT_EQ(numbers(home + "EcmpIngL3NextHop1Table"), choosing);
  choosing.insert({{"minIndex", 27}, {"maxIndex", 28}});
  EXPECT_EQ(numbers(home + "L3EcmpGroupTable"), choosing);
  EXPECT_EQ(numbers(home + "L3EcmpMemberTable"), (Numbers{{"indexAllocator", 17},
                                                          {"rawEntryHandle", 22},
                                                          {"unresolvedEntryBlock", 25},
                                                          {"entryBlock", 26}}));
  for (std::string const& table : entryTables) {
    SCOPED_TRACE(table);
    std::string const start = home + table + "::";
    EXPECT_EQ(numbers(start + "PendingEntrySm"), (Numbers{{"notifier", 1}, {"key", 2}}));
    EXPECT_EQ(numbers(start + "UnresolvedEntry"), (Numbers{{"key", 1},
                                                           {"entry", 2},
                                                           {"neededEntryHandleCount", 3},
                                                           {"entryHandleProgramSuccessCount", 4},
                                                           {"neededEntryHandleSm", 5}}));
    EXPECT_EQ(numbers(start + "UnresolvedEntry::NeededEntryHandleSm"),
              (Numbers{{"notifier", 1}, {"attributeId", 2}}));
  }
  std::string const members = home + "L3EcmpMemberTable::";
  EXPECT_EQ(numbers(members + "UnresolvedEntryBlock"),
            (Numbers{{"key", 1},
                     {"neededEntryHandleCount", 2},
                     {"entryHandleProgramSuccessCount", 3},
                     {"neededEntryHandleSm", 4}}));
  EXPECT_EQ(numbers(members + "UnresolvedEntryBlock::NeededEntryHandleSm"),
            (Numbers{{"notifier", 1}, {"attributeId", 2}}));
  EXPECT_EQ(numbers(members + "Entry"), (Numbers{{"nextHopEntryHandle", 1}, {"nextHopEntry", 2}}));
  EXPECT_EQ(numbers(members + "EntryBlock"),
            (Numbers{{"blockSize", 1}, {"entryInternal", 2}, {"entry", 3}}));
}

TEST(CatalogueTest, RowsStandInTheOrderOfTheirNumbers) {
  for (VekType const type : Vek::vekTypes()) {
    if (type.info()->reflection == nullptr) continue;
    auto const& rows = type.info()->reflection->attributes;
    EXPECT_TRUE(std::is_sorted(rows.begin(), rows.end(), [](auto const& a, auto const& b) {
      return a.id < b.id;
    })) << type.name();
  }
}

// What tables announce is what their attributes are numbered.
TEST(CatalogueTest, TablesAnnounceUnderTheNumbersOfTheirAttributes) {
  auto const check = [](std::string const& table,
                        std::map<std::string, Vek::AttributeId> announced) {
    Numbers const shown = numbers(home + table);
    for (auto const& [name, id] : announced) {
      ASSERT_TRUE(shown.contains(name)) << table << "." << name;
      EXPECT_EQ(shown.at(name), id.value()) << table << "." << name;
    }
  };
  using namespace OrviaL3Unicast;
  using Ingress = IngL3NextHop1Table::Attribute;
  check("IngL3NextHop1Table", {{"entryHandle", Ingress::entryHandle},
                               {"pendingEntrySm", Ingress::pendingEntrySm},
                               {"unresolvedEntry", Ingress::unresolvedEntry},
                               {"entry", Ingress::entry}});
  using Choosing = L3EcmpGroupTable::Attribute;
  for (char const* const table : {"EcmpIngL3NextHop1Table", "L3EcmpGroupTable"}) {
    check(table, {{"firstFreeIndexAllocator", Choosing::firstFreeIndexAllocator},
                  {"writeResponseSm", Choosing::writeResponseSm},
                  {"pendingEntrySm", Choosing::pendingEntrySm},
                  {"unresolvedEntry", Choosing::unresolvedEntry},
                  {"rawEntryHandle", Choosing::rawEntryHandle},
                  {"entryHandle", Choosing::entryHandle},
                  {"entry", Choosing::entry}});
  }
  using Members = L3EcmpMemberTable::Attribute;
  check("L3EcmpMemberTable", {{"indexAllocator", Members::indexAllocator},
                              {"rawEntryHandle", Members::rawEntryHandle},
                              {"unresolvedEntryBlock", Members::unresolvedEntryBlock},
                              {"entryBlock", Members::entryBlock}});
}

TEST(CatalogueTest, BasesAndUtilitiesHaveWhatAllTablesShare) {
  EXPECT_EQ(ownAttributes("Vek::Entity"), Names{"name"});
  EXPECT_EQ(numbers("OrviaAsicUtils::SwTable"),
            (Numbers{{"hwTable", 1}, {"hwTableReady", 2}, {"util", 3}, {"numEntries", 4}}));
  for (std::string const& table : allTables) {
    SCOPED_TRACE(table);
    for (char const* const name : {"hwTable", "util", "name", "hwTableReady", "numEntries"}) {
      EXPECT_NE(Vek::findAttribute(typeOf(home + table), name), nullptr) << name;
    }
    EXPECT_EQ(ownAttributes(home + table + "Util"), (Names{"minIndex", "maxIndex"}));
    EXPECT_EQ(ownOperations(home + table + "Util"),
              (Names{"hwTableEntryIndex", "hwTableEntryIs", "hwTableEntryDel", "hwTableEntryDelAll",
                     "syncEntries"}));
  }
  for (std::string const& table :
       without({allTables.begin(), allTables.end()}, {"IngL3NextHop1Table"})) {
    EXPECT_EQ(ownAttributes(home + table + "::Index"), Names{"value"}) << table;
  }
  EXPECT_EQ(ownAttributes(home + "L3EcmpMemberTable::EntryBlock"),
            (Names{"blockSize", "entryInternal", "entry"}));
  EXPECT_EQ(ownAttributes(home + "L3EcmpMemberTable::Entry"),
            (Names{"nextHopEntryHandle", "nextHopEntry"}));
}

TEST(CatalogueTest, OperationsNameTheirArgumentsAndTypes) {
  auto const argumentsOf = [](std::string const& type, char const* operation) {
    std::string text;
    Vek::VekOperation const* const row = Vek::findOperation(typeOf(type), operation);
    EXPECT_NE(row, nullptr) << type << "." << operation;
    for (auto const& argument : row->arguments()) {
      text += std::string(text.empty() ? "" : ", ") + argument.name + ": " + argument.type.name();
    }
    return text + " -> " + row->result.name();
  };
  std::string const groups = home + "L3EcmpGroupTable";
  EXPECT_EQ(argumentsOf(groups, "entryWrite"), "key: " + groups + "::Index, entry: " + groups +
                                                   "::Entry, autoRemove: Asic::AutoRemoveType -> " +
                                                   groups + "::EntryHandle");
  EXPECT_EQ(argumentsOf(groups, "syncEntries"), " -> ");
  EXPECT_EQ(argumentsOf(groups, "entryHandleExists"), "key: " + groups + "::Index -> bool");
  EXPECT_EQ(argumentsOf(home + "IngL3NextHop1Table", "getEntry"),
            "key: Asic::SwTable::EntryHandle -> " + home + "IngL3NextHop1Table::Entry");
  EXPECT_EQ(argumentsOf(groups + "Util", "hwTableEntryIs"),
            "hwTable: Asic::HwTable, where: Asic::Index, entry: " + groups + "::Entry -> ");
  EXPECT_EQ(argumentsOf("OrviaAsicUtils::SwTableUtil", "doNotifyReadResponse"),
            "keyPointer: Vek::VoidPtrConst, hwTable: Asic::HwTable, swTable: "
            "OrviaAsicUtils::SwTable -> ");
  // Those without arguments can be called, the others are described.
  for (VekType const type : Vek::vekTypes()) {
    if (type.info()->reflection == nullptr) continue;
    for (auto const& row : type.info()->reflection->operations) {
      EXPECT_EQ(row.call != nullptr, row.arguments().empty()) << type.name() << "." << row.name;
      for (auto const& argument : row.arguments()) EXPECT_NE(argument.type.info(), nullptr);
    }
  }
}

TEST(CatalogueTest, EveryClassAndTypeOfAnAttributeHasItsName) {
  Names expected{"Asic::AutoRemoveType",
                 "Asic::HwTable",
                 "Asic::SwTable::EntryHandle",
                 "Vek::AttributeId",
                 "Vek::String",
                 "Vek::VoidPtrConst",
                 "Asic::Index",
                 "Asic::BlockSize",
                 "Vek::U1",
                 "Vek::U14",
                 "Vek::U16",
                 "Vek::U32"};
  for (std::string const& table : allTables) {
    for (char const* const nested :
         {"", "::Entry", "::EntryHandle", "::EntryHandle::Mode", "Util", "UtilLoader"}) {
      expected.insert(home + table + nested);
    }
  }
  for (std::string const& table : entryTables) {
    for (char const* const nested :
         {"::PendingEntrySm", "::UnresolvedEntry", "::UnresolvedEntry::NeededEntryHandleSm"}) {
      expected.insert(home + table + nested);
    }
  }
  for (char const* const name :
       {"EcmpIngL3NextHop1Table::Index", "L3EcmpGroupTable::Index", "L3EcmpMemberTable::Index",
        "L3EcmpMemberTable::EntryBlock", "L3EcmpMemberTable::UnresolvedEntryBlock",
        "L3EcmpMemberTable::UnresolvedEntryBlock::NeededEntryHandleSm"}) {
    expected.insert(home + name);
  }
  for (std::string const& name : expected) EXPECT_STREQ(typeOf(name).name(), name.c_str());
}

// " set" or " delete" behind the name of each attribute of the type that offers it.
Names changeable(std::string const& type) {
  Names names;
  for (auto const& row : typeOf(type).info()->reflection->attributes) {
    if (row.isWritable()) names.insert(std::string(row.name) + " set");
    if (row.elementDelete != nullptr) names.insert(std::string(row.name) + " delete");
  }
  return names;
}

TEST(CatalogueTest, OffersTheChangesThatTheClassesDo) {
  EXPECT_EQ(changeable("OrviaAsicUtils::SwTable"),
            (Names{"hwTable set", "hwTableReady set", "util set", "numEntries set"}));
  EXPECT_EQ(changeable("Asic::SwTable::EntryHandle"),
            (Names{"hwEntryIndex set", "entryState set"}));
  for (char const* const name :
       {"Vek::Entity", "Vek::GenericIf", "Asic::Feature", "Asic::GenericIndexAllocator",
        "Asic::AnySizedBlockAllocator", "OrviaAsicUtils::WriteResponseSm", "Loader::Singleton"}) {
    EXPECT_EQ(changeable(name), Names()) << name;
  }
  Names const byKeyRow{"entry set",          "entry delete",
                       "entryHandle delete", "unresolvedEntry delete",
                       "pendingEntrySm set", "pendingEntrySm delete"};
  Names byOwnRow = byKeyRow;
  byOwnRow.insert({"entryHandle set", "rawEntryHandle set", "rawEntryHandle delete"});
  for (std::string const& table : entryTables) {
    SCOPED_TRACE(table);
    std::string const start = home + table;
    EXPECT_EQ(changeable(start), ownsRows(table) ? byOwnRow : byKeyRow);
    EXPECT_EQ(changeable(start + "::EntryHandle"), Names{"mode set"});
    EXPECT_EQ(changeable(start + "::PendingEntrySm"), Names{"notifier set"});
    EXPECT_EQ(changeable(start + "::UnresolvedEntry"),
              (Names{"neededEntryHandleSm delete", "entryHandleProgramSuccessCount set"}));
    EXPECT_EQ(changeable(start + "::UnresolvedEntry::NeededEntryHandleSm"), Names{"notifier set"});
    EXPECT_EQ(changeable(start + "Util"), Names());
  }
  std::string const members = home + "L3EcmpMemberTable";
  EXPECT_EQ(changeable(members),
            (Names{"entryBlock set", "entryBlock delete", "unresolvedEntryBlock delete",
                   "rawEntryHandle set", "rawEntryHandle delete"}));
  EXPECT_EQ(changeable(members + "::EntryHandle"), Names{"mode set"});
  EXPECT_EQ(changeable(members + "::UnresolvedEntryBlock"),
            (Names{"neededEntryHandleSm delete", "entryHandleProgramSuccessCount set"}));
  EXPECT_EQ(changeable(members + "::UnresolvedEntryBlock::NeededEntryHandleSm"),
            Names{"notifier set"});
  EXPECT_EQ(changeable(members + "::Entry"), Names{"nextHopEntryHandle set"});
  EXPECT_EQ(changeable(members + "::EntryBlock"),
            (Names{"entryInternal set", "entryInternal delete", "entry set", "entry delete"}));
  EXPECT_EQ(changeable(members + "::Index"), Names{"value set"});
}

// The reactors of a table are the only elements that are set from something else than an element.
TEST(CatalogueTest, SaysWhatAnElementIsMadeFrom) {
  Names made;
  for (VekType const type : Vek::vekTypes()) {
    for (auto const& owned : Vek::attributesOf(type)) {
      Vek::VekAttribute const& row = *owned.attribute;
      if (row.madeFrom.module == nullptr) {
        EXPECT_EQ(row.writtenType(), row.type);
        continue;
      }
      made.insert(std::string(type.name()) + "." + row.name);
      EXPECT_EQ(row.writtenType(), row.madeFrom);
      EXPECT_EQ(row.madeFrom.name(), std::string(type.name()) + "::EntryHandle");
      EXPECT_EQ(row.type.name(), std::string(type.name()) + "::PendingEntrySm");
    }
  }
  Names expected;
  for (std::string const& table : entryTables) expected.insert(home + table + ".pendingEntrySm");
  EXPECT_EQ(made, expected);
}

// What a catalogue says of an attribute: everything can be read, and collections be gone over.
TEST(CatalogueTest, SaysWhatCanBeDoneWithAnAttribute) {
  for (VekType const type : Vek::vekTypes()) {
    if (type.info()->reflection == nullptr) continue;
    for (auto const& row : type.info()->reflection->attributes) {
      SCOPED_TRACE(std::string(type.name()) + "." + row.name);
      EXPECT_TRUE(row.isReadable());
      EXPECT_EQ(row.isIterable(), row.isCollection());
      EXPECT_EQ(row.count != nullptr, row.isCollection());
      EXPECT_EQ(row.isDeletable(), row.elementDelete != nullptr);
    }
  }
  EXPECT_FALSE(Vek::VekAttribute().isReadable());
  EXPECT_FALSE(Vek::VekAttribute().isIterable());
  EXPECT_FALSE(Vek::VekAttribute().isWritable());
  EXPECT_FALSE(Vek::VekAttribute().isDeletable());
}

TEST(CatalogueTest, NamesAndNumbersAreUsedOnceInATypeAndItsBases) {
  std::set<std::string> types;
  for (VekType const type : Vek::vekTypes()) {
    EXPECT_TRUE(types.insert(type.name()).second) << "twice: " << type.name();
    std::set<std::string> names;
    std::set<std::uint32_t> ids;
    for (auto const& owned : Vek::attributesOf(type)) {
      EXPECT_TRUE(names.insert(owned.attribute->name).second)
          << type.name() << "." << owned.attribute->name;
      EXPECT_TRUE(ids.insert(owned.attribute->id.value()).second)
          << type.name() << "." << owned.attribute->name << " has a number of another";
      EXPECT_EQ(Vek::findAttribute(type, owned.attribute->name), owned.attribute);
      EXPECT_EQ(Vek::findAttribute(type, owned.attribute->id), owned.attribute);
      EXPECT_NE(owned.attribute->type.info(), nullptr);
      EXPECT_TRUE(type.isA(owned.owner));
    }
  }
}

// Which of them has which number, beside the classes whose numbers are the tables' own.
TEST(CatalogueTest, ValueTypesHaveTheNumbersBetweenTheClasses) {
  auto const numberOf = [](std::string const& name) { return typeOf(home + name).number; };
  EXPECT_EQ(numberOf("IngL3NextHop1Table::Entry"), 1);
  EXPECT_EQ(numberOf("IngL3NextHop1Table::EntryHandle::Mode"), 3);
  for (std::string const table : {"EcmpIngL3NextHop1Table", "L3EcmpGroupTable"}) {
    EXPECT_EQ(numberOf(table + "::Index"), 1);
    EXPECT_EQ(numberOf(table + "::Entry"), 2);
    EXPECT_EQ(numberOf(table + "::EntryHandle::Mode"), 6);
  }
  EXPECT_EQ(numberOf("L3EcmpMemberTable::Index"), 1);
  EXPECT_EQ(numberOf("L3EcmpMemberTable::Entry"), 2);
  EXPECT_EQ(numberOf("L3EcmpMemberTable::EntryBlock"), 3);
  EXPECT_EQ(numberOf("L3EcmpMemberTable::EntryHandle::Mode"), 5);
}

TEST(CatalogueTest, UnknownNamesFindNothing) {
  EXPECT_EQ(Vek::vekTypeNamed("Vek::Nothing"), VekType());
  EXPECT_EQ(Vek::findAttribute(typeOf("Vek::Entity"), "nothing"), nullptr);
  EXPECT_EQ(Vek::findAttribute(typeOf("Vek::Entity"), 99), nullptr);
  EXPECT_EQ(Vek::findOperation(typeOf("Vek::Entity"), "nothing"), nullptr);
  EXPECT_TRUE(Vek::attributesOf(VekType()).empty());
}

TEST(CatalogueTest, EveryModuleIsThereOnceThePlatformsFirst) {
  std::vector<std::string> names;
  for (Vek::VekModule const* module : Vek::reflectedModules()) names.emplace_back(module->name);
  ASSERT_GE(names.size(), 8U);
  EXPECT_EQ(std::vector<std::string>(names.begin(), names.begin() + 4),
            (std::vector<std::string>{"Vek", "Asic", "OrviaAsicUtils", "Loader"}));
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
}

}  // namespace
