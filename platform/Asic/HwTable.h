// One hardware table, as the tables and the plug-ins share it.
//
// Tables never call it: they hold it and hand it to their utility. A plug-in derives from it to
// keep what it needs, and reports the hardware's answers with writeResponseIs().
#pragma once

#include <cstdint>

#include "Asic/Index.h"
#include "Vek/PtrInterface.h"

namespace Asic {

class VEK_EXPORT HwTable : public Vek::Tracked<HwTable, Vek::PtrInterface> {
 public:
  // What is known of an entry's row in hardware.
  enum EntryState : std::uint8_t {
    notAnswered = 0,  // asked, and not yet answered
    accepted = 1,     // the hardware holds the entry
    refused = 2,      // the hardware refused the entry
  };
  static constexpr EntryState success() { return accepted; }

  // The hardware's answer to a write, as the key of the writeResponse announcement.
  struct WriteResponse {
    Index row;
    EntryState state;
  };
  static constexpr Vek::AttributeId writeResponseAttribute{1};

  HwTable() = default;
  [[nodiscard]] Vek::VekType fwkType() const override;
  ~HwTable() override;

  static Vek::VekType classType();
  static constexpr char const* typeName() { return "Asic::HwTable"; }

  // The hardware answered a write of `row`. Announced to the write-response reactors of the tables
  // on this hardware table (writeResponse, with the WriteResponse as key); handlers run inside.
  void writeResponseIs(Index row, EntryState state);
};

}  // namespace Asic
