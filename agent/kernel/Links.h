// The interfaces of a network namespace, by number and by name, and whether they carry packets.
//
//   Links links("plane");                 // empty: the namespace of this process
//   links.indexOf("eth0"); links.find(3)->isUp;
//   ... when fileDescriptor() is readable:
//   links.read([&](std::string const& name) { ... });   // each that came, went, or changed
//
// It knows all of them from the start, and follows what the kernel tells. News that the kernel had
// to drop are made up for by asking for all once more.
//
// Threading: one thread. Ownership: owns its socket.
#pragma once

#include <linux/netlink.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace OrviaL3Agent {

class Links {
 public:
  struct Link {
    std::string name;
    bool isUp = false;  // set up, and with a carrier: the kernel takes next hops over it
    friend bool operator==(Link const&, Link const&) = default;
  };
  using Changed = std::function<void(std::string const& name)>;

  // Throws std::system_error when the namespace cannot be had, or does not answer.
  explicit Links(std::string const& netns);
  ~Links();
  Links(Links const&) = delete;
  Links& operator=(Links const&) = delete;

  [[nodiscard]] int fileDescriptor() const { return socket_; }
  // Reads what there is, without waiting. Throws std::system_error.
  void read(Changed const& changed);

  // Empty when there is none.
  [[nodiscard]] Link const* find(std::uint32_t index) const;
  [[nodiscard]] std::optional<std::uint32_t> indexOf(std::string const& name) const;
  [[nodiscard]] std::map<std::string, std::uint32_t> const& byName() const { return byName_; }

 private:
  // Asks for all of them.
  void ask();
  // Whether there was anything to read.
  bool receive(Changed const& changed);
  void messageIs(nlmsghdr const& header, Changed const& changed);
  void linkIs(std::uint32_t index, Link link, Changed const& changed);
  void linkDel(std::uint32_t index, Changed const& changed);

  int socket_;
  std::map<std::uint32_t, Link> links_;
  std::map<std::string, std::uint32_t> byName_;
  // While an answer to ask() comes in: those that it has not named, and whether to ask once more.
  bool isAsked_ = false;
  bool askAgain_ = false;
  std::set<std::uint32_t> unseen_;
  std::vector<std::byte> buffer_;
};

}  // namespace OrviaL3Agent
