// Every call of a simulated device, in order, to be kept as text and compared.
//
//   SoftAsic::Journal journal;
//   device.observerIs(&journal);
//   ... journal.save("calls.txt");
//   auto const comparison = SoftAsic::compare(SoftAsic::Journal::load("before.txt"), journal);
//   std::cout << comparison.text;
//
// One line a call: its number, its table, what it was, its row, what a write asked for with the
// derived values of that moment, and what became of it:
//
//   12 group write row 3: numPaths 2 lbMode 0 ecmpBlockPtr 4 taken
//   13 member remove row 4: taken
//
// One thread. A journal owns its calls; it must outlive its place among the device's observers.
#pragma once

#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "plugins/soft-asic/Call.h"
#include "plugins/soft-asic/Export.h"

namespace SoftAsic {

// A file that is no journal: which line of it, and what was expected there.
class SOFT_ASIC_EXPORT JournalError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class SOFT_ASIC_EXPORT Journal final : public CallObserver {
 public:
  // What the lines say, and no more: not the handles, which were there for whoever watched.
  struct Entry {
    std::uint64_t serial = 0;
    TableId table{};
    Call::Kind kind{};
    Fate fate{};
    std::uint32_t row = 0;
    decltype(Call::contents) contents;

    // The same call, whatever its number: two runs need not have begun to count together.
    [[nodiscard]] bool isSameCall(Entry const& other) const {
      return table == other.table && kind == other.kind && fate == other.fate && row == other.row &&
             contents == other.contents;
    }
    friend bool operator==(Entry const&, Entry const&) = default;
  };

  void callIs(Call const& call) override;

  [[nodiscard]] std::vector<Entry> const& calls() const { return calls_; }
  // Replaces a file that is there. Throws std::system_error, naming the file, when it cannot be
  // written completely.
  void save(std::filesystem::path const& path) const;
  // Throws JournalError "FILE:LINE: expected ..., found ...", and std::system_error when the file
  // cannot be read.
  [[nodiscard]] static Journal load(std::filesystem::path const& path);

 private:
  std::vector<Entry> calls_;
};

// The line of a call, without its end.
[[nodiscard]] SOFT_ASIC_EXPORT std::string text(Journal::Entry const& call);

// Two journals side by side.
struct Comparison {
  bool sameCalls = false;  // in the same order
  bool sameRows = false;   // in force at the end, whatever led there
  std::string text;        // for people; ends with a line's end
};
// The names stand for the two in the text. At most `shownRows` rows that differ are shown.
[[nodiscard]] SOFT_ASIC_EXPORT Comparison compare(Journal const& a, Journal const& b,
                                                  std::string const& nameOfA = "A",
                                                  std::string const& nameOfB = "B",
                                                  std::size_t shownRows = 10);

}  // namespace SoftAsic
