// Every value type that is registered, found in the registry: made, copied, compared, hashed,
// shown, read from text, assigned and ended through its untyped operations.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <string>

#include "LiveObjects.h"
#include "ReflectionWorld.h"
#include "Vek/TextReference.h"

namespace ReflectionTests {
namespace {

class ValueTypesTest : public TableTests::LiveObjectsTest {};

template <class Visit>
void forEachValueType(Visit const& visit) {
  for (VekType const type : Vek::vekTypes()) {
    if (type.valueOps() == nullptr) continue;
    SCOPED_TRACE(type.name());
    visit(type, *type.valueOps());
  }
}

// Raw memory for a value.
class Memory {
 public:
  explicit Memory(Vek::VekValueOps const& ops) : bytes_(new std::byte[ops.size + ops.alignment]) {
    at_ = bytes_.get();
    std::size_t space = ops.size + ops.alignment;
    std::align(ops.alignment, ops.size, at_, space);
  }
  [[nodiscard]] void* get() const { return at_; }

 private:
  std::unique_ptr<std::byte[]> bytes_;
  void* at_ = nullptr;
};

// A value of each type that is not the default one.
std::map<std::string, Value> samples(Tables const& tables) {
  std::map<std::string, Value> result;
  Found const found(tables);
  for (Value const& value : found.all()) {
    VekType const type = value.type();
    if (value.isObject()) continue;
    if (value == Value::defaultOf(type)) continue;
    result.emplace(type.name(), value);
  }
  for (VekType const type : Vek::vekTypes()) {
    if (type.valueOps() == nullptr || result.contains(type.name())) continue;
    for (char const* const text : {"1", "true", "del", "{'value': 3}", "Vek::String"}) {
      if (!type.valueOps()->parses()) break;
      try {
        result.emplace(type.name(), Value::parsed(type, text));
        break;
      } catch (Vek::Exception const&) {
        continue;
      }
    }
  }
  return result;
}

TEST_F(ValueTypesTest, AreMadeCopiedAssignedComparedShownAndEnded) {
  Tables const tables;
  auto const values = samples(tables);
  std::size_t types = 0;
  forEachValueType([&](VekType type, Vek::VekValueOps const& ops) {
    ++types;
    ASSERT_TRUE(values.contains(type.name())) << "no value to try";
    Value const& sample = values.at(type.name());
    Memory const made(ops);
    Memory const copied(ops);
    ASSERT_NE(ops.construct, nullptr);
    ASSERT_NE(ops.assign, nullptr);
    ops.construct(made.get());
    EXPECT_TRUE(ops.equal(made.get(), Value::defaultOf(type).data()));
    EXPECT_FALSE(ops.equal(made.get(), sample.data()));
    ops.copy(copied.get(), sample.data());
    EXPECT_TRUE(ops.equal(copied.get(), sample.data()));
    ops.assign(made.get(), copied.get());
    EXPECT_TRUE(ops.equal(made.get(), sample.data()));
    EXPECT_EQ(ops.text(made.get()), sample.text());
    EXPECT_FALSE(sample.text().empty());
    ops.destroy(copied.get());
    EXPECT_TRUE(ops.equal(made.get(), sample.data()));
    ops.destroy(made.get());
  });
  EXPECT_GE(types, 30U);
}

TEST_F(ValueTypesTest, HashByContentButForRecords) {
  Tables const tables;
  auto const values = samples(tables);
  std::vector<std::string> unhashable;
  forEachValueType([&](VekType type, Vek::VekValueOps const& ops) {
    Value const& sample = values.at(type.name());
    Value const same(type, sample.data());
    try {
      EXPECT_EQ(ops.hash(sample.data(), 17), sample.hash(17));
      EXPECT_EQ(same.hash(17), sample.hash(17));
      EXPECT_NE(sample.hash(17), sample.hash(18)) << "the seed has no effect";
    } catch (Vek::UnhashableTypeException const& refused) {
      EXPECT_EQ(refused.what(),
                std::string("values of type ") + type.name() + " have no hash: they are no keys");
      unhashable.emplace_back(type.name());
    }
  });
  std::sort(unhashable.begin(), unhashable.end());
  EXPECT_EQ(unhashable, (std::vector<std::string>{"OrviaL3Unicast::EcmpIngL3NextHop1Table::Entry",
                                                  "OrviaL3Unicast::IngL3NextHop1Table::Entry",
                                                  "OrviaL3Unicast::L3EcmpGroupTable::Entry"}));
}

TEST_F(ValueTypesTest, AnIndexHashesItsNumber) {
  VekType const type = Vek::vekTypeNamed("OrviaL3Unicast::L3EcmpGroupTable::Index");
  OrviaL3Unicast::L3EcmpGroupTable::Index const index(7);
  EXPECT_EQ(type.valueOps()->hash(&index, 3), index.hash(3));
}

TEST_F(ValueTypesTest, AreReadFromTextOrSayThatTheyCannot) {
  Tables const tables;
  auto const values = samples(tables);
  std::vector<std::string> withoutText;
  forEachValueType([&](VekType type, Vek::VekValueOps const& ops) {
    Value const& sample = values.at(type.name());
    if (!ops.parses()) {
      withoutText.emplace_back(type.name());
      EXPECT_THROW(Value::parsed(type, sample.text().str()), Vek::ReflectionException);
      return;
    }
    std::string text = sample.text();
    // An index prints its bare number and is read from a text that names the attribute.
    if (std::string(type.name()).ends_with("::Index") && type.module != &Asic::asicModule) {
      EXPECT_THROW(Value::parsed(type, text), Vek::TextException);
      text = "{'value': " + text + "}";
    }
    // A member prints its handle's address, which only a finder makes a handle of.
    Vek::ObjectFinder const finder([&](std::uintptr_t address) -> Vek::PtrInterface const* {
      for (auto const& handle : tables.handles) {
        if (reinterpret_cast<std::uintptr_t>(handle.get()) == address) return handle.get();
      }
      return nullptr;
    });
    EXPECT_EQ(Value::parsed(type, text), sample) << text;
    if (type != Vek::VekTypeOf<Vek::String>::type) {
      EXPECT_THROW(Value::parsed(type, "]"), Vek::Exception);
    }
  });
  std::sort(withoutText.begin(), withoutText.end());
  EXPECT_EQ(
      withoutText,
      (std::vector<std::string>{
          "Asic::L3EcmpNextHopKey", "OrviaL3Unicast::EcmpIngL3NextHop1Table::Entry",
          "OrviaL3Unicast::IngL3NextHop1Table::Entry", "OrviaL3Unicast::L3EcmpGroupTable::Entry",
          "OrviaL3Unicast::L3EcmpMemberTable::EntryBlock", "Vek::VoidPtrConst"}));
}

// Who does not ask before comes to the type's own text constructor.
TEST(ValueTypesDeathTest, ReadingARecordFromTextAborts) {
  for (char const* const name :
       {"OrviaL3Unicast::EcmpIngL3NextHop1Table::Entry",
        "OrviaL3Unicast::IngL3NextHop1Table::Entry", "OrviaL3Unicast::L3EcmpGroupTable::Entry",
        "OrviaL3Unicast::L3EcmpMemberTable::EntryBlock"}) {
    Vek::VekValueOps const& ops = *Vek::vekTypeNamed(name).valueOps();
    EXPECT_TRUE(ops.parseAborts);
    EXPECT_DEATH(ops.parse(Memory(ops).get(), "1"),
                 "No String constructor for Entry.*has collection")
        << name;
  }
}

TEST_F(ValueTypesTest, CopiesOfAValueShareUntilOneIsChanged) {
  Value one = Value::of(std::uint32_t{1});
  Value const two = one;
  EXPECT_EQ(one.data(), two.data());
  *static_cast<std::uint32_t*>(one.change()) = 5;
  EXPECT_EQ(*one.as<std::uint32_t>(), 5U);
  EXPECT_EQ(*two.as<std::uint32_t>(), 1U);
  EXPECT_EQ(two.as<std::uint16_t>(), nullptr);
}

TEST_F(ValueTypesTest, AnObjectIsHeldAndSaysItsOwnClass) {
  Vek::Ptr<ChainTests::TestHandle> handle = ChainTests::programmedHandle(4);
  Vek::PtrInterface const* const address = handle.get();
  Value value = Value::object(Vek::PtrInterface::classType(), handle.get());
  handle = nullptr;
  EXPECT_EQ(value.object(), address);
  EXPECT_EQ(address->references(), 1U);
  EXPECT_EQ(value.objectType(), Asic::SwTable::EntryHandle::classType());
  EXPECT_EQ(value.objectAs<Asic::SwTable::EntryHandle>()->hwEntryIndex(), 4U);
  EXPECT_EQ(value.objectAs<Vek::Entity>(), nullptr);
  EXPECT_THROW(static_cast<void>(value.hash(1)), Vek::UnhashableTypeException);
  EXPECT_EQ(Value::object(Asic::HwTable::classType(), nullptr).text(), "None");
}

}  // namespace
}  // namespace ReflectionTests
