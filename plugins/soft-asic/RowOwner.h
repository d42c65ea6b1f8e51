// Who owns a row of the ingress table that the simulated hardware holds from before.
//
//   device.rowOwnerIs([&](Asic::Index row, SoftAsic::NextHopContents const& contents)
//                         -> std::optional<SoftAsic::RowOwner> {
//     auto const key = keyOfRow(row);   // an entry handle that has this row and is programmed
//     if (!key) return std::nullopt;    // the row stays as it is, and is counted
//     return SoftAsic::RowOwner{key, recordOf(contents)};
//   });
//   table->syncEntries();               // asks for each row that holds something, in ascending
//   order
//
// A row knows what it holds and not whose it is: the key is an object of the agent's, and the
// record points at objects of the agent's. Whoever kept the ownership over the restart says both.
//
// One thread. The function is kept by the device and by the utilities that are attached to it,
// until another one, or an empty one, takes its place.
#pragma once

#include <functional>
#include <optional>
#include <utility>

#include "Asic/Index.h"
#include "Asic/SwTable.h"
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "Vek/PtrInterface.h"
#include "plugins/soft-asic/Contents.h"

namespace SoftAsic {

struct RowOwner {
  Vek::Ptr<Asic::SwTable::EntryHandle const> key;  // its row is the row that was asked about
  OrviaL3Unicast::IngL3NextHop1Table::Entry record;
};

using RowOwnerOf =
    std::function<std::optional<RowOwner>(Asic::Index row, NextHopContents const& contents)>;

// Where a device and its utilities find the function that is in force. It is counted, since a
// utility may outlive the device.
class RowOwners final : public Vek::PtrInterface {
 public:
  [[nodiscard]] RowOwnerOf const& rowOwner() const { return rowOwner_; }
  void rowOwnerIs(RowOwnerOf rowOwner) { rowOwner_ = std::move(rowOwner); }

 private:
  RowOwnerOf rowOwner_;
};

}  // namespace SoftAsic
