// Something that a plug-in can supply, found by its name.
#pragma once

#include "Vek/Entity.h"

namespace Asic {

class VEK_EXPORT Feature : public Vek::Entity {
 public:
  [[nodiscard]] Vek::VekType fwkType() const override;
  ~Feature() override;
  // The name under which the feature is offered: the entity's name unless overridden.
  [[nodiscard]] virtual Vek::String featureName() const;
  // Whether one object may serve several users of the given type. False unless overridden.
  [[nodiscard]] virtual bool shared(Vek::VekType user) const;

  static Vek::VekType classType();

 protected:
  explicit Feature(Vek::String const& name) : Entity(name) {}
};

}  // namespace Asic
