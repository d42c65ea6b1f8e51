// Watches a key's handle and tells the handle's response handler how the hardware answered. Does
// not keep the handle alive.
#pragma once

#include <string>

#include "ModelHandle.h"
#include "ModelJournal.h"

namespace Model {

class Pending : public Reactor {
 public:
  Pending(Journal& journal, std::string const& tableName, HandlePtr const& handle)
      : journal_(journal), alive_(journal, tableName + " PendingEntrySm") {
    watch(handle.get());
    registerAtNotifier();
  }

  // Tells at once when the other handle is already answered; hears its changes after that only,
  // also when the response handler raised.
  void handleIs(HandlePtr const& handle) {
    if (handle.get() == notifier()) return;
    watch(handle.get());
    LateRegistration const late(*this);
    if (handle && !zombie()) tell();
  }
  void changed() override {
    if (!zombie()) tell();
  }

 private:
  void tell() {
    Handle const& handle = *notifier();
    bool const refused = handle.state() == 2;
    if (!refused && !handle.isProgrammed()) return;
    // The handler may end this reactor: nothing of it is used afterwards.
    if (handle.handler() != 0) journal_.handlerCalled(handle.handler(), refused ? 2 : 1);
  }

  Journal& journal_;
  Alive alive_;
};

}  // namespace Model
