#include "Vek/Entity.h"

#include <map>
#include <utility>

#include "Vek/Exception.h"
#include "Vek/GenericIf.h"
#include "Vek/PlatformModules.h"

namespace Vek {
namespace {

// Function-local: singletons are made in static initialisers of other shared objects.
auto& singletons() {
  static auto* entities = new std::map<String, Ptr<Entity>>;  // lives until exit, for late readers
  return *entities;
}

std::string typeText(VekType type) {
  std::string const module = type.module != nullptr ? type.module->name : "none";
  return type.info() != nullptr ? std::string(type.name())
                                : "type " + std::to_string(type.number) + " of module " + module;
}

}  // namespace

VekType Entity::fwkType() const { return classType(); }
VekType Entity::classType() { return {&vekModule, VekNumbers::entity}; }
Entity::~Entity() = default;
String Entity::name() const { return name_; }
void Entity::handleParent(Ptr<Entity>) {}

Ptr<Entity> Entity::singletonExists(String const& name) {
  auto const found = singletons().find(name);
  return found != singletons().end() ? found->second : nullptr;
}

Ptr<Entity> Entity::singletonIs(VekType type, String const& name) {
  if (Ptr<Entity> known = singletonExists(name)) return known;
  VekTypeInfo const* const info = type.info();
  if (info == nullptr || info->newEntityForDir == nullptr) {
    throw Exception(typeText(type) + " cannot be made by name: " + name.str());
  }
  Ptr<Entity> const made = info->newEntityForDir(name, nullptr);
  if (!made) throw Exception(typeText(type) + " was not made: " + name.str());
  // The first that is there counts, also when the hook itself asked for the name.
  return singletons().try_emplace(name, made).first->second;
}

void throwNewEntityArgsException(VekModule const* module, std::uint16_t number) {
  throw NewEntityArgsException("unexpected constructor arguments for " +
                               typeText({module, number}));
}

VekType GenericIf::fwkType() const { return classType(); }
VekType GenericIf::classType() { return {&vekModule, VekNumbers::genericIf}; }
GenericIf::~GenericIf() = default;

}  // namespace Vek
