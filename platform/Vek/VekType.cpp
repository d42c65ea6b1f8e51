#include "Vek/VekType.h"

#include <algorithm>

namespace Vek {
namespace {

// Function-local: modules register from static initialisers of other shared objects.
std::vector<VekModule const*>& registeredModules() {
  static auto* modules = new std::vector<VekModule const*>;  // lives until exit, for late readers
  return *modules;
}

}  // namespace

VekTypeInfo const* VekType::info() const {
  if (module == nullptr) return nullptr;
  for (VekTypeInfo const& type : module->types) {
    if (type.number == number) return &type;
  }
  return nullptr;
}

char const* VekType::name() const {
  VekTypeInfo const* description = info();
  return description != nullptr ? description->name : "";
}

VekValueOps const* VekType::valueOps() const {
  VekTypeInfo const* description = info();
  return description != nullptr ? description->value : nullptr;
}

bool VekType::derivesFrom(VekType other) const {
  for (VekTypeInfo const* type = info(); type != nullptr; type = type->base.info()) {
    if (type->base == other) return true;
  }
  return false;
}

void vekModuleIs(VekModule const* module) {
  auto& modules = registeredModules();
  if (std::find(modules.begin(), modules.end(), module) == modules.end()) modules.push_back(module);
}

std::vector<VekModule const*> vekModules() { return registeredModules(); }

}  // namespace Vek
