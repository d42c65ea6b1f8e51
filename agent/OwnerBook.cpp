#include "agent/OwnerBook.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <unordered_map>

#include "agent/PrefixTable.h"

namespace OrviaL3Agent {
namespace {

constexpr std::string_view kFirstLine = "orvia-l3-agent owners 1";
constexpr std::array<std::string_view, OwnerBook::kKinds> kNames = {"row", "neighbour", "interface",
                                                                    "mtu-profile"};
constexpr std::array<std::pair<Asic::AddressFamily, char const*>, 3> kFamilies = {
    {{Asic::AddressFamily::ipv4, "inet"},
     {Asic::AddressFamily::ipv6, "inet6"},
     {Asic::AddressFamily::none, "unspec"}}};
// A file of fewer lines is never worth writing anew.
constexpr std::size_t kMostHistory = 65536;

std::string lineOf(std::size_t kind, std::uint32_t number, std::string const& owner) {
  return fmt::format("{} {}{}{}\n", kNames[kind], number, owner.empty() ? "" : " ", owner);
}

template <class Number>
bool read(std::string_view text, Number& number) {
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

// Takes the next word, up to a blank.
std::string_view word(std::string_view& text) {
  std::size_t const end = std::min(text.find(' '), text.size());
  std::string_view const taken = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return taken;
}

bool isOwner(OwnerBook::Kind kind, std::string const& text) {
  if (kind == OwnerBook::Kind::row || kind == OwnerBook::Kind::neighbour) {
    std::optional<Identity> identity;
    ownerOf(text, identity);
    return identity.has_value();
  }
  std::optional<std::uint64_t> number;
  ownerOf(text, number);
  return number.has_value();
}

std::system_error failure(std::string const& path) {
  return {errno, std::generic_category(), path};
}

}  // namespace

std::string ownerText(std::uint64_t number) { return std::to_string(number); }

void ownerOf(std::string const& text, std::optional<std::uint64_t>& owner) {
  std::uint64_t number = 0;
  owner = read(text, number) ? std::optional(number) : std::nullopt;
}

std::string ownerText(Identity const& identity) {
  std::string const gateway = [&]() -> std::string {
    if (!identity.gateway()) return {};
    std::ostringstream address;
    address << " via " << identity.gateway();
    return address.str();
  }();
  auto const* const family =
      std::find_if(kFamilies.begin(), kFamilies.end(),
                   [&](auto const& known) { return known.first == identity.family(); });
  return fmt::format("vrf {} {} dev {}{}{}", identity.vrf(), family->second,
                     identity.interfaceIndex(), gateway, identity.onlink() ? " onlink" : "");
}

void ownerOf(std::string const& text, std::optional<Identity>& owner) {
  owner.reset();
  std::string_view rest = text;
  std::uint32_t vrf = 0;
  std::uint32_t interface = 0;
  if (word(rest) != "vrf" || !read(word(rest), vrf)) return;
  std::string_view const familyName = word(rest);
  auto const* const family =
      std::find_if(kFamilies.begin(), kFamilies.end(),
                   [&](auto const& known) { return known.second == familyName; });
  if (family == kFamilies.end() || word(rest) != "dev" || !read(word(rest), interface)) return;
  Asic::GatewayAddress gateway;
  std::string_view next = word(rest);
  if (next == "via") {
    std::optional<Fpm::Address> const address = addressOf(word(rest));
    if (!address) return;
    gateway = gatewayOf(address);
    next = word(rest);
  }
  bool const onlink = next == "onlink";
  if ((!onlink && !next.empty()) || !rest.empty()) return;
  owner = Identity(vrf, family->first, interface, gateway, onlink);
}

// What a file says, line by line.
struct OwnerBook::Read {
  std::array<Owners, kKinds> owners;
  std::array<std::unordered_map<std::string, std::uint32_t>, kKinds> numbers;  // the same

