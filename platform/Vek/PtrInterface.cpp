#include "Vek/PtrInterface.h"

#include <exception>

#include "Vek/NotifieeConst.h"
#include "Vek/PlatformModules.h"

namespace Vek {

namespace detail {
constinit bool threadSafePointersOn = false;
}

void threadSafePointersIs(bool on) { detail::threadSafePointersOn = on; }

ChainHook<NotifieeConst>& NotifieeList::Hook::of(NotifieeConst& notifiee) { return notifiee.hook_; }

void NotifieeList::visitAll(AttributeId attributeId, void const* key) {
  Ptr<PtrInterface const> const alive(static_cast<PtrInterface const*>(this));
  std::exception_ptr first;
  notifiees_.walk([&](NotifieeConst& notifiee) {
    if (!notifiee.isRegisteredNotifiee() || !notifiee.hasNotificationActive()) return;
    try {
      notifiee.onAttribute(attributeId, key);
    } catch (...) {
      if (!first) first = std::current_exception();
    }
  });
  if (first) std::rethrow_exception(first);
}

NotifieeList* PtrInterface::notifieeList() const { return const_cast<PtrInterface*>(this); }

void PtrInterface::hasNotificationActiveIs(bool active) { hasNotificationActive_ = active; }

void PtrInterface::zeroReferencesIs(bool zero) {
  if (zero) delete this;
}

VekType PtrInterface::fwkType() const { return classType(); }
VekType PtrInterface::classType() { return {&vekModule, VekNumbers::ptrInterface}; }

void PtrInterface::handleZeroRef() const {
  references_ = dyingReferences;
  const_cast<PtrInterface*>(this)->zeroReferencesIs(true);
}

void PtrInterface::deleteRefWithoutEnd() const {
  if (threadSafePointers()) {
    std::atomic_ref<std::uint32_t>(references_).fetch_sub(1, std::memory_order_acq_rel);
  } else {
    --references_;
  }
}

PtrInterface::~PtrInterface() {
  ending_ = true;
  while (NotifieeConst* notifiee = notifiees_.first()) {
    notifiees_.remove(*notifiee);
    notifiee->isRegisteredNotifiee_ = false;
    notifiee->notifier_ = nullptr;
    notifiee->onZeroReferences();
  }
}

void NotifieeConst::hasNotificationActiveIs(bool active) {
  if (active == hasNotificationActive()) return;
  PtrInterface::hasNotificationActiveIs(active);
}

VekType NotifieeConst::fwkType() const { return classType(); }
VekType NotifieeConst::classType() { return {&vekModule, VekNumbers::notifieeConst}; }

NotifieeConst::~NotifieeConst() { notifierIs(nullptr); }

void NotifieeConst::onZeroReferences() {}

void NotifieeConst::vekDoZombieReactors(bool zombie) {
  if (markedForDeletion_ == zombie) return;
  if (notifier_ != nullptr) hasNotificationActiveIs(!zombie);
  markedForDeletion_ = zombie;
}

void NotifieeConst::notifierIs(PtrInterface const* notifier) {
  // In the list from now on, registered or not: that is how the notifier clears the link when it
  // dies.
  if (notifier_ != nullptr) notifier_->notifieeList()->notifiees_.remove(*this);
  isRegisteredNotifiee_ = false;
  notifier_ = notifier != nullptr && !notifier->ending_ ? notifier : nullptr;
  if (notifier_ != nullptr) notifier_->notifieeList()->notifiees_.append(*this);
}

void NotifieeConst::isRegisteredNotifieeIs(bool registered) {
  if (registered == isRegisteredNotifiee_ || notifier_ == nullptr) return;
  isRegisteredNotifiee_ = registered;
  if (!registered) return;
  // Its place is behind all who registered before, and outside a visit that is under way.
  notifier_->notifieeList()->notifiees_.remove(*this);
  notifier_->notifieeList()->notifiees_.append(*this);
}

}  // namespace Vek
