// A counted, read-only view of a value whose type only its maker and its reader know: the pair of a
// framework type and the address of the value.
#pragma once

#include "Vek/PtrInterface.h"

namespace Vek {

class VEK_EXPORT GenericIf : public Tracked<GenericIf, PtrInterface> {
 public:
  GenericIf(VekType valueType, void const* value) : valueType_(valueType), value_(value) {}
  [[nodiscard]] VekType fwkType() const override;
  ~GenericIf() override;

  static VekType classType();
  static constexpr char const* typeName() { return "Vek::GenericIf"; }

  [[nodiscard]] VekType valueType() const { return valueType_; }
  // Valid as long as the value that the maker passed.
  [[nodiscard]] void const* value() const { return value_; }

 private:
  VekType valueType_;
  void const* value_;
};

}  // namespace Vek
