// Calls a caller's response handler when the hardware's answer is in.
//
// One per key: watches the key's own handle and, on each change of its state or row that leaves it
// refused, or successful in a known row, calls a copy of the handle's handler. It never removes
// itself: it reports again on each later change, until the key is removed.
#pragma once

#include "OrviaL3Unicast/engine/EntryHandle.h"
#include "Vek/NotifieeConst.h"

namespace OrviaL3Unicast::engine {

template <class T>
class PendingEntrySm final : public Vek::Tracked<PendingEntrySm<T>, Vek::NotifieeConst> {
 public:
  using Table = typename T::Table;
  using Key = typename T::Key;
  using Handle = EntryHandle<T>;
  using Ptr = Vek::Ptr<PendingEntrySm>;

  static Ptr PendingEntrySmIs(Vek::Ptr<Handle> const& entryHandle, Key const& key);

  // Registers with the handle without looking at it: a new reactor first acts on the next change.
  PendingEntrySm(Vek::Ptr<Handle> const& entryHandle, Key const& key);
  [[nodiscard]] Vek::VekType fwkType() const override;
  ~PendingEntrySm() override;
  void onAttribute(Vek::AttributeId attributeId, void const* key) override;

  static Vek::VekType classType();
  static constexpr char const* typeName() { return nestedName<T, "PendingEntrySm">.c_str(); }

  [[nodiscard]] Key const& key() const { return key_; }
  // The table whose collection this is in, or none.
  [[nodiscard]] Table* table() const { return table_; }
  void tableIs(Table* table) { table_ = table; }
  // The observed handle; empty when it died or was never there.
  [[nodiscard]] Vek::Ptr<Handle const> notifier() const;
  // Re-targets. A different handle is looked at once; an object of another type counts as none.
  void notifierIs(Vek::Ptr<Vek::PtrInterface const> const& notifier);

  // Looks at the handle and calls the handler when there is an outcome. What the handler throws
  // passes out.
  void processEntryHandleCompletion();

 private:
  Key const key_;
  Table* table_ = nullptr;
};

}  // namespace OrviaL3Unicast::engine
