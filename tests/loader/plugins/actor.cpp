// A plug-in that does what its file is called: "20-throws.so" throws. What is worth telling goes, a
// line each, into the file that the environment variable LOADER_TEST_JOURNAL names.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "Loader/Singleton.h"
#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "Plugin/Impl/LoaderImpl.h"
#include "Plugin/Registrar.h"
#include "Vek/EnumRegistry.h"
#include "Vek/Exception.h"
#include "Vek/PlatformModules.h"

namespace {

using OrviaAsicUtils::SwTable;
using OrviaAsicUtils::SwTableUtil;
using Plugin::Registrar;

void tell(std::string const& line) {
  char const* const journal = std::getenv("LOADER_TEST_JOURNAL");
  if (journal != nullptr) std::ofstream(journal, std::ios::app) << line << '\n';
}

// Counts its writes and answers none.
template <class T>
class CountingUtil final : public T::Util {
 public:
  using HwTable = Vek::Ptr<Asic::HwTable>;
  using Base = typename T::Util;

  CountingUtil() : Base("counting") {}
  [[nodiscard]] std::uint32_t minIndex() const override { return 0; }
  [[nodiscard]] std::uint32_t maxIndex() const override { return 15; }
  [[nodiscard]] Asic::Index hwTableEntryIndex(HwTable const&,
                                              typename Base::Key const&) const override {
    return Asic::Index::invalidIndex();
  }
  void hwTableEntryIs(HwTable const&, typename Base::HwKey, typename Base::Entry const&) override {
    ++writes;
  }
  void hwTableEntryDel(HwTable const&, typename Base::HwKey) override { ++deletes; }
  void hwTableEntryDelAll(HwTable const&) override {}
  void syncEntries(HwTable const&, Vek::Ptr<SwTable> const&) override {}

