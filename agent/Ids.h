// The next-hop ids of a routing stream: what each is, and who uses it.
//
//   Ids ids;
//   ids.contentsIs(7, nextHop);
//   Ids::Hold hold = ids.hold(7, Ids::User::route);    // also of an id that was not announced yet
//   ids.withdraw(7);                                   // waits for the last hold
//
// An id that is withdrawn while it is in use stays what it was until its last user goes; announced
// again before that, it is simply there. A group is in use by routes only: one that another group
// names (which no group can program) does not wait for that one.
//
// Threading: the loop's thread. Ownership: plain values; holds may outlive the Ids.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <variant>

#include "agent/Identity.h"
#include "agent/RouteKey.h"
#include "agent/fpm/Messages.h"

namespace OrviaL3Agent {

class Ids {
 public:
  // None of the kinds: an id that somebody names and that is not announced.
  using Contents =
      std::variant<std::monostate, Fpm::NextHop, Fpm::NextHopGroup, Fpm::BlackholeNextHop>;
  enum class User { route, group };

  struct Id {
    Contents contents;
    bool withdrawn = false;  // and kept for its users
    std::size_t routeHolds = 0;
    std::size_t groupHolds = 0;
    // Who is to be told when the contents change.
    std::set<std::uint32_t> groups;
    std::set<RouteKey> routes;

    [[nodiscard]] bool known() const { return contents.index() != 0; }
    template <class Kind>
    [[nodiscard]] Kind const* as() const {
      return std::get_if<Kind>(&contents);
    }
  };

  struct Counts {
    std::uint64_t deferred = 0;  // withdrawals that had to wait for a user
  };

  // One user's claim on an id, for as long as it lives.
  class Hold {
   public:
    Hold() = default;
    Hold(Hold&& other) noexcept { swap(other); }
    Hold& operator=(Hold&& other) noexcept {
      Hold(std::move(other)).swap(*this);
      return *this;
    }
    ~Hold();

    // 0 for an empty hold.
    [[nodiscard]] std::uint32_t id() const { return id_; }

   private:
    friend class Ids;
    struct Link {
      Ids* owner;
    };
    Hold(std::shared_ptr<Link> link, std::uint32_t id, User user)
        : link_(std::move(link)), id_(id), user_(user) {}
    void swap(Hold& other) noexcept {
      std::swap(link_, other.link_);
      std::swap(id_, other.id_);
      std::swap(user_, other.user_);
    }

    std::shared_ptr<Link> link_;
    std::uint32_t id_ = 0;
    User user_ = User::route;
  };

  // `groupEnds`: called when a group's id ends, after it did.
  explicit Ids(std::function<void(std::uint32_t id)> groupEnds);
  ~Ids();
  Ids(Ids const&) = delete;
  Ids& operator=(Ids const&) = delete;

  // The id is announced. What it was before ends.
  void contentsIs(std::uint32_t id, Contents contents);
  enum class Withdrawn { nextHop, group, blackhole, unknown };
  // Says what was withdrawn. Once more, or never announced: unknown.
  Withdrawn withdraw(std::uint32_t id);

  // A new connection of the daemon: it may mean something else by the id, which nobody holds or
  // watches any longer. Nobody is told.
  void forget(std::uint32_t id);

  [[nodiscard]] Hold hold(std::uint32_t id, User user);
  void watcherIs(std::uint32_t id, RouteKey const& route) { ids_[id].routes.insert(route); }
  void watcherIs(std::uint32_t id, std::uint32_t group) { ids_[id].groups.insert(group); }
  void watcherDel(std::uint32_t id, RouteKey const& route);
  void watcherDel(std::uint32_t id, std::uint32_t group);

  // Empty for an id that nobody announced and nobody names.
  [[nodiscard]] Id const* find(std::uint32_t id) const;
  // By ascending id.
  [[nodiscard]] std::map<std::uint32_t, Id> const& ids() const { return ids_; }
  // How many announced ids name the identity.
  [[nodiscard]] std::size_t idsOf(Identity const& identity) const;
  // Announced ids of single next hops, and the identities that they name.
  [[nodiscard]] std::size_t nextHops() const { return nextHops_; }
  [[nodiscard]] std::size_t identities() const { return identities_.size(); }
  [[nodiscard]] Counts const& counts() const { return counts_; }

  // From here on the end of a hold ends nothing.
  void end() { link_->owner = nullptr; }

 private:
  void release(std::uint32_t id, User user);
  void finish(std::uint32_t id);
  void forgetIfUnused(std::uint32_t id);
  void countIdentity(Contents const& contents, bool more);

  std::function<void(std::uint32_t)> groupEnds_;
  std::shared_ptr<Hold::Link> link_;
  std::map<std::uint32_t, Id> ids_;
  std::map<Identity, std::size_t> identities_;
  std::size_t nextHops_ = 0;
  Counts counts_;
};

}  // namespace OrviaL3Agent
