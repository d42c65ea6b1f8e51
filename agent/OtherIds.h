// The next-hop ids that are announced and need no row of their own: groups and blackholes.
//
// They are kept so that a withdrawal, which carries nothing but an id, can be told from one for an
// id that was never announced. What a group consists of is kept elsewhere (Groups.h).
//
// Threading: one thread. Ownership: plain values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>

namespace OrviaL3Agent {

class OtherIds {
 public:
  enum class Kind { group, blackhole };

  void idIs(std::uint32_t id, Kind kind) {
    idDel(id);
    ids_.emplace(id, kind);
    ++live_[kind];
  }
  // What the id was, or nothing when it was not announced.
  std::optional<Kind> idDel(std::uint32_t id) {
    auto const found = ids_.find(id);
    if (found == ids_.end()) return std::nullopt;
    Kind const kind = found->second;
    ids_.erase(found);
    --live_[kind];
    return kind;
  }

  // What the id is, or nothing.
  [[nodiscard]] std::optional<Kind> kind(std::uint32_t id) const {
    auto const found = ids_.find(id);
    return found == ids_.end() ? std::nullopt : std::optional(found->second);
  }
  // How many are announced now.
  [[nodiscard]] std::size_t live(Kind kind) const {
    auto const found = live_.find(kind);
    return found == live_.end() ? 0 : found->second;
  }

 private:
  std::map<std::uint32_t, Kind> ids_;
  std::map<Kind, std::size_t> live_;
};

}  // namespace OrviaL3Agent
