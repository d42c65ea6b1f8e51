// How a utility, wherever it is made, gets to the device that its table is being attached to.
//
//   Attaching const attaching(answers, owners); // SoftDevice::attach
//   table.utilIs(create(table));                // anybody's function, a plug-in's say, ...
//   return makeUtil<L3EcmpGroupSoftUtil>(table) // ... which comes down to this
//
// A plug-in's factory is handed a table and nothing else, and is in another shared object than
// whoever owns the device. What it cannot be handed stands here for the length of the call. Only
// utilities of this hardware look at it: others may be attached to the same device and do not care.
//
// One thread. Attaching within attaching is possible; the inner one is in force until its end.
#pragma once

#include "OrviaAsicUtils/SwTableUtil.h"
#include "plugins/soft-asic/AnswerQueue.h"
#include "plugins/soft-asic/Export.h"
#include "plugins/soft-asic/RowOwner.h"

namespace SoftAsic {

class SOFT_ASIC_EXPORT Attaching {
 public:
  Attaching(Vek::Ptr<AnswerQueue> const& answers, Vek::Ptr<RowOwners> const& owners);
  ~Attaching();
  Attaching(Attaching const&) = delete;
  Attaching& operator=(Attaching const&) = delete;

  // The queue of the device that a table is being attached to, and who knows the owners of its
  // rows. Both throw std::logic_error outside.
  [[nodiscard]] static Vek::Ptr<AnswerQueue> answers();
  [[nodiscard]] static Vek::Ptr<RowOwners> owners();

 private:
  static Attaching const& inForce();

  Vek::Ptr<AnswerQueue> const answers_;
  Vek::Ptr<RowOwners> const owners_;
  Attaching const* const outer_;
};

// A new utility for that table, which has to be of the utility's own class.
template <class Util>
Vek::Ptr<OrviaAsicUtils::SwTableUtil> makeUtil(OrviaAsicUtils::SwTable& table) {
  return new Util(static_cast<typename Util::Table&>(table), Attaching::answers(),
                  Attaching::owners());
}

}  // namespace SoftAsic
