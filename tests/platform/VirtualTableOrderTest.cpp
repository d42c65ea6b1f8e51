// The slot order of the virtual operations, which plug-ins built elsewhere rely on.
//
// In the Itanium C++ ABI a pointer to a virtual member function holds 1 plus the byte offset of its
// slot. A destructor has no such pointer; it takes two slots, so it shows as a gap of two.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "OrviaAsicUtils/SwTable.h"
#include "OrviaAsicUtils/SwTableUtil.h"
#include "Vek/NotifieeConst.h"

namespace {

constexpr std::size_t notVirtual = static_cast<std::size_t>(-1);

template <class Member>
std::size_t slotOf(Member member) {
  struct {
    std::uintptr_t pointer;
    std::ptrdiff_t adjustment;
  } representation{};
  static_assert(sizeof(representation) == sizeof(member));
  std::memcpy(&representation, &member, sizeof(member));
  if ((representation.pointer & 1U) == 0 || representation.adjustment != 0) return notVirtual;
  return static_cast<std::size_t>(representation.pointer - 1) / sizeof(void*);
}

// The slots that the framework gives every object; 4 and 5 are the destructor's.
template <class T>
void expectFrameworkSlots() {
  EXPECT_EQ(slotOf(&T::notifieeList), 0U);
  EXPECT_EQ(slotOf(&T::hasNotificationActiveIs), 1U);
  EXPECT_EQ(slotOf(&T::zeroReferencesIs), 2U);
  EXPECT_EQ(slotOf(&T::fwkType), 3U);
}

TEST(VirtualTableOrderTest, AnOrdinaryMemberFunctionHasNoSlot) {
  EXPECT_EQ(slotOf(&Vek::PtrInterface::hasNotificationActive), notVirtual);
}

TEST(VirtualTableOrderTest, CountedObjects) {
  expectFrameworkSlots<Vek::PtrInterface>();
  // The first slot of a derived class shows that nothing but the destructor is behind.
  struct Next : Vek::PtrInterface {
    virtual void next() {}
  };
  EXPECT_EQ(slotOf(&Next::next), 6U);
}

TEST(VirtualTableOrderTest, Reactors) {
  using Vek::NotifieeConst;
  expectFrameworkSlots<NotifieeConst>();
  EXPECT_EQ(slotOf(&NotifieeConst::onZeroReferences), 6U);
  EXPECT_EQ(slotOf(&NotifieeConst::onAttribute), 7U);
  EXPECT_EQ(slotOf(&NotifieeConst::vekDoZombieReactors), 8U);
  struct Next : NotifieeConst {
    virtual void next() {}
  };
  EXPECT_EQ(slotOf(&Next::next), 9U);
}

TEST(VirtualTableOrderTest, SoftwareTables) {
  using OrviaAsicUtils::SwTable;
  expectFrameworkSlots<SwTable>();
  EXPECT_EQ(slotOf(&SwTable::name), 6U);
  EXPECT_EQ(slotOf(&SwTable::handleParent), 7U);
  EXPECT_EQ(slotOf(&SwTable::doCreateHwTable), 8U);
  EXPECT_EQ(slotOf(&SwTable::doCreateHwTableResponse), 9U);
  EXPECT_EQ(slotOf(&SwTable::responseNeeded), 10U);
  EXPECT_EQ(slotOf(&SwTable::doInitComplete), 11U);
  EXPECT_EQ(slotOf(&SwTable::syncEntries), 12U);
  EXPECT_EQ(slotOf(&SwTable::getEntryHandle), 13U);
}

TEST(VirtualTableOrderTest, TableUtilities) {
  using OrviaAsicUtils::SwTableUtil;
  expectFrameworkSlots<SwTableUtil>();
  EXPECT_EQ(slotOf(&SwTableUtil::name), 6U);
  EXPECT_EQ(slotOf(&SwTableUtil::handleParent), 7U);
  EXPECT_EQ(slotOf(&SwTableUtil::featureName), 8U);
  EXPECT_EQ(slotOf(&SwTableUtil::shared), 9U);
  // Six operations of the base take slots 10 to 15.
  EXPECT_EQ(slotOf(&SwTableUtil::swTableKeyPtr), 16U);
  EXPECT_EQ(slotOf(&SwTableUtil::doNotifyReadResponse), 17U);
  // A table's own seven operations follow directly.
  struct Next : SwTableUtil {
    Next() : SwTableUtil("next") {}
    virtual void minIndex() {}
  };
  EXPECT_EQ(slotOf(&Next::minIndex), 18U);
}

}  // namespace
