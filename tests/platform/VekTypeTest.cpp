// Framework types: pairs of a module and a number, casts by them, and the registered modules.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "OrviaAsicUtils/SwTableUtil.h"
#include "OrviaAsicUtils/WriteResponseSm.h"
#include "PlatformObjects.h"
#include "Vek/GenericIf.h"
#include "Vek/PlatformModules.h"
#include "Vek/VekType.h"

namespace {

using Vek::Ptr;
using Vek::vekCast;
using Vek::VekModule;
using Vek::VekType;
using Vek::VekTypeInfo;

extern VekModule const ownModule;
constexpr VekTypeInfo ownTypes[] = {
    {3, "Own::Leaf", {&ownModule, 1}},  // listed in no particular order
    {1, "Own::Branch", {&Vek::vekModule, Vek::VekNumbers::entity}},
    {7, "Own::Root", {}},
};
constinit VekModule const ownModule{"Own", ownTypes};

class Branch : public Vek::Entity {
 public:
  Branch() : Entity("branch") {}
  [[nodiscard]] VekType fwkType() const override { return classType(); }
  static VekType classType() { return {&ownModule, 1}; }
};
class Leaf : public Branch {
 public:
  [[nodiscard]] VekType fwkType() const override { return classType(); }
  static VekType classType() { return {&ownModule, 3}; }
};

TEST(VekTypeTest, TheDefaultValueNamesNoType) {
  VekType const none;
  EXPECT_EQ(none.info(), nullptr);
  EXPECT_STREQ(none.name(), "");
  EXPECT_TRUE(none.isA(none));
  EXPECT_FALSE(none.isA(Leaf::classType()));
}

TEST(VekTypeTest, IsDescribedByItsModule) {
  EXPECT_STREQ(Leaf::classType().name(), "Own::Leaf");
  ASSERT_NE(Leaf::classType().info(), nullptr);
  EXPECT_EQ(Leaf::classType().info()->base, Branch::classType());
  VekType const unlisted{&ownModule, 2};
  EXPECT_EQ(unlisted.info(), nullptr);
  EXPECT_STREQ(unlisted.name(), "");
  EXPECT_TRUE(unlisted.isA(unlisted));
  EXPECT_FALSE(unlisted.isA(Branch::classType()));
}

TEST(VekTypeTest, IsAFollowsTheDerivationAcrossModules) {
  VekType const leaf = Leaf::classType();
  EXPECT_TRUE(leaf.isA(leaf));
  EXPECT_TRUE(leaf.isA(Branch::classType()));
  EXPECT_TRUE(leaf.isA(Vek::Entity::classType()));
  EXPECT_TRUE(leaf.isA(Vek::PtrInterface::classType()));
  EXPECT_FALSE(leaf.isA(Vek::GenericIf::classType()));
  EXPECT_FALSE(leaf.isA({&ownModule, 7}));
  EXPECT_FALSE(Branch::classType().isA(leaf));
  EXPECT_FALSE(VekType({&ownModule, 7}).isA(Vek::PtrInterface::classType()));
}

TEST(VekTypeTest, TheSameNumberOfAnotherModuleIsAnotherType) {
  VekModule const copy{"Own", ownTypes};
  EXPECT_NE(VekType({&copy, 3}), Leaf::classType());
  EXPECT_NE(VekType({&ownModule, 1}), Leaf::classType());
  EXPECT_EQ(VekType({&ownModule, 3}), Leaf::classType());
}

TEST(VekTypeTest, CastsByTheTypeThatTheObjectAnswers) {
  Ptr<Leaf> const leaf = new Leaf;
  Vek::PtrInterface* const plain = leaf.get();
  EXPECT_EQ(vekCast<Leaf>(plain), leaf.get());
  EXPECT_EQ(vekCast<Branch>(plain), leaf.get());
  EXPECT_EQ(vekCast<Vek::Entity>(plain), leaf.get());
  EXPECT_EQ(vekCast<Vek::NotifieeConst>(plain), nullptr);
  Vek::PtrInterface const* const constant = plain;
  Leaf const* const found = vekCast<Leaf>(constant);
  EXPECT_EQ(found, leaf.get());
  static_assert(std::is_same_v<decltype(vekCast<Leaf>(constant)), Leaf const*>);
  static_assert(std::is_same_v<decltype(vekCast<Leaf>(plain)), Leaf*>);
}

TEST(VekTypeTest, CastingABaseOrNothingGivesNothing) {
  Ptr<Branch> const branch = new Branch;
  EXPECT_EQ(vekCast<Leaf>(static_cast<Vek::PtrInterface*>(branch.get())), nullptr);
  EXPECT_EQ(vekCast<Leaf>(static_cast<Vek::PtrInterface*>(nullptr)), nullptr);
  EXPECT_EQ(vekCast<Leaf>(static_cast<Vek::PtrInterface const*>(nullptr)), nullptr);
}

TEST(VekTypeTest, ThePlatformsOwnClassesAreNamedAndDerive) {
  using OrviaAsicUtils::SwTable;
  using OrviaAsicUtils::SwTableUtil;
  using OrviaAsicUtils::WriteResponseSm;
  struct Row {
    VekType type;
    char const* name;
    VekType base;
  };
  VekType const root = Vek::PtrInterface::classType();
  Row const rows[] = {
      {root, "Vek::PtrInterface", {}},
      {Vek::NotifieeConst::classType(), "Vek::PtrInterface::NotifieeConst", root},
      {Vek::Entity::classType(), "Vek::Entity", root},
      {Vek::GenericIf::classType(), "Vek::GenericIf", root},
      {Asic::HwTable::classType(), "Asic::HwTable", root},
      {Asic::SwTable::EntryHandle::classType(), "Asic::SwTable::EntryHandle", root},
      {Asic::SwTable::classType(), "Asic::SwTable", Vek::Entity::classType()},
      {Asic::Feature::classType(), "Asic::Feature", Vek::Entity::classType()},
      {SwTable::classType(), "OrviaAsicUtils::SwTable", Asic::SwTable::classType()},
      {SwTableUtil::classType(), "OrviaAsicUtils::SwTableUtil", Asic::Feature::classType()},
      {WriteResponseSm::classType(), "OrviaAsicUtils::WriteResponseSm",
       Vek::NotifieeConst::classType()},
  };
  for (Row const& row : rows) {
    EXPECT_STREQ(row.type.name(), row.name);
    ASSERT_NE(row.type.info(), nullptr) << row.name;
    EXPECT_EQ(row.type.info()->base, row.base) << row.name;
  }
}

TEST(VekTypeTest, ObjectsAnswerTheirOwnType) {
  Ptr<TestSupport::TestNotifier> const plain = new TestSupport::TestNotifier;
  EXPECT_EQ(plain->fwkType(), Vek::PtrInterface::classType());
  EXPECT_EQ(TestSupport::watcherOf(*plain)->fwkType(), Vek::NotifieeConst::classType());
  EXPECT_EQ(Ptr<Asic::HwTable>(new Asic::HwTable)->fwkType(), Asic::HwTable::classType());
  EXPECT_EQ(Ptr<Asic::SwTable::EntryHandle>(new Asic::SwTable::EntryHandle)->fwkType(),
            Asic::SwTable::EntryHandle::classType());
}

TEST(GenericIfTest, CarriesTheTypeAndTheAddressOfItsValue) {
  int const value = 5;
  Ptr<Vek::GenericIf const> const view = new Vek::GenericIf(Leaf::classType(), &value);
  EXPECT_EQ(view->valueType(), Leaf::classType());
  EXPECT_EQ(view->value(), &value);
  EXPECT_EQ(view->fwkType(), Vek::GenericIf::classType());
}

TEST(EntityTest, HasTheNameItWasMadeWithAndIgnoresItsParent) {
  Ptr<Branch> const branch = new Branch;
  EXPECT_EQ(branch->name(), "branch");
  branch->handleParent(branch);
  EXPECT_EQ(branch->references(), 1U);
}

TEST(VekModuleTest, ModulesAreKnownInTheOrderOfRegistrationEachOnce) {
  static constinit VekModule const first{"First", {}};
  static constinit VekModule const second{"Second", {}};
  auto const before = Vek::vekModules();
  Vek::vekModuleIs(&second);
  Vek::vekModuleIs(&first);
  Vek::vekModuleIs(&second);
  auto expected = before;
  expected.push_back(&second);
  expected.push_back(&first);
  EXPECT_EQ(Vek::vekModules(), expected);
}

}  // namespace
