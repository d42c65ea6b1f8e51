#include "Vek/Entity.h"

#include "Vek/GenericIf.h"
#include "Vek/PlatformModules.h"

namespace Vek {

VekType Entity::fwkType() const { return classType(); }
VekType Entity::classType() { return {&vekModule, VekNumbers::entity}; }
Entity::~Entity() = default;
String Entity::name() const { return name_; }
void Entity::handleParent(Ptr<Entity>) {}

VekType GenericIf::fwkType() const { return classType(); }
VekType GenericIf::classType() { return {&vekModule, VekNumbers::genericIf}; }
GenericIf::~GenericIf() = default;

}  // namespace Vek
