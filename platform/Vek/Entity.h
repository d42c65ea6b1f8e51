// A named object that can live under another one, and the named objects of which a process has one.
//
//   auto loader = Entity::singletonExists(name);
//   if (!loader) loader = Entity::singletonIs(type, name);
//
// Whoever asks first makes a singleton, through the hook newEntityForDir of its type; every shared
// object of the process finds the same one by its name. The process keeps it from then on: it is
// never released, since statics of any shared object may ask for it until the very end.
//
// One thread: singletons are made while shared objects are loaded.
#pragma once

#include "Vek/NotifieeConst.h"
#include "Vek/String.h"

namespace Vek {

class VEK_EXPORT Entity : public PtrInterface {
 public:
  [[nodiscard]] VekType fwkType() const override;
  ~Entity() override;
  [[nodiscard]] virtual String name() const;
  // Told when the entity gets a parent. Does nothing unless overridden.
  virtual void handleParent(Ptr<Entity> parent);

  static VekType classType();

  // The process's entity of that name, or none.
  [[nodiscard]] static Ptr<Entity> singletonExists(String const& name);
  // The process's entity of that name, whatever its type; without one, a new one of the given type.
  // Raises Vek::Exception when the type cannot be made by name. What the type's hook throws passes,
  // and there is no such entity then.
  static Ptr<Entity> singletonIs(VekType type, String const& name);

 protected:
  explicit Entity(String name = {}) : name_(std::move(name)) {}

 private:
  String name_;
};

// Constructor arguments were given for an entity of a type that takes a name only. Raises
// NewEntityArgsException, whose text names the type.
[[noreturn]] VEK_EXPORT void throwNewEntityArgsException(VekModule const* module,
                                                         std::uint16_t number);

}  // namespace Vek
