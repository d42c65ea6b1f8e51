#pragma once

#include "OrviaL3Unicast/engine/EntryTable.h"
#include "OrviaL3Unicast/engine/PendingEntry.h"

namespace OrviaL3Unicast::engine {

template <class T>
typename PendingEntrySm<T>::Ptr PendingEntrySm<T>::PendingEntrySmIs(
    Vek::Ptr<Handle> const& entryHandle, Key const& key) {
  return new PendingEntrySm(entryHandle, key);
}

template <class T>
PendingEntrySm<T>::PendingEntrySm(Vek::Ptr<Handle> const& entryHandle, Key const& key) : key_(key) {
  Vek::NotifieeConst::notifierIs(entryHandle.get());
  this->isRegisteredNotifieeIs(true);
}

template <class T>
PendingEntrySm<T>::~PendingEntrySm() = default;

template <class T>
Vek::VekType PendingEntrySm<T>::fwkType() const {
  return classType();
}
template <class T>
Vek::VekType PendingEntrySm<T>::classType() {
  return {T::module(), T::numbers.pendingEntrySm};
}

template <class T>
Vek::Ptr<EntryHandle<T> const> PendingEntrySm<T>::notifier() const {
  return static_cast<Handle const*>(this->plainNotifier());
}

template <class T>
void PendingEntrySm<T>::notifierIs(Vek::Ptr<Vek::PtrInterface const> const& notifier) {
  Vek::Ptr<Handle const> const handle(Vek::vekCast<Handle>(notifier.get()));
  if (handle.get() == this->plainNotifier()) return;
  Vek::Ptr<PendingEntrySm> const self(this);
  Vek::NotifieeConst::notifierIs(handle.get());
  // Looks before it registers: what the handler changes on the handle now is not reported again. A
  // handler that throws does not keep the reactor from watching on.
  struct Registration {
    PendingEntrySm& reactor;
    ~Registration() { reactor.isRegisteredNotifieeIs(true); }
  } const registration{*this};
  if (handle && !this->markedForDeletion()) processEntryHandleCompletion();
}

template <class T>
void PendingEntrySm<T>::onAttribute(Vek::AttributeId attributeId, void const*) {
  if (attributeId != Handle::hwEntryIndexAttribute && attributeId != Handle::entryStateAttribute) {
    return;
  }
  if (this->markedForDeletion()) return;
  processEntryHandleCompletion();
}

template <class T>
void PendingEntrySm<T>::processEntryHandleCompletion() {
  Vek::Ptr<Handle const> const handle = notifier();
  if (!handle) return;
  // Refusal comes first: a refused handle reports failure whatever its row.
  if (handle->entryState() != Asic::HwTable::refused && !handle->isProgrammed()) return;
  if (!handle->writeResponseHandler()) return;
  auto const outcome = handle->entryState();
  // The call runs on a copy: the handler may replace the one on the handle, or end this reactor.
  WriteResponseHandler const handler = handle->writeResponseHandler();
  handler(outcome);
}

template <class T>
typename EntryTable<T>::PendingEntrySm::Ptr EntryTable<T>::pendingEntrySmIs(
    Vek::Ptr<EntryHandle> const& entryHandle, Key const& key) {
  Vek::Ptr<Table> const alive(&this->table());
  auto& column = this->store_.findOrInsert(key).value.pendingEntrySm;
  if (column) {
    typename PendingEntrySm::Ptr const found = column;
    found->notifierIs(entryHandle);
    return found;
  }
  typename PendingEntrySm::Ptr const made = PendingEntrySm::PendingEntrySmIs(entryHandle, key);
  column = made;
  ++counts_.pendingEntrySms;
  made->tableIs(&this->table());
  this->announceKey(TableBase<T>::Attribute::pendingEntrySm, key);
  // Taken out again by an observer: stays off.
  if (made->table() != nullptr) made->hasNotificationActiveIs(true);
  return made;
}

template <class T>
typename EntryTable<T>::PendingEntrySm::Ptr EntryTable<T>::pendingEntrySmDel(Key const& key) {
  auto* const node = this->store_.find(key);
  if (node == nullptr || !node->value.pendingEntrySm) return {};
  typename PendingEntrySm::Ptr taken = std::move(node->value.pendingEntrySm);
  --counts_.pendingEntrySms;
  taken->tableIs(nullptr);
  this->releaseIfEmpty(*node);
  this->announceKey(TableBase<T>::Attribute::pendingEntrySm, taken->key());
  taken->hasNotificationActiveIs(false);
  return taken;
}

template <class T>
void EntryTable<T>::pendingEntrySmDelAll() {
  Vek::Ptr<Table> const alive(&this->table());
  if (counts_.pendingEntrySms == 0) return;
  this->store_.walk([this](auto& node) {
    if (Vek::Ptr<PendingEntrySm> const sm = node.value.pendingEntrySm) pendingEntrySmDel(sm->key());
  });
  // Whatever observers put back meanwhile goes without another word.
  if (counts_.pendingEntrySms == 0) return;
  this->store_.walk([this](auto& node) {
    typename PendingEntrySm::Ptr const sm = std::move(node.value.pendingEntrySm);
    if (!sm) return;
    --counts_.pendingEntrySms;
    sm->tableIs(nullptr);
    sm->hasNotificationActiveIs(false);
    this->releaseIfEmpty(node);
  });
}

template <class T>
typename EntryTable<T>::PendingEntrySm::Ptr EntryTable<T>::pendingEntrySm(Key const& key) const {
  auto const* const node = this->store_.find(key);
  return node != nullptr ? node->value.pendingEntrySm : nullptr;
}

}  // namespace OrviaL3Unicast::engine
