#include "Journal.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "plugins/soft-asic/JournalLine.h"

namespace SoftAsic {
namespace {

[[noreturn]] void refuse(std::filesystem::path const& path, int reason) {
  throw std::system_error(reason != 0 ? reason : EIO, std::generic_category(), path.string());
}

struct Close {
  void operator()(std::FILE* file) const { (void)std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

File opened(std::filesystem::path const& path, char const* mode) {
  errno = 0;
  File file(std::fopen(path.c_str(), mode));
  if (!file) refuse(path, errno);
  return file;
}

// Rows are known by table and number: each table has its own window.
using RowName = std::pair<TableId, std::uint32_t>;
using Rows = std::map<RowName, decltype(Call::contents)>;

Rows rowsInForce(Journal const& journal) {
  Rows rows;
  for (Journal::Entry const& call : journal.calls()) {
    if (call.fate != Fate::taken) continue;
    switch (call.kind) {
      case Call::Kind::write:
        rows[{call.table, call.row}] = call.contents;
        break;
      case Call::Kind::remove:
        rows.erase({call.table, call.row});
        break;
      case Call::Kind::removeAll:
        rows.erase(rows.lower_bound({call.table, 0}),
                   rows.upper_bound({call.table, Asic::Index::invalidIndex().value()}));
        break;
    }
  }
  return rows;
}

std::string padded(std::string text, std::size_t width) {
  text.resize(std::max(width, text.size()), ' ');
  return text;
}
std::string aligned(std::string const& text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

// Both sides of one difference, one below the other.
class Sides {
 public:
  Sides(std::string nameOfA, std::string nameOfB) : a_(std::move(nameOfA)), b_(std::move(nameOfB)) {
    width_ = std::max(a_.size(), b_.size()) + 2;
  }

  [[nodiscard]] std::string operator()(std::string const& a, std::string const& b) const {
    return "  " + padded(a_ + ":", width_) + a + "\n  " + padded(b_ + ":", width_) + b + "\n";
  }
  // "A B" above columns of that width.
  [[nodiscard]] std::string heads(std::size_t width) const {
    return "  " + aligned(a_, width) + "  " + aligned(b_, width);
  }
  [[nodiscard]] std::size_t columnWidth() const { return std::max<std::size_t>(width_ - 2, 8); }

 private:
  std::string a_;
  std::string b_;
  std::size_t width_ = 0;
};

std::string callOrEnd(std::vector<Journal::Entry> const& calls, std::size_t i) {
  return i < calls.size() ? text(calls[i]) : "nothing more";
}

std::string contentsOrNothing(Rows const& rows, RowName const& row) {
  auto const found = rows.find(row);
  return found != rows.end() ? contentsText(found->second) : "nothing";
}

// How many calls each table had, by kind.
std::string countsText(Journal const& a, Journal const& b, Sides const& sides) {
  using Counts = std::map<std::pair<TableId, Call::Kind>, std::array<std::uint64_t, 2>>;
  Counts counts;
  for (auto const& call : a.calls()) ++counts[{call.table, call.kind}][0];
  for (auto const& call : b.calls()) ++counts[{call.table, call.kind}][1];
  std::size_t const width = sides.columnWidth();
  constexpr std::size_t titleWidth = 20;
  std::string all = padded("calls", titleWidth) + sides.heads(width) + "\n";
  for (auto const& [what, each] : counts) {
    std::string const title = std::string("  ") + name(what.first) + " " + name(what.second);
    all += padded(title, titleWidth) + "  " + aligned(std::to_string(each[0]), width) + "  " +
           aligned(std::to_string(each[1]), width) + "\n";
  }
  return all;
}

}  // namespace

void Journal::callIs(Call const& call) {
  calls_.push_back({call.serial, call.table, call.kind, call.fate, call.row, call.contents});
}

void Journal::save(std::filesystem::path const& path) const {
  File file = opened(path, "w");
  for (Entry const& call : calls_) {
    std::string const line = text(call) + "\n";
    if (std::fwrite(line.data(), 1, line.size(), file.get()) != line.size()) refuse(path, errno);
  }
  // What is still in memory may not fit either, and is written here.
  errno = 0;
  if (std::fclose(file.release()) != 0) refuse(path, errno);
}

Journal Journal::load(std::filesystem::path const& path) {
  std::string text;
  {
    File const file = opened(path, "r");
    std::array<char, 1U << 16U> part{};
    errno = 0;
    for (std::size_t got = 0; (got = std::fread(part.data(), 1, part.size(), file.get())) > 0;) {
      text.append(part.data(), got);
    }
    if (std::ferror(file.get()) != 0) refuse(path, errno);
  }
  Journal journal;
  std::string_view rest = text;
  for (std::size_t number = 1; !rest.empty(); ++number) {
    std::size_t const end = rest.find('\n');
    try {
      // A file that was cut off does not pass for a shorter journal.
      if (end == std::string_view::npos) throw LineError("a line's end", "the end of the file");
      Entry const call = callOfLine(rest.substr(0, end));
      if (!journal.calls_.empty() && call.serial <= journal.calls_.back().serial) {
        throw LineError("a number above " + std::to_string(journal.calls_.back().serial),
                        std::to_string(call.serial));
      }
      journal.calls_.push_back(call);
    } catch (LineError const& error) {
      throw JournalError(path.string() + ":" + std::to_string(number) + ": " + error.what());
    }
    rest.remove_prefix(end + 1);
  }
  return journal;
}

Comparison compare(Journal const& a, Journal const& b, std::string const& nameOfA,
                   std::string const& nameOfB, std::size_t shownRows) {
  Comparison result;
  Sides const sides(nameOfA, nameOfB);
  auto const [firstOfA, firstOfB] =
      std::mismatch(a.calls().begin(), a.calls().end(), b.calls().begin(), b.calls().end(),
                    [](Journal::Entry const& mine, Journal::Entry const& theirs) {
                      return mine.isSameCall(theirs);
                    });
  result.sameCalls = firstOfA == a.calls().end() && firstOfB == b.calls().end();
  auto const same = static_cast<std::size_t>(firstOfA - a.calls().begin());
  if (result.sameCalls) {
    result.text = "calls in their order: all " + std::to_string(same) + " the same\n";
  } else {
    result.text = "calls in their order: " + std::to_string(same) + " the same, then\n" +
                  sides(callOrEnd(a.calls(), same), callOrEnd(b.calls(), same));
  }
  result.text += countsText(a, b, sides);

  Rows const rowsOfA = rowsInForce(a);
  Rows const rowsOfB = rowsInForce(b);
  std::vector<RowName> differing;
  Rows all = rowsOfA;
  all.insert(rowsOfB.begin(), rowsOfB.end());
  for (auto const& [row, contents] : all) {
    auto const ofA = rowsOfA.find(row);
    auto const ofB = rowsOfB.find(row);
    bool const isSame = ofA != rowsOfA.end() && ofB != rowsOfB.end() && ofA->second == ofB->second;
    if (!isSame) differing.push_back(row);
  }
  result.sameRows = differing.empty();
  if (result.sameRows) {
    result.text +=
        "rows in force at the end: all " + std::to_string(rowsOfA.size()) + " the same\n";
    return result;
  }
  result.text += "rows in force at the end: " + std::to_string(differing.size()) + " of " +
                 std::to_string(all.size()) + " differ";
  result.text +=
      differing.size() > shownRows ? "; the first " + std::to_string(shownRows) + ":\n" : ":\n";
  differing.resize(std::min(differing.size(), shownRows));
  for (RowName const& row : differing) {
    result.text += std::string(name(row.first)) + " row " + std::to_string(row.second) + "\n" +
                   sides(contentsOrNothing(rowsOfA, row), contentsOrNothing(rowsOfB, row));
  }
  return result;
}

}  // namespace SoftAsic
