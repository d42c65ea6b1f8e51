// The tally of programmed needed handles, and the watcher that feeds it.
//
// What waits for entries of other tables keeps one watcher per needed handle, keyed by the
// attribute that the handle feeds. A watcher that sees its handle programmed (state success, in a
// known row) counts itself; each change of the count runs the resolution step of whoever waits.
//
// The count is a plain tally of observations, compared with the needed number for equality. It is
// deliberate that it can pass that number without stopping on it, and that, for entries, one handle
// can be counted more than once (see neededEntryHandleSmIs). A watcher of a block counts once,
// whatever its handle does later.
#pragma once

#include <cstdint>

#include "Asic/SwTable.h"
#include "OrviaL3Unicast/engine/TableTraits.h"
#include "Vek/FixedWidth.h"
#include "Vek/NotifieeConst.h"
#include "Vek/SmallMap.h"

namespace OrviaL3Unicast::engine {

template <class T>
class NeededHandleTally;

template <class T>
class NeededEntryHandleSm final : public Vek::Tracked<NeededEntryHandleSm<T>, Vek::NotifieeConst> {
 public:
  using Handle = Asic::SwTable::EntryHandle;
  using Ptr = Vek::Ptr<NeededEntryHandleSm>;

  static Ptr NeededEntryHandleSmIs(Vek::Ptr<Handle const> const& handle,
                                   Vek::AttributeId attributeId, NeededHandleTally<T>* enclosing);

  // Registers with the handle and runs doEnclosingInit(): a handle that is already programmed is
  // counted in here, before the watcher is in any collection.
  NeededEntryHandleSm(Vek::Ptr<Handle const> const& handle, Vek::AttributeId attributeId,
                      NeededHandleTally<T>* enclosing);
  [[nodiscard]] Vek::VekType fwkType() const override;
  ~NeededEntryHandleSm() override;
  void onAttribute(Vek::AttributeId changed, void const* key) override;

  static Vek::VekType classType();
  static constexpr char const* typeName() {
    if constexpr (T::holdsBlocks) {
      return nestedName<T, "UnresolvedEntryBlock::NeededEntryHandleSm">.c_str();
    } else {
      return nestedName<T, "UnresolvedEntry::NeededEntryHandleSm">.c_str();
    }
  }

  [[nodiscard]] Vek::AttributeId attributeId() const { return attributeId_; }
  // What it counts for, or none when that is gone or has removed the watcher.
  [[nodiscard]] NeededHandleTally<T>* enclosing() const { return enclosing_; }
  void enclosingDel() { enclosing_ = nullptr; }
  [[nodiscard]] Vek::Ptr<Handle const> notifier() const { return handle_; }
  // Re-targets; a different handle is looked at once. An object of another type counts as none.
  void notifierIs(Vek::Ptr<Vek::PtrInterface const> const& notifier);

  void doEnclosingInit();
  // The counting step: leaves the collection and counts when the handle is programmed, else goes on
  // waiting.
  void handleEntryProgramming();

 private:
  Vek::Ptr<Handle const> handle_;  // unlike other reactors, a watcher keeps what it watches alive
  NeededHandleTally<T>* enclosing_;
  Vek::AttributeId attributeId_;
  bool counted_ = false;
};

template <class T>
class NeededHandleTally : public Vek::PtrInterface {
 public:
  using NeededEntryHandleSm = engine::NeededEntryHandleSm<T>;
  using NeededHandle = Vek::Ptr<Asic::SwTable::EntryHandle const>;

  // A derived class lets go of the watchers first (neededEntryHandleSmDelAll), before what it
  // counts for begins to end.
  ~NeededHandleTally() override;

  // The watcher of the attribute: an existing one is re-targeted to `handle`. A new one is
  // constructed, which counts a handle that is already programmed; only then is it inserted and
  // switched on. So a watcher that counted at once stays, and counts again at a later change that
  // leaves its handle programmed: intended, keep the order.
  typename NeededEntryHandleSm::Ptr neededEntryHandleSmIs(NeededHandle const& handle,
                                                          Vek::AttributeId attributeId);
  // Removes one watcher, switches it off and returns it, or empty. Announces nothing.
  typename NeededEntryHandleSm::Ptr neededEntryHandleSmDel(Vek::AttributeId attributeId);
  void neededEntryHandleSmDelAll();
  // The watcher of the attribute, or empty.
  [[nodiscard]] typename NeededEntryHandleSm::Ptr neededEntryHandleSm(
      Vek::AttributeId attributeId) const;
  // All of them, by ascending attribute; a removed one can have left an empty reference behind.
  [[nodiscard]] auto const& neededEntryHandleSm() const { return watchers_; }

  [[nodiscard]] Vek::U16 neededEntryHandleCount() const { return neededEntryHandleCount_; }
  [[nodiscard]] Vek::U16 entryHandleProgramSuccessCount() const {
    return entryHandleProgramSuccessCount_;
  }
  // A changed value runs the resolution step once.
  void entryHandleProgramSuccessCountIs(Vek::U16 count);
  // Adds, wrapping around at 16 bits; a changed value runs the resolution step once.
  void entryHandleProgramSuccessCountInc(Vek::U16 by);

  // The resolution step: when the count equals the needed number, writes what waited.
  virtual void handleEntryHandleProgramSuccessCount() = 0;

 protected:
  NeededHandleTally() = default;
  void neededEntryHandleCountIs(Vek::U16 count) { neededEntryHandleCount_ = count; }
  // Whether the resolution step has come. Something that needs no handle is never written by this
  // mechanism, also when its step is run from outside.
  [[nodiscard]] bool countIsComplete() const {
    return neededEntryHandleCount_ != 0 &&
           entryHandleProgramSuccessCount_ == neededEntryHandleCount_;
  }

 private:
  // A removed watcher leaves an empty reference behind, so that counting the members of a wide
  // block one after the other does not move the rest each time.
  Vek::SmallMap<Vek::AttributeId, typename NeededEntryHandleSm::Ptr, 2> watchers_;
  Vek::U16 neededEntryHandleCount_ = 0;
  Vek::U16 entryHandleProgramSuccessCount_ = 0;
};

}  // namespace OrviaL3Unicast::engine