  int writes = 0;
  int deletes = 0;
};

template <class T>
Vek::Ptr<SwTableUtil> makeUtil(SwTable&) {
  return new CountingUtil<T>;
}

template <class T>
void announceUtil(Registrar& registrar) {
  registrar.utilFactoryIs(T::qualifiedName.view(), &makeUtil<T>);
}

Vek::Ptr<Asic::SwTable::EntryHandle> programmedHandle(std::uint32_t row) {
  Vek::Ptr<Asic::SwTable::EntryHandle> handle = new Asic::SwTable::EntryHandle;
  handle->hwEntryIndexIs(row);
  handle->entryStateIs(Asic::HwTable::success());
  return handle;
}

// The whole life of an entry in the table whose unit is initialised last.
void useIngressTable() {
  using Table = OrviaL3Unicast::IngL3NextHop1Table;
  auto const table = OrviaL3Unicast::ingL3NextHop1TableFactory();
  Vek::Ptr<CountingUtil<OrviaL3Unicast::IngL3NextHop1Traits>> const util =
      new CountingUtil<OrviaL3Unicast::IngL3NextHop1Traits>;
  table->utilIs(util);
  table->hwTableIs(new Asic::HwTable);
  table->hwTableReadyIs(true);
  Table::Entry entry;
  entry.l3Oif1HandleIs(programmedHandle(7));
  entry.mtuProfilePtrHandleIs(programmedHandle(1));
  auto const key = programmedHandle(40);
  auto handle = table->entryCommitWithResponseHandler(
      key, entry, [](auto state) { tell("answer " + std::to_string(int{state})); });
  table->entryHandleAccess(key)->entryStateIs(Asic::HwTable::success());
  table->entryRemove(key);
  handle = nullptr;
  tell("writes " + std::to_string(util->writes) + " deletes " + std::to_string(util->deletes));
}

void tellModules() {
  for (Vek::VekModule const* module : Vek::vekModules()) {
    tell(std::string("module ") + module->name);
  }
}

// The mode of the handles of the table whose unit is initialised last, by its text functions alone.
void useIngressMode() {
  using Traits = OrviaL3Unicast::IngL3NextHop1Traits;
  using Handle = OrviaL3Unicast::IngL3NextHop1Table::EntryHandle;
  bool const known = Vek::enumType(Traits::module(), Handle::modeOrdinal) != nullptr;
  tell(std::string("mode ") + (known ? "known" : "unknown") + ", 1 is " +
       stringValue(Handle::ModeInstance(1U)).str() + ", del is " +
       std::to_string(Handle::ModeInstance("del")));
  std::vector<Vek::EnumType const*> const enums = Vek::enumTypes();
  tell("registered " + std::to_string(std::count_if(enums.begin(), enums.end(), [](auto* type) {
         return type->module == Traits::module();
       })));
}

// A loader of this library's own, whose path others ask for as well.
class OwnLoader final : public Loader::Singleton {
 public:
  explicit OwnLoader(Vek::String const& name) : Singleton(name) {}
  [[nodiscard]] Vek::String pathPref() const override { return "OrviaFeature"; }
  [[nodiscard]] Vek::String subdir() const override { return "AskedForByTwoLibraries"; }
  [[nodiscard]] Vek::VekType fwkType() const override { return classType(); }
  static Vek::VekType classType();
  static Vek::Ptr<Vek::Entity> newEntityForDir(Vek::String const& name, void*) {
    return new OwnLoader(name);
  }
};
constexpr Vek::VekTypeInfo ownTypes[] = {{3,
                                          "Actor::OwnLoader",
                                          {&Loader::loaderModule, Loader::LoaderNumbers::singleton},
                                          nullptr,
                                          &OwnLoader::newEntityForDir}};
constinit Vek::VekModule const ownModule{"Actor", ownTypes};
Vek::VekType OwnLoader::classType() { return {&ownModule, 3}; }

int act(std::string const& what, Registrar& registrar) {
  if (what == "throws") throw Vek::Exception("no such hardware");
  if (what == "throws-number") throw 7;
  if (what == "fails") return 3;
  if (what == "announces-and-throws") {
    registrar.utilFactoryIs("Test::Abandoned", &makeUtil<OrviaL3Unicast::L3EcmpGroupTraits>);
    throw Vek::Exception("too late");
  }
  if (what == "announces") {
    registrar.utilFactoryIs("Test::Wanted", &makeUtil<OrviaL3Unicast::L3EcmpGroupTraits>);
  }
  if (what == "announces-misspelt") {
    registrar.utilFactoryIs("Test::Misspelt", &makeUtil<OrviaL3Unicast::L3EcmpGroupTraits>);
  }
  if (what == "announces-two") {
    registrar.utilFactoryIs("Test::First", &makeUtil<OrviaL3Unicast::L3EcmpGroupTraits>);
    registrar.utilFactoryIs("Test::Second", &makeUtil<OrviaL3Unicast::L3EcmpMemberTraits>);
  }
  if (what == "announces-linked") {
    registrar.utilFactoryIs("Test::Linked", &makeUtil<OrviaL3Unicast::L3EcmpGroupTraits>);
  }
  if (what == "announces-nonsense") {
    registrar.utilFactoryIs("", &makeUtil<OrviaL3Unicast::L3EcmpGroupTraits>);
    registrar.utilFactoryIs("Test::WithoutFunction", nullptr);
    registrar.utilFactoryIs("Test::AfterNonsense", &makeUtil<OrviaL3Unicast::L3EcmpGroupTraits>);
  }
  if (what == "asks-again") {
    tell("path known: " + std::to_string(Loader::pathSet().count(registrar.path())));
    Plugin::Impl::LoaderImpl::loadPlugins(registrar.loader(), registrar.path(), "", "", "");
  }
  if (what == "asks-for-shared") Loader::Singleton::inst<OwnLoader>();
  if (what == "utils") {
    announceUtil<OrviaL3Unicast::IngL3NextHop1Traits>(registrar);
    announceUtil<OrviaL3Unicast::EcmpIngL3NextHop1Traits>(registrar);
    announceUtil<OrviaL3Unicast::L3EcmpGroupTraits>(registrar);
    announceUtil<OrviaL3Unicast::L3EcmpMemberTraits>(registrar);
  }
  if (what == "uses-library") {
    tellModules();
    useIngressTable();
    std::cout << "a plug-in writes" << std::endl;
  }
  if (what == "uses-mode") useIngressMode();
  if (what == "makes-loader") {
    using IngressLoader = OrviaL3Unicast::IngL3NextHop1TableUtilLoader;
    auto const loader = Vek::Entity::singletonIs(IngressLoader::classType(),
                                                 "OrviaL3Unicast::IngL3NextHop1TableUtilLoader");
    // The unit will switch nothing on that is off in an object which it did not make.
    loader->hasNotificationActiveIs(false);
    tell("made the loader early");
  }
  return 0;
}

}  // namespace

int orviaPluginInit(Registrar& registrar) {
  std::filesystem::path const file(registrar.file());
  tell(file.filename().string() + " for " + registrar.loader() + " in " + registrar.path());
  std::string const stem = file.stem().string();
  return act(stem.substr(stem.find_first_not_of("0123456789-")), registrar);
}
