// What the four units bring: their modules and loaders, made when the library was loaded, and the
// factories.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <type_traits>

#include "LoaderSupport.h"
#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "Plugin/LoadRecord.h"
#include "Vek/Exception.h"

namespace {

using namespace OrviaL3Unicast;

// The numbers of a table's own classes in its module: tools and peers know the types by them.
using Numbers = std::map<std::string, std::uint16_t>;

struct IngL3NextHop1 {
  using Table = IngL3NextHop1Table;
  using Util = IngL3NextHop1TableUtil;
  using Loader = IngL3NextHop1TableUtilLoader;
  using UnresolvedEntry = Table::UnresolvedEntry;
  static Vek::VekModule const* module() { return &_OrviaL3IngL3NextHop1Table_b978fb95_vekModule; }
  static constexpr char const* table = "OrviaL3Unicast::IngL3NextHop1Table";
  static inline Numbers const numbers = {{"EntryHandle", 2},
                                         {"PendingEntrySm", 4},
                                         {"UnresolvedEntry", 5},
                                         {"UnresolvedEntry::NeededEntryHandleSm", 6}};
  static constexpr std::uint16_t utilNumber = 7;
  static constexpr std::uint16_t loaderNumber = 8;
  static Vek::Ptr<Table> factory() { return ingL3NextHop1TableFactory(); }
  static constexpr auto cFactory = &orviaIngL3NextHop1TableFactory;
  static constexpr char const* cFactoryName = "orviaIngL3NextHop1TableFactory";
};

struct EcmpIngL3NextHop1 {
  using Table = EcmpIngL3NextHop1Table;
  using Util = EcmpIngL3NextHop1TableUtil;
  using Loader = EcmpIngL3NextHop1TableUtilLoader;
  static Vek::VekModule const* module() { return &_L3EcmpIngL3NextHop1Table_ea4a8036_vekModule; }
  static constexpr char const* table = "OrviaL3Unicast::EcmpIngL3NextHop1Table";
  static inline Numbers const numbers = {{"EntryHandle", 5},
                                         {"PendingEntrySm", 7},
                                         {"UnresolvedEntry", 3},
                                         {"UnresolvedEntry::NeededEntryHandleSm", 4}};
  static constexpr std::uint16_t utilNumber = 8;
  static constexpr std::uint16_t loaderNumber = 9;
  static Vek::Ptr<Table> factory() { return ecmpIngL3NextHop1TableFactory(); }
  static constexpr auto cFactory = &orviaEcmpIngL3NextHop1TableFactory;
  static constexpr char const* cFactoryName = "orviaEcmpIngL3NextHop1TableFactory";
};

struct L3EcmpGroup {
  using Table = L3EcmpGroupTable;
  using Util = L3EcmpGroupTableUtil;
  using Loader = L3EcmpGroupTableUtilLoader;
  static Vek::VekModule const* module() { return &_L3EcmpGroupTable_b1191073_vekModule; }
  static constexpr char const* table = "OrviaL3Unicast::L3EcmpGroupTable";
  static inline Numbers const numbers = {{"EntryHandle", 5},
                                         {"PendingEntrySm", 7},
                                         {"UnresolvedEntry", 3},
                                         {"UnresolvedEntry::NeededEntryHandleSm", 4}};
  static constexpr std::uint16_t utilNumber = 8;
  static constexpr std::uint16_t loaderNumber = 9;
  static Vek::Ptr<Table> factory() { return l3EcmpGroupTableFactory(); }
  static constexpr auto cFactory = &orviaL3EcmpGroupTableFactory;
  static constexpr char const* cFactoryName = "orviaL3EcmpGroupTableFactory";
};

struct L3EcmpMember {
  using Table = L3EcmpMemberTable;
  using Util = L3EcmpMemberTableUtil;
  using Loader = L3EcmpMemberTableUtilLoader;
  static Vek::VekModule const* module() { return &_L3EcmpMemberTable_f39f0387_vekModule; }
  static constexpr char const* table = "OrviaL3Unicast::L3EcmpMemberTable";
  static inline Numbers const numbers = {{"EntryHandle", 4},
                                         {"UnresolvedEntryBlock", 6},
                                         {"UnresolvedEntryBlock::NeededEntryHandleSm", 7}};
  static constexpr std::uint16_t utilNumber = 8;
  static constexpr std::uint16_t loaderNumber = 9;
  static Vek::Ptr<Table> factory() { return l3EcmpMemberTableFactory(); }
  static constexpr auto cFactory = &orviaL3EcmpMemberTableFactory;
  static constexpr char const* cFactoryName = "orviaL3EcmpMemberTableFactory";
};

template <class Unit>
class UnitTest : public ::testing::Test {
 protected:
  static std::string loaderName() { return std::string(Unit::table) + "UtilLoader"; }
  static std::string path() { return std::string("OrviaFeaturePlugin/") + Unit::table; }
};

using Units = ::testing::Types<IngL3NextHop1, EcmpIngL3NextHop1, L3EcmpGroup, L3EcmpMember>;
struct UnitName {
  template <class Unit>
  static std::string GetName(int) {
    return std::string(Unit::table).substr(std::string("OrviaL3Unicast::").size());
  }
};
TYPED_TEST_SUITE(UnitTest, Units, UnitName);

TYPED_TEST(UnitTest, RegisteredItsModuleWhenTheLibraryWasLoaded) {
  auto const modules = Vek::vekModules();
  EXPECT_EQ(std::count(modules.begin(), modules.end(), TypeParam::module()), 1);
}

TYPED_TEST(UnitTest, MadeItsLoaderWhenTheLibraryWasLoaded) {
  Vek::Ptr<Vek::Entity> const entity = Vek::Entity::singletonExists(this->loaderName());
  ASSERT_TRUE(entity);
  EXPECT_EQ(entity->name(), this->loaderName());
  EXPECT_TRUE(entity->hasNotificationActive());
  EXPECT_EQ(Loader::Singleton::inst<typename TypeParam::Loader>(), entity);
  EXPECT_TRUE(Loader::pathSet().contains(this->path()));
  EXPECT_EQ(Plugin::loadRecord(this->path()).loader, this->loaderName());
}

TYPED_TEST(UnitTest, TheLoaderNamesItsDirectoryAndItsType) {
  using L = typename TypeParam::Loader;
  static_assert(std::is_base_of_v<Loader::Singleton, L>);
  Vek::Ptr<L> const loader = new L("another name");
  EXPECT_EQ(loader->name(), "another name");
  EXPECT_EQ(loader->pathPref(), "OrviaFeature");
  EXPECT_EQ(loader->subdir(), TypeParam::table);
  EXPECT_EQ(loader->path(), this->path());
  EXPECT_EQ(loader->fwkType(), (Vek::VekType{TypeParam::module(), TypeParam::loaderNumber}));
  EXPECT_STREQ(loader->fwkType().name(), this->loaderName().c_str());
  EXPECT_TRUE(loader->fwkType().isA(Loader::Singleton::classType()));
  EXPECT_TRUE(loader->fwkType().isA(Vek::Entity::classType()));
}

TYPED_TEST(UnitTest, TheUtilityIsAbstractAndKnowsItsType) {
  using U = typename TypeParam::Util;
  static_assert(std::is_abstract_v<U>);
  static_assert(std::is_base_of_v<OrviaAsicUtils::SwTableUtil, U>);
  static_assert(sizeof(U) == sizeof(OrviaAsicUtils::SwTableUtil));  // adds no data
  EXPECT_EQ(U::classType(), (Vek::VekType{TypeParam::module(), TypeParam::utilNumber}));
  EXPECT_EQ(U::classType().name(), std::string(TypeParam::table) + "Util");
  EXPECT_TRUE(U::classType().isA(Asic::Feature::classType()));
}

TYPED_TEST(UnitTest, TheLoaderIsMadeByNameWithItsNotificationsOn) {
  Vek::VekTypeInfo const* const info = TypeParam::Loader::classType().info();
  ASSERT_NE(info, nullptr);
  ASSERT_NE(info->newEntityForDir, nullptr);
  Vek::Ptr<Vek::Entity> const made = info->newEntityForDir("one more", nullptr);
  EXPECT_EQ(made->name(), "one more");
  EXPECT_EQ(made->fwkType(), TypeParam::Loader::classType());
  EXPECT_TRUE(made->hasNotificationActive());
  EXPECT_EQ(made->references(), 1U);
}

TYPED_TEST(UnitTest, TheLoaderTakesNoArgumentsButItsName) {
  int argument = 0;
  try {
    TypeParam::Loader::newEntityForDir("one more", &argument);
    ADD_FAILURE() << "it took an argument";
  } catch (Vek::NewEntityArgsException const& failure) {
    EXPECT_EQ(failure.what(), "unexpected constructor arguments for " + this->loaderName());
  }
}

TYPED_TEST(UnitTest, TheFactoryMakesATableThatIsReadyForUse) {
  Vek::Ptr<typename TypeParam::Table> const table = TypeParam::factory();
  EXPECT_EQ(table->references(), 1U);
  EXPECT_TRUE(table->hasNotificationActive());
  EXPECT_EQ(table->fwkType(), (Vek::VekType{TypeParam::module(), 0}));
  EXPECT_STREQ(table->fwkType().name(), TypeParam::table);
  EXPECT_NE(TypeParam::factory(), table);
}

TYPED_TEST(UnitTest, TheFactoryIsFoundByItsPlainName) {
  Vek::Ptr<OrviaAsicUtils::SwTable> table;
  TypeParam::cFactory(table);
  ASSERT_TRUE(table);
  EXPECT_EQ(table->references(), 1U);
  EXPECT_TRUE(table->hasNotificationActive());
  EXPECT_NE(Vek::vekCast<typename TypeParam::Table>(table.get()), nullptr);
  void* const library = dlopen(LOADER_TEST_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(dlsym(library, TypeParam::cFactoryName), reinterpret_cast<void*>(TypeParam::cFactory));
  dlclose(library);
}

TYPED_TEST(UnitTest, TheClassesOfTheTableHaveTheirNumbers) {
  std::string const start = std::string(TypeParam::table) + "::";
  Numbers found;
  for (Vek::VekTypeInfo const& type : TypeParam::module()->types) {
    std::string const name = type.name;
    if (!name.starts_with(start)) continue;
    if (TypeParam::numbers.contains(name.substr(start.size()))) {
      found.emplace(name.substr(start.size()), type.number);
    }
  }
  EXPECT_EQ(found, TypeParam::numbers);
  using Handle = typename TypeParam::Table::EntryHandle;
  EXPECT_EQ(Handle::classType(),
            (Vek::VekType{TypeParam::module(), TypeParam::numbers.at("EntryHandle")}));
}

// The numbers of a module's classes do not collide, and each row says its qualified name.
TYPED_TEST(UnitTest, EveryNumberOfTheModuleIsUsedOnce) {
  std::vector<std::uint16_t> numbers;
  for (Vek::VekTypeInfo const& type : TypeParam::module()->types) {
    EXPECT_EQ(std::string(type.name).rfind(TypeParam::table, 0), 0U) << type.name;
    numbers.push_back(type.number);
  }
  std::sort(numbers.begin(), numbers.end());
  EXPECT_EQ(std::adjacent_find(numbers.begin(), numbers.end()), numbers.end());
  EXPECT_GE(numbers.size(), 7U - (TypeParam::Table::classType() == L3EcmpMemberTable::classType()));
}

}  // namespace
