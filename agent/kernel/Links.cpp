#include "agent/kernel/Links.h"

#include <libmnl/libmnl.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "plugins/kernel-nexthop/NamespaceSocket.h"

namespace OrviaL3Agent {
namespace {

// Carried by the flags of a link, and by no header together with those of net/if.h.
constexpr std::uint32_t kLowerUp = 1U << 16U;
constexpr int kMostMilliseconds = 5000;
constexpr std::size_t kBufferSize = 1U << 16U;

[[noreturn]] void fail(char const* what, int error = errno) {
  throw std::system_error(error, std::generic_category(), what);
}

}  // namespace

Links::Links(std::string const& netns)
    : socket_(KernelNextHop::routeSocketIn(netns, RTMGRP_LINK)), buffer_(kBufferSize) {
  try {
    ask();
    while (isAsked_) {
      pollfd ready{socket_, POLLIN, 0};
      if (::poll(&ready, 1, kMostMilliseconds) <= 0) fail("the kernel names no interfaces", ETIME);
      read({});
    }
  } catch (...) {
    ::close(socket_);
    throw;
  }
}

Links::~Links() { ::close(socket_); }

void Links::ask() {
  isAsked_ = true;
  askAgain_ = false;
  unseen_.clear();
  for (auto const& [index, link] : links_) unseen_.insert(index);
  nlmsghdr* const header = mnl_nlmsg_put_header(buffer_.data());
  header->nlmsg_type = RTM_GETLINK;
  header->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  header->nlmsg_seq = 1;
  auto* const body = static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(header, sizeof(ifinfomsg)));
  body->ifi_family = AF_UNSPEC;
  if (::send(socket_, header, header->nlmsg_len, 0) < 0) fail("asking for interfaces");
}

void Links::read(Changed const& changed) {
  while (receive(changed)) {
  }
  if (askAgain_ && !isAsked_) ask();
}

bool Links::receive(Changed const& changed) {
  ssize_t const size = ::recv(socket_, buffer_.data(), buffer_.size(), MSG_DONTWAIT);
  if (size < 0) {
    if (errno == EAGAIN || errno == EINTR) return errno == EINTR;
    if (errno != ENOBUFS) fail("hearing of interfaces");
    // The end of an answer may be among what was dropped.
    isAsked_ = false;
    askAgain_ = true;
    return true;
  }
  auto left = static_cast<int>(size);
  auto const* header = reinterpret_cast<nlmsghdr const*>(buffer_.data());
  for (; mnl_nlmsg_ok(header, left); header = mnl_nlmsg_next(header, &left)) {
    messageIs(*header, changed);
  }
  return true;
}

void Links::messageIs(nlmsghdr const& header, Changed const& changed) {
  if (header.nlmsg_type == NLMSG_DONE || header.nlmsg_type == NLMSG_ERROR) {
    if (!std::exchange(isAsked_, false)) return;
    bool const hasCode = mnl_nlmsg_get_payload_len(&header) >= sizeof(int);
    if (hasCode && *static_cast<int const*>(mnl_nlmsg_get_payload(&header)) < 0) {
      // No list, so nothing is known to be gone.
      askAgain_ = true;
      return;
    }
    for (std::uint32_t const index : std::exchange(unseen_, {})) linkDel(index, changed);
    return;
  }
  bool const isNew = header.nlmsg_type == RTM_NEWLINK;
  if (!isNew && header.nlmsg_type != RTM_DELLINK) return;
  // The list changed while it was made: the next one will be right.
  if ((header.nlmsg_flags & NLM_F_DUMP_INTR) != 0) askAgain_ = true;
  auto const* const body = static_cast<ifinfomsg const*>(mnl_nlmsg_get_payload(&header));
  auto const index = static_cast<std::uint32_t>(body->ifi_index);
  unseen_.erase(index);
  if (!isNew) return linkDel(index, changed);
  Link link;
  link.isUp = (body->ifi_flags & IFF_UP) != 0 && (body->ifi_flags & kLowerUp) != 0;
  mnl_attr_parse(
      &header, sizeof(ifinfomsg),
      [](nlattr const* attribute, void* data) {
        if (mnl_attr_get_type(attribute) == IFLA_IFNAME) {
          static_cast<Link*>(data)->name = mnl_attr_get_str(attribute);
        }
        return MNL_CB_OK;
      },
      &link);
  linkIs(index, std::move(link), changed);
}

void Links::linkIs(std::uint32_t index, Link link, Changed const& changed) {
  auto const found = links_.find(index);
  if (found != links_.end() && found->second == link) return;
  if (found != links_.end() && found->second.name != link.name) linkDel(index, changed);
  std::string const name = link.name;
  links_.insert_or_assign(index, std::move(link));
  byName_.insert_or_assign(name, index);
  if (changed) changed(name);
}

void Links::linkDel(std::uint32_t index, Changed const& changed) {
  auto node = links_.extract(index);
  if (node.empty()) return;
  std::string const& name = node.mapped().name;
  // Another one may have the name by now.
  if (auto const at = byName_.find(name); at != byName_.end() && at->second == index) {
    byName_.erase(at);
  }
  if (changed) changed(name);
}

Links::Link const* Links::find(std::uint32_t index) const {
  auto const found = links_.find(index);
  return found == links_.end() ? nullptr : &found->second;
}

std::optional<std::uint32_t> Links::indexOf(std::string const& name) const {
  auto const found = byName_.find(name);
  return found == byName_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace OrviaL3Agent
