#pragma once

#include <utility>

#include "OrviaL3Unicast/engine/NeededHandles.h"
#include "OrviaL3Unicast/plumbing/Trace.h"

namespace OrviaL3Unicast::engine {

template <class T>
typename NeededEntryHandleSm<T>::Ptr NeededEntryHandleSm<T>::NeededEntryHandleSmIs(
    Vek::Ptr<Handle const> const& handle, Vek::AttributeId attributeId,
    NeededHandleTally<T>* enclosing) {
  return new NeededEntryHandleSm(handle, attributeId, enclosing);
}

template <class T>
NeededEntryHandleSm<T>::NeededEntryHandleSm(Vek::Ptr<Handle const> const& handle,
                                            Vek::AttributeId attributeId,
                                            NeededHandleTally<T>* enclosing)
    : handle_(handle), enclosing_(enclosing), attributeId_(attributeId) {
  typename NeededEntryHandleSm::ConstructionHold const hold(*this);
  Vek::NotifieeConst::notifierIs(handle_.get());
  this->isRegisteredNotifieeIs(true);
  doEnclosingInit();
}

template <class T>
NeededEntryHandleSm<T>::~NeededEntryHandleSm() {
  // The link goes before the count, so that a handle that dies with this watcher does not find it.
  Vek::NotifieeConst::notifierIs(nullptr);
}

template <class T>
Vek::VekType NeededEntryHandleSm<T>::fwkType() const {
  return classType();
}
template <class T>
Vek::VekType NeededEntryHandleSm<T>::classType() {
  return {T::module(), T::numbers.neededEntryHandleSm};
}

template <class T>
void NeededEntryHandleSm<T>::notifierIs(Vek::Ptr<Vek::PtrInterface const> const& notifier) {
  Vek::Ptr<Handle const> old = Vek::vekCast<Handle>(notifier.get());
  if (old == handle_) return;
  Vek::Ptr<NeededEntryHandleSm> const self(this);
  old.swap(handle_);
  Vek::NotifieeConst::notifierIs(handle_.get());
  // Looks before it registers, and registers also when what it resolves throws.
  struct Registration {
    NeededEntryHandleSm& watcher;
    ~Registration() { watcher.isRegisteredNotifieeIs(true); }
  } const registration{*this};
  if (handle_ && !this->markedForDeletion()) handleEntryProgramming();
}

template <class T>
void NeededEntryHandleSm<T>::onAttribute(Vek::AttributeId changed, void const*) {
  if (changed != Handle::hwEntryIndexAttribute && changed != Handle::entryStateAttribute) return;
  if (this->markedForDeletion()) return;
  handleEntryProgramming();
}

template <class T>
void NeededEntryHandleSm<T>::doEnclosingInit() {
  plumbing::trace<T, "doEnclosingInit", ": initializing neededEntryHandleSm: ">(attributeId_);
  handleEntryProgramming();
}

template <class T>
void NeededEntryHandleSm<T>::handleEntryProgramming() {
  if (!handle_ || !handle_->isProgrammed()) {
    if constexpr (!T::holdsBlocks) {
      plumbing::trace<T, "handleEntryProgramming", ": returning from ">();
    }
    return;
  }
  if (enclosing_ == nullptr || (T::holdsBlocks && counted_)) return;
  counted_ = true;
  Vek::Ptr<NeededEntryHandleSm> const self(this);
  Vek::Ptr<NeededHandleTally<T>> const enclosing(enclosing_);
  // Finds nothing while this watcher is still under construction.
  enclosing->neededEntryHandleSmDel(attributeId_);
  enclosing->entryHandleProgramSuccessCountInc(1);
}

template <class T>
NeededHandleTally<T>::~NeededHandleTally() = default;

template <class T>
typename NeededEntryHandleSm<T>::Ptr NeededHandleTally<T>::neededEntryHandleSmIs(
    NeededHandle const& handle, Vek::AttributeId attributeId) {
  Vek::Ptr<NeededHandleTally> const self(this);
  if (typename NeededEntryHandleSm::Ptr const found = neededEntryHandleSm(attributeId)) {
    found->notifierIs(handle);
    return found;
  }
  auto const made = NeededEntryHandleSm::NeededEntryHandleSmIs(handle, attributeId, this);
  // What was resolved during the construction may have made another watcher for the attribute.
  neededEntryHandleSmDel(attributeId);
  watchers_.set(attributeId, made);
  made->hasNotificationActiveIs(true);
  return made;
}

template <class T>
typename NeededEntryHandleSm<T>::Ptr NeededHandleTally<T>::neededEntryHandleSmDel(
    Vek::AttributeId attributeId) {
  auto const taken = neededEntryHandleSm(attributeId);
  if (!taken) return {};
  watchers_.set(attributeId, nullptr);
  taken->hasNotificationActiveIs(false);
  taken->enclosingDel();  // it counts for nobody any more, whoever still holds it
  return taken;
}

template <class T>
void NeededHandleTally<T>::neededEntryHandleSmDelAll() {
  decltype(watchers_) taken;
  taken.swap(watchers_);
  for (auto const& member : taken) {
    if (!member.value) continue;
    member.value->hasNotificationActiveIs(false);
    member.value->enclosingDel();
  }
}

template <class T>
typename NeededEntryHandleSm<T>::Ptr NeededHandleTally<T>::neededEntryHandleSm(
    Vek::AttributeId attributeId) const {
  auto const* const found = watchers_.find(attributeId);
  return found != nullptr ? *found : nullptr;
}

template <class T>
void NeededHandleTally<T>::entryHandleProgramSuccessCountIs(Vek::U16 count) {
  if (entryHandleProgramSuccessCount_ == count) return;
  entryHandleProgramSuccessCount_ = count;
  handleEntryHandleProgramSuccessCount();
}

template <class T>
void NeededHandleTally<T>::entryHandleProgramSuccessCountInc(Vek::U16 by) {
  entryHandleProgramSuccessCountIs(static_cast<Vek::U16>(entryHandleProgramSuccessCount_ + by));
}

}  // namespace OrviaL3Unicast::engine
