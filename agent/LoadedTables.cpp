#include <dlfcn.h>
#include <fmt/format.h>

#include <exception>
#include <string>

#include "Loader/Singleton.h"
#include "Plugin/LoadRecord.h"
#include "agent/TableSource.h"

namespace OrviaL3Agent {
namespace {

TableSource::Make factory(void* library, char const* name) {
  void* const found = dlsym(library, name);
  if (found == nullptr) {
    char const* const why = dlerror();
    throw TableSourceError(
        fmt::format("the library makes no table: {}", why != nullptr ? why : name));
  }
  return reinterpret_cast<TableSource::Make>(found);
}

[[noreturn]] void utilFailed(OrviaAsicUtils::UtilFactory const& factory, char const* why) {
  throw TableSourceError(fmt::format("{}: its utility from {} could not be made: {}", factory.table,
                                     factory.origin, why));
}

// Calls the factory of the table, whose exceptions know neither table nor plug-in.
Vek::Ptr<OrviaAsicUtils::SwTableUtil> makeUtil(OrviaAsicUtils::SwTable& table) {
  auto const& factory = *OrviaAsicUtils::utilFactory(table.fwkType().name());
  Vek::Ptr<OrviaAsicUtils::SwTableUtil> util;
  try {
    util = factory.create(table);
  } catch (std::exception const& failure) {
    utilFailed(factory, failure.what());
  } catch (...) {
    utilFailed(factory, "it threw something that is no std::exception");
  }
  if (!util) utilFailed(factory, "it made none");
  return util;
}

}  // namespace

OrviaAsicUtils::UtilCreate pluginUtilOf(OrviaAsicUtils::SwTable const& table) {
  std::string const name = table.fwkType().name();
  // A factory that is known stays known.
  if (OrviaAsicUtils::utilFactory(name) != nullptr) return &makeUtil;
  // The loader of the table's plug-ins is named after the table, and made with its library.
  Vek::Ptr<Vek::Entity> const entity = Vek::Entity::singletonExists(name + "UtilLoader");
  auto const* const loader = Vek::vekCast<Loader::Singleton>(entity.get());
  throw TableSourceError(fmt::format("{} has no utility: {}", name,
                                     loader != nullptr
                                         ? Plugin::loadRecord(loader->path()).text()
                                         : std::string("no plug-ins were asked for")));
}

TableSource loadedTables(void* library) {
  return {.ingress = factory(library, "orviaIngL3NextHop1TableFactory"),
          .ecmp = factory(library, "orviaEcmpIngL3NextHop1TableFactory"),
          .members = factory(library, "orviaL3EcmpMemberTableFactory"),
          .groups = factory(library, "orviaL3EcmpGroupTableFactory"),
          .utilOf = &pluginUtilOf};
}

}  // namespace OrviaL3Agent
