// Every attribute that is registered, found in the registry: read, and written where it can be.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "LiveObjects.h"
#include "ReflectionWorld.h"

namespace ReflectionTests {
namespace {

class EveryAttributeTest : public TableTests::LiveObjectsTest {};

// Whether a value is of the type that its row promises.
bool isOf(VekType type, Value const& value) {
  if (type.valueOps() != nullptr) return !value.isObject() && value.type() == type;
  return value.isObject() && (value.object() == nullptr || value.objectType().isA(type));
}

// Another value than this one.
Value otherThan(VekType type, Value const& present, Tables const& tables) {
  if (type.valueOps() == nullptr) {
    return present.object() != nullptr ? Value::object(type, nullptr)
                                       : Value::object(type, tables.interface.get());
  }
  for (char const* const text : {"1", "0", "true", "false", "del", "add"}) {
    try {
      Value const value = Value::parsed(type, text);
      if (!(value == present)) return value;
    } catch (Vek::Exception const&) {
      continue;
    }
  }
  ADD_FAILURE() << "no other value of type " << type.name();
  return present;
}

// What the element can be set from: itself, or what it was made from, which it shows as one of its
// attributes.
Value sourceOf(VekAttribute const& collection, Value element) {
  if (collection.madeFrom.module == nullptr) return element;
  for (auto const& owned : Vek::attributesOf(element.objectType())) {
    if (!(owned.attribute->type == collection.madeFrom)) continue;
    return Vek::attributeOperation(element, owned.attribute->id, AttributeOperation::read);
  }
  ADD_FAILURE() << "nothing shows what it was made from";
  return {};
}

TEST_F(EveryAttributeTest, CanBeReadFromSomethingThatIsReached) {
  Tables const tables;
  Found const found(tables);
  std::size_t read = 0;
  forEachRegistered([&](VekType type, VekAttribute const& attribute) {
    SCOPED_TRACE(nameOf(type, attribute));
    Value owner = found.with(type, attribute);
    ASSERT_FALSE(owner.isNone()) << "nothing that is reached has it";
    ++read;
    if (!attribute.isCollection()) {
      Value const value = Vek::attributeOperation(owner, attribute.id, AttributeOperation::read);
      EXPECT_TRUE(isOf(attribute.type, value)) << value.type().name();
      if (owner.isObject()) {
        EXPECT_EQ(Vek::Walker(owner.object()).read(attribute.name), value);
      }
      return;
    }
    Value const count = Vek::attributeOperation(owner, attribute.id, AttributeOperation::count);
    std::uint32_t elements = 0;
    for (Vek::AttributeIterator i(owner, attribute); i; ++i) {
      ++elements;
      EXPECT_TRUE(isOf(attribute.keyType, i.key()));
      EXPECT_TRUE(isOf(attribute.type, i.object()));
      Value const element = Vek::attributeOperation(owner, attribute.id,
                                                    AttributeOperation::elementRead, {}, i.key());
      EXPECT_EQ(element, i.object());
      if (!owner.isObject()) continue;
      std::string const path = std::string(attribute.name) + "[#" + std::to_string(elements) + "]";
      EXPECT_EQ(Vek::Walker(owner.object()).read(path), element) << path;
    }
    EXPECT_EQ(count, Value::of(elements));
    EXPECT_GE(elements, 1U);
  });
  EXPECT_GE(read, 100U);
}

// A row of that table: its callers see the platform's row numbers instead.
TEST_F(EveryAttributeTest, IsReachedFromTheTablesButForOneValueType) {
  Tables const tables;
  EXPECT_EQ(Found(tables).notReached(),
            std::vector<std::string>{"OrviaL3Unicast::EcmpIngL3NextHop1Table::Index"});
}

TEST_F(EveryAttributeTest, IsWrittenAndReadBackOrRefusesByName) {
  std::size_t written = 0;
  forEachRegistered([&](VekType type, VekAttribute const& attribute) {
    if (attribute.isCollection()) return;
    SCOPED_TRACE(nameOf(type, attribute));
    // Anew each time: what a setter sets off may leave little as it was.
    Tables const tables;
    Found const found(tables);
    Value owner = found.with(type, attribute);
    ASSERT_FALSE(owner.isNone());
    Value const before = Vek::attributeOperation(owner, attribute.id, AttributeOperation::read);
    if (attribute.write == nullptr) {
      try {
        Vek::attributeOperation(owner, attribute.id, AttributeOperation::write, before);
        ADD_FAILURE() << "it was written";
      } catch (Vek::ReadOnlyException const& refused) {
        EXPECT_EQ(refused.what(), std::string(owner.objectType().name()) + "." + attribute.name +
                                      " can only be read");
      }
      return;
    }
    ++written;
    auto const write = [&](Value const& value) {
      if (owner.isObject()) {
        Vek::Walker(owner.object()).set(attribute.name, value);
      } else {
        Vek::attributeOperation(owner, attribute.id, AttributeOperation::write, value);
      }
      EXPECT_EQ(Vek::attributeOperation(owner, attribute.id, AttributeOperation::read), value);
    };
    Value const other = otherThan(attribute.type, before, tables);
    EXPECT_FALSE(other == before);
    write(other);
    write(before);
  });
  EXPECT_GE(written, 40U);
}

TEST_F(EveryAttributeTest, TakesElementsAsValuesWhereTheyCanBeSet) {
  std::size_t written = 0;
  forEachRegistered([&](VekType type, VekAttribute const& attribute) {
    if (!attribute.isCollection()) return;
    SCOPED_TRACE(nameOf(type, attribute));
    Tables const tables;
    Found const found(tables);
    Value owner = found.with(type, attribute);
    ASSERT_FALSE(owner.isNone());
    Vek::AttributeIterator const first(owner, attribute);
    Value const key = first.key();
    Value const element = first.object();
    Value const source = sourceOf(attribute, element);
    auto const there = [&] {
      return Vek::attributeOperation(owner, attribute.id, AttributeOperation::elementRead, {}, key);
    };
    auto const set = [&] {
      Vek::attributeOperation(owner, attribute.id, AttributeOperation::elementWrite, source, key);
    };
    if (attribute.elementWrite == nullptr) {
      EXPECT_THROW(set(), Vek::ReadOnlyException);
      EXPECT_EQ(there(), element);
      return;
    }
    ++written;
    set();
    EXPECT_EQ(there(), element);
    Vek::attributeOperation(owner, attribute.id, AttributeOperation::elementDelete, {}, key);
    EXPECT_TRUE(there().isNone());
    set();
    ASSERT_FALSE(there().isNone());
    EXPECT_EQ(sourceOf(attribute, there()), source);
    EXPECT_EQ(there() == element, attribute.madeFrom == VekType()) << "made anew";
  });
  EXPECT_GE(written, 15U);
}

// Where a key is part of the element, or the element belongs to its key, no other takes its place.
TEST_F(EveryAttributeTest, TakesAnotherElementInTheOnesPlaceWhereElementsCanBeSet) {
  std::size_t replaced = 0;
  std::vector<std::string> refusing;
  forEachRegistered([&](VekType type, VekAttribute const& attribute) {
    if (attribute.elementWrite == nullptr) return;
    SCOPED_TRACE(nameOf(type, attribute));
    Tables const tables;
    Found const found(tables);
    Value owner = found.with(type, attribute);
    Vek::AttributeIterator const first(owner, attribute);
    Value const before = sourceOf(attribute, first.object());
    Value other;
    for (Value const& candidate : found.of(attribute.writtenType())) {
      if (!(candidate == before)) other = candidate;
    }
    ASSERT_FALSE(other.isNone()) << "there is only one";
    auto const now = [&] {
      return sourceOf(attribute,
                      Vek::attributeOperation(owner, attribute.id, AttributeOperation::elementRead,
                                              {}, first.key()));
    };
    auto const set = [&](Value const& value) {
      Vek::attributeOperation(owner, attribute.id, AttributeOperation::elementWrite, value,
                              first.key());
    };
    try {
      set(other);
    } catch (Vek::ReflectionException const&) {
      refusing.push_back(nameOf(type, attribute));
      EXPECT_EQ(now(), before);
      return;
    }
    ++replaced;
    EXPECT_EQ(now(), other);
    EXPECT_EQ(Vek::attributeOperation(owner, attribute.id, AttributeOperation::count),
              Value::of([&] {
                std::uint32_t elements = 0;
                for (Vek::AttributeIterator i(owner, attribute); i; ++i) ++elements;
                return elements;
              }()));
    set(before);
    EXPECT_EQ(now(), before);
  });
  std::sort(refusing.begin(), refusing.end());
  EXPECT_EQ(refusing,
            (std::vector<std::string>{"OrviaL3Unicast::EcmpIngL3NextHop1Table.rawEntryHandle",
                                      "OrviaL3Unicast::L3EcmpGroupTable.rawEntryHandle",
                                      "OrviaL3Unicast::L3EcmpMemberTable.entryBlock",
                                      "OrviaL3Unicast::L3EcmpMemberTable.rawEntryHandle"}));
  EXPECT_GE(replaced, 13U);
}

// By the path of the element's position: a value goes back into the table, an object changes in
// place.
TEST_F(EveryAttributeTest, OfAnElementThatIsGoneOverIsWrittenThroughItsPath) {
  std::size_t written = 0;
  // The tables and their collections are the same in each; a change may leave little as it was.
  std::size_t const tableCount = Tables().tables().size();
  for (std::size_t number = 0; number < tableCount; ++number) {
    auto const collections = Vek::attributesOf(Tables().tables()[number]->fwkType());
    for (auto const& [collection, owner] : collections) {
      if (!collection->isCollection()) continue;
      for (auto const& owned : Vek::attributesOf(collection->type)) {
        VekAttribute const* const attribute = owned.attribute;
        if (attribute->isCollection() || !attribute->isWritable()) continue;
        std::string const path = std::string(collection->name) + "[#1]." + attribute->name;
        SCOPED_TRACE(std::string(owner.name()) + ": " + path);
        Tables const tables;
        Vek::Walker const walker(tables.tables()[number]);
        Value table = valueOf(tables.tables()[number].get());
        Vek::AttributeIterator i(table, *collection);
        ASSERT_TRUE(i);
        // The object itself, which may leave the collection; a value is read anew.
        Value element = i.object();
        auto const now = [&] {
          if (!element.isObject()) element = i.object();
          return Vek::attributeOperation(element, attribute->id, AttributeOperation::read);
        };
        Value const before = now();
        Value const other = otherThan(attribute->type, before, tables);
        walker.set(path, other);
        EXPECT_EQ(now(), other);
        ++written;
      }
    }
  }
  EXPECT_GE(written, 50U);
}

TEST_F(EveryAttributeTest, IsEmptiedThroughItsIteratorWhereElementsCanBeDeleted) {
  std::size_t emptied = 0;
  forEachRegistered([&](VekType type, VekAttribute const& attribute) {
    if (!attribute.isCollection()) return;
    SCOPED_TRACE(nameOf(type, attribute));
    Tables const tables;
    Found const found(tables);
    Value owner = found.with(type, attribute);
    ASSERT_FALSE(owner.isNone());
    std::vector<std::pair<Value, Value>> members;
    for (Vek::AttributeIterator i(owner, attribute); i; ++i) {
      members.emplace_back(i.key(), sourceOf(attribute, i.object()));
      if (attribute.elementDelete == nullptr) {
        EXPECT_THROW(i.del(), Vek::ReadOnlyException);
        continue;
      }
      i.del();
      EXPECT_TRUE(i.object().isNone());
      EXPECT_EQ(i.key(), members.back().first) << "the iterator moved";
    }
    if (attribute.elementDelete == nullptr) return;
    ++emptied;
    EXPECT_EQ(Vek::attributeOperation(owner, attribute.id, AttributeOperation::count),
              Value::of(std::uint32_t{0}));
    // A registration must be back before its handle ends.
    if (attribute.elementWrite == nullptr) return;
    for (auto const& [key, element] : members) {
      Vek::attributeOperation(owner, attribute.id, AttributeOperation::elementWrite, element, key);
    }
    EXPECT_EQ(Vek::attributeOperation(owner, attribute.id, AttributeOperation::count),
              Value::of(static_cast<std::uint32_t>(members.size())));
  });
  EXPECT_GE(emptied, 20U);
}

TEST_F(EveryAttributeTest, RefusesAValueOfAnotherType) {
  Tables const tables;
  Found const found(tables);
  Value const wrong = Value::of(Asic::AutoRemoveType(Asic::noAutoRemove));  // nothing is of it
  forEachRegistered([&](VekType type, VekAttribute const& attribute) {
    if (!attribute.isWritable()) return;
    SCOPED_TRACE(nameOf(type, attribute));
    Value owner = found.with(type, attribute);
    Value const key =
        attribute.isCollection() ? Vek::AttributeIterator(owner, attribute).key() : Value();
    auto const operation =
        attribute.isCollection() ? AttributeOperation::elementWrite : AttributeOperation::write;
    try {
      Vek::attributeOperation(owner, attribute.id, operation, wrong, key);
      ADD_FAILURE() << "it was taken";
    } catch (Vek::ReflectionException const& refused) {
      std::string const text = refused.what();
      EXPECT_NE(text.find(std::string(owner.objectType().name()) + "." + attribute.name + ": "),
                std::string::npos)
          << text;
      EXPECT_NE(text.find("Asic::AutoRemoveType"), std::string::npos) << text;
    }
    EXPECT_THROW(Vek::attributeOperation(owner, attribute.id, operation, Value(), key),
                 Vek::ReflectionException);
  });
}

}  // namespace
}  // namespace ReflectionTests
