// Counted objects and their notifications: the base of every heap object of the system.
//
// PtrInterface carries an intrusive reference count and the list of the reactors that watch the
// object. Vek::Ptr counts; when the last reference goes, handleZeroRef() destroys the object. An
// object under destruction may still announce and be referred to for a moment: such references
// never destroy it a second time, and whoever keeps one must ask isEnding() first. Objects live on
// the heap and are held by counted references before they announce: a visit holds one of its own,
// and letting that go would otherwise be the end of the object.
//
// A setter announces its change with notifieeList()->visit(attributeId[, key]). The announcement is
// synchronous: every reactor runs inside the setter, in the order of registration. What may run
// inside is anything: reactors may be removed, switched off or destroyed, new ones may register
// (they are not visited this time), the notifier may lose its last other reference (it dies after
// the visit). A reactor that throws does not keep the others from being served; the first exception
// is thrown again after the visit.
//
// One thread. Only the count is atomic, and only while threadSafePointers() is on.
#pragma once

#include <atomic>
#include <cstdint>

#include "Vek/AttributeId.h"
#include "Vek/Chain.h"
#include "Vek/Export.h"
#include "Vek/Memory.h"
#include "Vek/Ptr.h"
#include "Vek/VekType.h"

namespace Vek {

namespace detail {
VEK_EXPORT extern bool threadSafePointersOn;
}

// The process-wide switch; to be set before a second thread touches counted objects.
inline bool threadSafePointers() { return detail::threadSafePointersOn; }
VEK_EXPORT void threadSafePointersIs(bool on);

class NotifieeConst;
class PtrInterface;

// The reactors that have one object as their notifier. Those that are registered come in the order
// of their registration.
class VEK_EXPORT NotifieeList {
 public:
  // Announces a change; for a collection member `key` points to the changed key.
  void visit(AttributeId attributeId, void const* key = nullptr) {
    if (!notifiees_.empty()) [[unlikely]]
      visitAll(attributeId, key);
  }
  // Whether no reactor has the object as its notifier, registered or not.
  [[nodiscard]] bool empty() const { return notifiees_.empty(); }

 private:
  friend class PtrInterface;
  friend class NotifieeConst;
  struct Hook {
    static ChainHook<NotifieeConst>& of(NotifieeConst& notifiee);
  };

  NotifieeList() = default;
  void visitAll(AttributeId attributeId, void const* key);

  Chain<NotifieeConst, Hook> notifiees_;
};

class VEK_EXPORT PtrInterface : private NotifieeList {
 public:
  using NotifieeConst = Vek::NotifieeConst;

  PtrInterface(PtrInterface const&) = delete;
  PtrInterface& operator=(PtrInterface const&) = delete;

  [[nodiscard]] virtual NotifieeList* notifieeList() const;
  // For a reactor: whether announcements reach it. For other objects a mark that they are ready for
  // use, set by whoever hands them out; their announcements do not depend on it.
  virtual void hasNotificationActiveIs(bool active);
  // Called with true when the last reference is gone: destroys the object.
  virtual void zeroReferencesIs(bool zero);
  [[nodiscard]] virtual VekType fwkType() const;
  // Takes leave of the reactors: each loses its notifier and hears onZeroReferences().
  virtual ~PtrInterface();

  static VekType classType();

  [[nodiscard]] bool hasNotificationActive() const { return hasNotificationActive_; }
  [[nodiscard]] std::uint32_t references() const { return references_; }
  // Whether the last reference is gone and the object's end has begun: it can still be read, but a
  // reference to it would outlive it.
  [[nodiscard]] bool isEnding() const { return references_ >= dyingReferences / 2; }

  // Counting, for Vek::Ptr.
  void newRef() const {
    if (threadSafePointers()) [[unlikely]] {
      std::atomic_ref<std::uint32_t>(references_).fetch_add(1, std::memory_order_relaxed);
    } else {
      ++references_;
    }
  }
  void deleteRef() const {
    if (threadSafePointers()) [[unlikely]] {
      if (std::atomic_ref<std::uint32_t>(references_).fetch_sub(1, std::memory_order_acq_rel) !=
          1) {
        return;
      }
    } else if (--references_ != 0) {
      return;
    }
    handleZeroRef();
  }
  // The last reference is gone.
  void handleZeroRef() const;

 protected:
  PtrInterface() = default;

  // Keeps an object that nobody refers to yet alive while its own constructor lends it out.
  class ConstructionHold {
   public:
    explicit ConstructionHold(PtrInterface const& object) : object_(object) { object.newRef(); }
    ~ConstructionHold() { object_.deleteRefWithoutEnd(); }
    ConstructionHold(ConstructionHold const&) = delete;
    ConstructionHold& operator=(ConstructionHold const&) = delete;

   private:
    PtrInterface const& object_;
  };

  // The announcement without the virtual call, for an object's own setters.
  void announce(AttributeId attributeId, void const* key = nullptr) const {
    const_cast<PtrInterface*>(this)->visit(attributeId, key);
  }
  [[nodiscard]] bool isWatched() const { return !NotifieeList::empty(); }

 private:
  friend class NotifieeList;
  friend NotifieeConst;

  // The count of an object under destruction: far from zero, so that references which its end takes
  // and drops never reach it.
  static constexpr std::uint32_t dyingReferences = 1U << 30;

  void deleteRefWithoutEnd() const;

  mutable std::uint32_t references_ = 0;
  bool hasNotificationActive_ = false;
  // Flags of NotifieeConst, here because they fit beside the count.
  bool isRegisteredNotifiee_ = false;
  bool markedForDeletion_ = false;
  bool ending_ = false;  // the destructor has come this far; nobody can watch any more
};

}  // namespace Vek
