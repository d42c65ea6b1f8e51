// A reactor: watches one object and runs inside the setters that announce its changes.
//
// Life: notifierIs(object) says what to watch, isRegisteredNotifieeIs(true) enters the reactor into
// the object's list, hasNotificationActiveIs(true) lets announcements through. The link to the
// notifier does not keep it alive: when the notifier dies, the link is cleared and
// onZeroReferences() is called. A reactor leaves its notifier's list when it is destroyed or
// re-targeted.
//
// Zombies: vekDoZombieReactors(true) marks the reactor for deletion and switches its notifications
// off; (false) takes both back.
#pragma once

#include "Vek/PtrInterface.h"

namespace Vek {

class VEK_EXPORT NotifieeConst : public PtrInterface {
 public:
  void hasNotificationActiveIs(bool active) override;
  [[nodiscard]] VekType fwkType() const override;
  ~NotifieeConst() override;
  // The notifier is gone; notifier() is already empty. Does nothing unless overridden.
  virtual void onZeroReferences();
  // One announcement of the notifier; for a collection member `key` points to the changed key.
  virtual void onAttribute(AttributeId attributeId, void const* key) = 0;
  virtual void vekDoZombieReactors(bool zombie);

  static VekType classType();

  [[nodiscard]] Ptr<PtrInterface const> notifier() const { return notifier_; }
  // Leaves the present notifier; the reactor must be registered again. A notifier that is being
  // destroyed counts as none.
  void notifierIs(PtrInterface const* notifier);
  [[nodiscard]] bool isRegisteredNotifiee() const { return isRegisteredNotifiee_; }
  // Enters the notifier's list (behind all others) or leaves it; nothing without a notifier.
  void isRegisteredNotifieeIs(bool registered);
  [[nodiscard]] bool markedForDeletion() const { return markedForDeletion_; }

 protected:
  NotifieeConst() = default;
  // The notifier without counting it.
  [[nodiscard]] PtrInterface const* plainNotifier() const { return notifier_; }

 private:
  friend class PtrInterface;
  friend class NotifieeList;

  ChainHook<NotifieeConst> hook_;
  PtrInterface const* notifier_ = nullptr;
};

}  // namespace Vek
