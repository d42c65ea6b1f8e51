// Carries the hardware's answers to a table's entry handles.
//
// Watches the hardware table that the given table has when the reactor is made. For every write
// response it asks the table for the handle of the answered row and sets the handle's row, then its
// state; a response for a row that no entry owns changes nothing. The link to the table does not
// keep it alive; the table clears it when it dies, and answers change nothing from then on.
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

  // The table, or none once it is gone.
  [[nodiscard]] SwTable* table() const { return table_; }

 private:
  friend class SwTable;
  explicit WriteResponseSm(SwTable* table);

  SwTable* table_;
  Vek::ChainHook<WriteResponseSm> hook_;  // of the table
};

}  // namespace OrviaAsicUtils
