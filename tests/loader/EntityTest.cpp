// Entities of which a process has one, and how they are made by name.
#include <gtest/gtest.h>

#include "LoaderSupport.h"
#include "Vek/Exception.h"

namespace {

using LoaderTests::TestLoader;
using Vek::Entity;

int made = 0;
struct Counted {
  static constexpr char const* name = "EntityTest::Counted";
  static Vek::String subdir() { return "Counted"; }
  static void making() { ++made; }
};

TEST(EntitySingletonTest, AnUnknownNameGivesNoneAndMakesNothing) {
  EXPECT_FALSE(Entity::singletonExists("EntityTest::Nobody"));
  EXPECT_FALSE(Entity::singletonExists("EntityTest::Nobody"));
  EXPECT_FALSE(Entity::singletonExists(""));
}

TEST(EntitySingletonTest, IsMadeByTheHookOfItsTypeUnderTheNameAndKept) {
  made = 0;
  Entity const* address = nullptr;
  {
    Vek::Ptr<Entity> const entity =
        Entity::singletonIs(TestLoader<Counted>::classType(), "EntityTest::Counted");
    address = entity.get();
    EXPECT_EQ(entity->fwkType(), TestLoader<Counted>::classType());
    EXPECT_EQ(entity->name(), "EntityTest::Counted");
    EXPECT_EQ(entity->references(), 2U);  // ours and the process's
  }
  EXPECT_EQ(made, 1);
  EXPECT_EQ(Entity::singletonExists("EntityTest::Counted").get(), address);
  EXPECT_EQ(Entity::singletonIs(TestLoader<Counted>::classType(), "EntityTest::Counted").get(),
            address);
  EXPECT_EQ(made, 1);
}

TEST(EntitySingletonTest, NamesAreToldApartAlsoForOneType) {
  auto const type = TestLoader<Counted>::classType();
  EXPECT_NE(Entity::singletonIs(type, "EntityTest::A"), Entity::singletonIs(type, "EntityTest::B"));
}

struct Reluctant {
  static constexpr char const* name = "EntityTest::Reluctant";
  static Vek::String subdir() { return "Reluctant"; }
  static void making() {
    if (refuse) throw Vek::Exception("not now");
  }
  static inline bool refuse = true;
};

TEST(EntitySingletonTest, AHookThatThrowsLeavesNoSingletonBehind) {
  auto const type = TestLoader<Reluctant>::classType();
  Reluctant::refuse = true;
  EXPECT_THROW(Entity::singletonIs(type, "EntityTest::Reluctant"), Vek::Exception);
  EXPECT_FALSE(Entity::singletonExists("EntityTest::Reluctant"));
  Reluctant::refuse = false;
  EXPECT_TRUE(Entity::singletonIs(type, "EntityTest::Reluctant"));
}

std::string whyNot(Vek::VekType type) {
  try {
    Entity::singletonIs(type, "EntityTest::Impossible");
  } catch (Vek::Exception const& failure) {
    return failure.what();
  }
  return "it was made";
}

Vek::Ptr<Entity> makeNothing(Vek::String const&, void*) { return {}; }
constexpr Vek::VekTypeInfo emptyTypes[] = {{4, "EntityTest::Empty", {}, nullptr, &makeNothing}};
constinit Vek::VekModule const emptyModule{"EntityTest", emptyTypes};

TEST(EntitySingletonTest, ATypeThatCannotBeMadeByNameIsRefused) {
  EXPECT_EQ(whyNot(Entity::classType()),
            "Vek::Entity cannot be made by name: EntityTest::Impossible");
  EXPECT_EQ(whyNot({&Vek::vekModule, 99}),
            "type 99 of module Vek cannot be made by name: EntityTest::Impossible");
  EXPECT_EQ(whyNot({}), "type 0 of module none cannot be made by name: EntityTest::Impossible");
  EXPECT_EQ(whyNot({&emptyModule, 4}), "EntityTest::Empty was not made: EntityTest::Impossible");
  EXPECT_FALSE(Entity::singletonExists("EntityTest::Impossible"));
}

TEST(EntityArgumentsTest, ArgumentsThatATypeDoesNotTakeAreNamedByTheType) {
  try {
    Vek::throwNewEntityArgsException(&Vek::vekModule, Vek::VekNumbers::entity);
  } catch (Vek::NewEntityArgsException const& failure) {
    EXPECT_STREQ(failure.what(), "unexpected constructor arguments for Vek::Entity");
  }
  EXPECT_THROW(Vek::throwNewEntityArgsException(&Vek::vekModule, 99), Vek::NewEntityArgsException);
  EXPECT_THROW(Vek::throwNewEntityArgsException(nullptr, 0), Vek::Exception);
}

}  // namespace
