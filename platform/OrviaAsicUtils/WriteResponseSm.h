// Carries the hardware's answers to a table's entry handles.
//
// Watches the hardware table that the given table has when the reactor is made. For every write
// response it asks the table for the handle of the answered row and sets the handle's row, then its
// state; a response for a row that no entry owns changes nothing. The link to the table does not keep
// it alive: the owner of the reactor is the table itself, which drops it before it dies.
#pragma once

#include "OrviaAsicUtils/SwTable.h"
#include "Vek/NotifieeConst.h"

namespace OrviaAsicUtils {

class VEK_EXPORT WriteResponseSm final : public Vek::Tracked<WriteResponseSm, Vek::NotifieeConst> {
 public:
  // A reactor whose notifications are still off.
  static Vek::Ptr<WriteResponseSm> WriteResponseSmIs(Vek::Ptr<SwTable> const& table);

  [[nodiscard]] Vek::VekType fwkType() const override;
  ~WriteResponseSm() override;
  void onAttribute(Vek::AttributeId attributeId, void const* key) override;

  static Vek::VekType classType();
  static constexpr char const* typeName() { return "OrviaAsicUtils::WriteResponseSm"; }

  [[nodiscard]] SwTable* table() const { return table_; }

 private:
  explicit WriteResponseSm(SwTable* table);

  SwTable* table_;
};

}  // namespace OrviaAsicUtils
