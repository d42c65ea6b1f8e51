#include "OrviaAsicUtils/UtilFactory.h"

#include <functional>
#include <map>

namespace OrviaAsicUtils {
namespace {

// Function-local: plug-ins register while the shared objects of the process are being initialised.
auto& factories() {
  static auto* byTable = new std::map<std::string, UtilFactory, std::less<>>;
  return *byTable;
}

}  // namespace

bool utilFactoryIs(UtilFactory const& factory) {
  return factories().try_emplace(factory.table, factory).second;
}

UtilFactory const* utilFactory(std::string_view table) {
  auto const found = factories().find(table);
  return found != factories().end() ? &found->second : nullptr;
}

}  // namespace OrviaAsicUtils
