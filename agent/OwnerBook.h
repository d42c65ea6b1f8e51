// What the agent must know again after a restart: which of its numbers stands for what.
//
// The rows that an ASIC still holds name interfaces, MTU profiles and neighbours by numbers, and
// nothing in a row says whose it is. The agent gave those numbers out, so it keeps them in a file:
//
//   auto book = std::make_shared<OwnerBook>("switch.hw.owners");
//   OwnerPage rows(book, OwnerBook::Kind::row);
//   if (rows.note(16384, "vrf 0 inet dev 3 via 10.0.1.2")) ...   // before the row is written
//   rows.strike(16384);                                         // after it was deleted
//
// The file is text: a first line that names the format, then a line for each change, the later one
// counting: "row 16384 vrf 0 inet dev 3 via 10.0.1.2", or "row 16384" when it is nobody's again.
// Each change is in the file before note() or strike() returns, so that a process that is killed
// loses none; what is left of a line that was cut off is no change and is dropped by the next one
// that opens the file. The file is written anew, under another name first, when it is opened and
// when most of it is history. It does not survive a loss of power, and neither does an ASIC.
//
// What cannot be written is not lost on the way: the first failure is kept, see error(), and
// nothing is written after it. Whoever uses the book should stop then.
//
// Threading: one thread; one process, which holds the hardware that the book is about. Ownership:
// the book owns its file descriptor; pages share the book.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "agent/Identity.h"

namespace OrviaL3Agent {

class OwnerBook {
 public:
  enum class Kind : std::uint8_t {
    row,         // of the ingress table: an identity's
    neighbour,   // what a row's destination says: an identity's
    interface,   // the slot of an interface: a number's
    mtuProfile,  // the slot of an MTU profile: a number's
  };
  static constexpr std::size_t kKinds = 4;
  using Owners = std::map<std::uint32_t, std::string>;  // by number

  // Opens the file, or makes it. Throws std::system_error when that fails, and std::runtime_error,
  // with file and line, when it is something else than a book; it is left as it is then.
  explicit OwnerBook(std::string path);
  // Throws the same for the file as it is, if it is there, and touches nothing.
  static void check(std::string const& path);
  ~OwnerBook();
  OwnerBook(OwnerBook const&) = delete;
  OwnerBook& operator=(OwnerBook const&) = delete;

  [[nodiscard]] Owners const& owners(Kind kind) const {
    return owners_[static_cast<std::size_t>(kind)];
  }
  // Returns whether it is in the file now, or need not be since the book is closed.
  bool note(Kind kind, std::uint32_t number, std::string const& owner);
  void strike(Kind kind, std::uint32_t number);
  // From here on nothing is written: what ends now ends with the agent and stays in the hardware.
  void close();
  // The first failure to write.
  [[nodiscard]] std::optional<std::system_error> const& error() const { return error_; }

 private:
  struct Read;

  void rewrite();
  void append(std::string const& line);
  void writeAll(int file, std::string const& text);

  std::string path_;
  std::array<Owners, kKinds> owners_;
  int file_ = -1;
  std::size_t lines_ = 0;  // in the file, the first one not counted
  std::optional<std::system_error> error_;
};

// One kind's part of a book, or of none: then nothing is remembered or written.
class OwnerPage {
 public:
  OwnerPage() = default;
  OwnerPage(std::shared_ptr<OwnerBook> book, OwnerBook::Kind kind)
      : book_(std::move(book)), kind_(kind) {}

  [[nodiscard]] explicit operator bool() const { return book_ != nullptr; }
  [[nodiscard]] OwnerBook::Owners owners() const {
    return book_ ? book_->owners(kind_) : OwnerBook::Owners();
  }
  // Without a book, nothing has to be noted. As the book's.
  [[nodiscard]] bool note(std::uint32_t number, std::string const& owner) const {
    return !book_ || book_->note(kind_, number, owner);
  }
  void strike(std::uint32_t number) const {
    if (book_) book_->strike(kind_, number);
  }

 private:
  std::shared_ptr<OwnerBook> book_;
  OwnerBook::Kind kind_ = OwnerBook::Kind::row;
};

// An owner as a book's line has it, and back; nothing when the text is none.
[[nodiscard]] std::string ownerText(Identity const& identity);
[[nodiscard]] std::string ownerText(std::uint64_t number);
void ownerOf(std::string const& text, std::optional<Identity>& owner);
void ownerOf(std::string const& text, std::optional<std::uint64_t>& owner);

}  // namespace OrviaL3Agent