  // Throws as the constructor of a book.
  explicit Read(std::string const& path) {
    auto const status = std::filesystem::status(path);
    if (status.type() == std::filesystem::file_type::not_found) return;
    if (!std::filesystem::is_regular_file(status)) {
      throw std::runtime_error(path + ": this is no file of owners: it is no plain file");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) throw failure(path);
    std::string const text{std::istreambuf_iterator<char>(file), {}};
    if (file.bad()) throw failure(path);
    std::string_view rest = text;
    for (std::size_t number = 1; !rest.empty(); ++number) {
      std::size_t const end = rest.find('\n');
      // Cut off when the process was killed: it never counted. Half a first line is no book.
      if (end == std::string_view::npos && number > 1) return;
      std::string_view const line = rest.substr(0, end);
      bool const isRight =
          number == 1 ? line == kFirstLine && end != std::string_view::npos : take(line);
      if (!isRight) {
        throw std::runtime_error(
            number == 1 ? fmt::format("{}: this is no file of owners: its first line is not \"{}\"",
                                      path, kFirstLine)
                        : fmt::format("{}:{}: this is no line of a file of owners: {}", path,
                                      number, line));
      }
      rest.remove_prefix(end + 1);
    }
  }

  // Returns whether it is a line of a book.
  bool take(std::string_view line) {
    auto const* const name = std::find(kNames.begin(), kNames.end(), word(line));
    std::uint32_t number = 0;
    if (name == kNames.end() || !read(word(line), number)) return false;
    auto const kind = static_cast<std::size_t>(name - kNames.begin());
    std::string const owner(line);
    if (!owner.empty() && !isOwner(static_cast<Kind>(kind), owner)) return false;
    if (auto const found = owners[kind].find(number); found != owners[kind].end()) {
      numbers[kind].erase(found->second);
      owners[kind].erase(found);
    }
    if (owner.empty()) return true;
    // An owner has one number of a kind: the later one.
    auto const [at, isNew] = numbers[kind].try_emplace(owner, number);
    if (!isNew) {
      owners[kind].erase(at->second);
      at->second = number;
    }
    owners[kind].emplace(number, owner);
    return true;
  }
};

void OwnerBook::check(std::string const& path) { Read const read(path); }

OwnerBook::OwnerBook(std::string path) : path_(std::move(path)), owners_(Read(path_).owners) {
  rewrite();
  if (error_) throw std::system_error(*error_);
}

OwnerBook::~OwnerBook() { close(); }

void OwnerBook::close() {
  if (file_ >= 0) ::close(file_);
  file_ = -1;
}

// To be complete under its name or not to be there: first under another one.
void OwnerBook::rewrite() {
  close();
  std::string text(kFirstLine);
  text += '\n';
  lines_ = 0;
  for (std::size_t kind = 0; kind < kKinds; ++kind) {
    for (auto const& [number, owner] : owners_[kind]) text += lineOf(kind, number, owner);
    lines_ += owners_[kind].size();
  }
  std::string const fresh = path_ + ".new";
  int const file = ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
  if (file < 0) {
    error_ = failure(fresh);
    return;
  }
  writeAll(file, text);
  if (!error_ && std::rename(fresh.c_str(), path_.c_str()) != 0) error_ = failure(path_);
  if (error_) {
    ::close(file);
    ::unlink(fresh.c_str());
    return;
  }
  file_ = file;
}

void OwnerBook::writeAll(int file, std::string const& text) {
  std::size_t written = 0;
  while (written < text.size()) {
    ssize_t const count = ::write(file, text.data() + written, text.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      error_ = failure(path_);
      return;
    }
    written += static_cast<std::size_t>(count);
  }
}

void OwnerBook::append(std::string const& line) {
  if (file_ < 0 || error_) return;
  writeAll(file_, line);
  ++lines_;
  std::size_t live = 0;
  for (Owners const& owners : owners_) live += owners.size();
  if (lines_ > kMostHistory + 2 * live) rewrite();
}

bool OwnerBook::note(Kind kind, std::uint32_t number, std::string const& owner) {
  if (file_ < 0) return !error_;
  owners_[static_cast<std::size_t>(kind)].insert_or_assign(number, owner);
  append(lineOf(static_cast<std::size_t>(kind), number, owner));
  return !error_;
}

void OwnerBook::strike(Kind kind, std::uint32_t number) {
  if (file_ < 0 || owners_[static_cast<std::size_t>(kind)].erase(number) == 0) return;
  append(lineOf(static_cast<std::size_t>(kind), number, {}));
}

}  // namespace OrviaL3Agent
