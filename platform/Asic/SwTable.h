// A software table, and the handle to one entry of it.
#pragma once

#include "Asic/HwTable.h"
#include "Asic/Index.h"
#include "Vek/Entity.h"

namespace Asic {

class VEK_EXPORT SwTable : public Vek::Entity {
 public:
  // An entry as its callers and the entries of other tables see it: hardware row and state. Starts
  // without a row, in the state not yet answered. The setters announce changed values only;
  // reactors (response handlers, the resolution of waiting entries) run inside them.
  class VEK_EXPORT EntryHandle : public Vek::Tracked<EntryHandle, Vek::PtrInterface> {
   public:
    using Ptr = Vek::Ptr<EntryHandle>;
    using PtrConst = Vek::Ptr<EntryHandle const>;

    static constexpr Vek::AttributeId hwEntryIndexAttribute{1};
    static constexpr Vek::AttributeId entryStateAttribute{2};

    EntryHandle() = default;
    [[nodiscard]] Vek::VekType fwkType() const override;
    ~EntryHandle() override;

    static Vek::VekType classType();
    static constexpr char const* typeName() { return "Asic::SwTable::EntryHandle"; }

    [[nodiscard]] Index hwEntryIndex() const { return hwEntryIndex_; }
    void hwEntryIndexIs(Index row) {
      if (hwEntryIndex_ == row) return;
      hwEntryIndex_ = row;
      announce(hwEntryIndexAttribute);
    }
    [[nodiscard]] HwTable::EntryState entryState() const { return entryState_; }
    void entryStateIs(HwTable::EntryState state) {
      if (entryState_ == state) return;
      entryState_ = state;
      announce(entryStateAttribute);
    }
    // Whether the hardware holds the entry in a known row: what entries that point at it wait for.
    [[nodiscard]] bool isProgrammed() const {
      return entryState_ == HwTable::success() && hwEntryIndex_ != Index::invalidIndex();
    }

   private:
    Index hwEntryIndex_ = Index::invalidIndex();
    HwTable::EntryState entryState_ = HwTable::notAnswered;
  };

  [[nodiscard]] Vek::VekType fwkType() const override;
  ~SwTable() override;

  static Vek::VekType classType();

 protected:
  using Vek::Entity::Entity;
};

}  // namespace Asic
