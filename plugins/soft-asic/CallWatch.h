// Who watches the calls of one simulated device, and the numbers of the calls.
//
// The device's tables share one. Calls are counted whether anybody watches or not, so that their
// numbers mean the same to whoever joins later.
//
// One thread. Observers are not owned. An observer may take itself or others away while it runs;
// one that joins then hears of the next call.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Vek/PtrInterface.h"
#include "plugins/soft-asic/Call.h"

namespace SoftAsic {

class CallWatch final : public Vek::PtrInterface {
 public:
  // An observer that is there already stays where it is.
  void observerIs(CallObserver* observer) {
    if (std::find(observers_.begin(), observers_.end(), observer) == observers_.end()) {
      observers_.push_back(observer);
    }
  }
  // Nothing when it is not there.
  void observerDel(CallObserver* observer) {
    std::replace(observers_.begin(), observers_.end(), observer,
                 static_cast<CallObserver*>(nullptr));
    if (telling_ == 0) std::erase(observers_, nullptr);
  }

  // The number of a call that was made now.
  std::uint64_t nextSerial() { return ++serial_; }
  [[nodiscard]] bool isWatched() const { return !observers_.empty(); }
  // In the order in which they joined.
  void tell(Call const& call) {
    Vek::Ptr<CallWatch> const alive(this);
    struct Telling {
      CallWatch& watch;
      explicit Telling(CallWatch& which) : watch(which) { ++watch.telling_; }
      ~Telling() {
        if (--watch.telling_ == 0) std::erase(watch.observers_, nullptr);
      }
      Telling(Telling const&) = delete;
      Telling& operator=(Telling const&) = delete;
    } const telling(*this);
    std::size_t const present = observers_.size();
    for (std::size_t i = 0; i < present; ++i) {
      if (CallObserver* const observer = observers_[i]) observer->callIs(call);
    }
  }

 private:
  std::vector<CallObserver*> observers_;
  std::uint64_t serial_ = 0;
  int telling_ = 0;
};

}  // namespace SoftAsic
