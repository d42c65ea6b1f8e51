#include "agent/NumbersInHardware.h"

#include <utility>
#include <variant>

namespace OrviaL3Agent {

NumbersInHardware::NumbersInHardware(SoftAsic::SoftDevice& device)
    : device_(device),
      firstIngress_(device.ingressNextHops().firstRow()),
      rows_(device.nextHops().rows()) {
  device_.tellRows(*this);
  device_.observerIs(this);
}

NumbersInHardware::~NumbersInHardware() { device_.observerDel(this); }

void NumbersInHardware::callIs(SoftAsic::Call const& call) {
  bool const isIngress = call.table == SoftAsic::TableId::ingressNextHops;
  if (!isIngress && call.table != SoftAsic::TableId::ecmpNextHops) return;
  if (call.kind == SoftAsic::Call::Kind::removeAll) {
    std::uint32_t const end = isIngress ? static_cast<std::uint32_t>(rows_.size()) : firstIngress_;
    for (std::uint32_t row = isIngress ? firstIngress_ : 0; row < end; ++row) rowIs(row, {});
  } else if (call.row >= rows_.size() || call.fate != SoftAsic::Fate::taken) {
    return;
  } else if (call.kind == SoftAsic::Call::Kind::remove) {
    rowIs(call.row, {});
  } else if (auto const* contents = std::get_if<SoftAsic::NextHopContents>(&call.contents)) {
    rowIs(call.row, Named{contents->l3Oif1, contents->mtuProfilePtr, contents->fields.destination});
  }
}

void NumbersInHardware::rowIs(std::uint32_t row, std::optional<Named> named) {
  std::optional<Named> const before = std::exchange(rows_[row], named);
  if (before == named) return;
  for (std::size_t kind = 0; named && kind < kKinds; ++kind) ++kinds_[kind].rows[(*named)[kind]];
  for (std::size_t kind = 0; before && kind < kKinds; ++kind) {
    OfKind& of = kinds_[kind];
    std::uint16_t const number = (*before)[kind];
    if (--of.rows[number] == 0 && of.listener) of.listener(number);
  }
}

}  // namespace OrviaL3Agent
