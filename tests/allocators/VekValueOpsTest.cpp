#include <gtest/gtest.h>

#include "AllocatorKeys.h"
#include "Asic/SwTable.h"
#include "Vek/VekValueOps.h"

namespace {

using namespace AllocatorTests;  // NOLINT(google-build-using-namespace)

TEST(VekValueOps, HandleAValueThroughAnUntypedPointer) {
  Vek::VekValueOps const* const ops = keyType.valueOps();
  ASSERT_NE(ops, nullptr);
  EXPECT_EQ(ops->size, sizeof(Key));
  EXPECT_EQ(ops->alignment, alignof(Key));
  {
    Key const one(1);
    Key const two(2);
    alignas(Key) std::byte memory[sizeof(Key)];
    ops->copy(memory, &one);
    EXPECT_EQ(Key::alive, 3);
    EXPECT_TRUE(ops->equal(memory, &one));
    EXPECT_FALSE(ops->equal(memory, &two));
    EXPECT_EQ(ops->hash(memory, 17), one.hash(17));
    EXPECT_NE(ops->hash(memory, 17), ops->hash(memory, 18));
    EXPECT_EQ(ops->text(memory), "key 1");
    ops->destroy(memory);
    EXPECT_EQ(Key::alive, 2);
  }
  EXPECT_EQ(Key::alive, 0);
}

TEST(VekValueOps, ATypeWithoutAHashOfItsOwnSpecialisesOne) {
  OtherKey const key{3};
  EXPECT_EQ(otherKeyType.valueOps()->hash(&key, 4), 97U);
  EXPECT_EQ(otherKeyType.valueOps()->text(&key), "other key 3");
}

TEST(VekValueOps, OtherTypesHaveNone) {
  EXPECT_EQ(noValueType.valueOps(), nullptr);
  EXPECT_EQ(Vek::VekType().valueOps(), nullptr);
  EXPECT_EQ((Vek::VekType{&testModule, 99}).valueOps(), nullptr);
  EXPECT_EQ(Asic::SwTable::classType().valueOps(), nullptr);
}

}  // namespace
