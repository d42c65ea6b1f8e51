// A named object that can live under another one.
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

 protected:
  explicit Entity(String name = {}) : name_(std::move(name)) {}

 private:
  String name_;
};

}  // namespace Vek
