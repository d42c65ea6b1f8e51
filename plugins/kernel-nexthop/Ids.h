// Which id of a next-hop object stands for which row.
//
// From the first id on there are two banks, one after the other, and each has as many ids as there
// are rows: of next hops, then of groups.
//
//   first                        bank 0: next-hop row 0, row 1, ...
//   first + nextHops             bank 0: group row 0, row 1, ...
//   first + nextHops + groups    bank 1: the same
//
// Ingress rows are in bank 0 always, since they come back to their owners after a restart; the rows
// of the ECMP tables are in the one bank or the other for as long as a process lives.
//
// Threading: any. Ownership: a plain value.
#pragma once

#include <cstdint>
#include <optional>

#include "plugins/kernel-nexthop/KernelOptions.h"
#include "plugins/kernel-nexthop/Kinds.h"

namespace KernelNextHop {

class Ids {
 public:
  // What an id stands for.
  struct Place {
    Target target;  // a next hop or a group
    unsigned bank = 0;

    friend bool operator==(Place const&, Place const&) = default;
  };

  Ids(std::uint32_t first, KernelSizes const& sizes)
      : first_(first),
        nextHops_(sizes.nextHops),
        ecmpNextHops_(sizes.ecmpNextHops),
        groups_(sizes.groups) {}

  [[nodiscard]] std::uint32_t first() const { return first_; }
  // How many ids are the device's.
  [[nodiscard]] std::uint32_t count() const { return 2 * perBank(); }
  // The bank of the ECMP tables' rows.
  [[nodiscard]] unsigned bank() const { return bank_; }
  void bankIs(unsigned bank) { bank_ = bank; }

  [[nodiscard]] bool isIngress(std::uint32_t nextHopRow) const {
    return nextHopRow >= ecmpNextHops_ && nextHopRow < nextHops_;
  }
  // The row has to be one of the table's; a blackhole has no id.
  [[nodiscard]] std::uint32_t id(Target const& target) const {
    return id(target, target.kind == Target::Kind::nextHop && isIngress(target.row) ? 0 : bank_);
  }
  [[nodiscard]] std::uint32_t id(Target const& target, unsigned bank) const {
    std::uint32_t const offset = target.kind == Target::Kind::group ? nextHops_ : 0;
    return first_ + bank * perBank() + offset + target.row;
  }
  // None outside of the device's ids.
  [[nodiscard]] std::optional<Place> placeOf(std::uint32_t id) const {
    if (id < first_ || id - first_ >= count()) return std::nullopt;
    unsigned const bank = (id - first_) / perBank();
    std::uint32_t const offset = (id - first_) % perBank();
    if (offset < nextHops_) return Place{{Target::Kind::nextHop, offset}, bank};
    return Place{{Target::Kind::group, offset - nextHops_}, bank};
  }
  // Whether the id is in use by this process's tables: neither the other bank's, nor foreign.
  [[nodiscard]] bool isOfThisProcess(std::uint32_t id) const {
    auto const place = placeOf(id);
    return place && this->id(place->target) == id;
  }

 private:
  [[nodiscard]] std::uint32_t perBank() const { return nextHops_ + groups_; }

  std::uint32_t first_;
  std::uint32_t nextHops_;
  std::uint32_t ecmpNextHops_;
  std::uint32_t groups_;
  unsigned bank_ = 0;
};

}  // namespace KernelNextHop
