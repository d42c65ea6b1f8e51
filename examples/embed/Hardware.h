// The switch: a few arrays of rows, and answers that come later.
//
//   Hardware hardware;
//   hardware.groups.write(row, contents);
//   hardware.answerLater([] { ... });       // what a device does when it is done with a write
//   while (!done && hardware.deliver()) {}  // in the agent's loop: one answer after another
//
// It stands for whatever an agent reaches its device with. It knows nothing of tables and outlives
// them, as hardware does. One thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <utility>

struct NextHopRow {
  unsigned interface;
  unsigned mtuProfile;
  unsigned destination;
};
struct MemberRow {
  unsigned nextHop;
};
struct GroupRow {
  unsigned firstMember;
  unsigned paths;
};

template <class Contents, std::size_t Size>
class Rows {
 public:
  // How often the row was written or erased: an answer to one write is worthless after the next.
  using Stamp = std::uint64_t;
  static constexpr Stamp noSuchRow = 0;

  [[nodiscard]] static constexpr bool has(std::uint32_t row) { return row < Size; }
  // What the row holds; nothing for one that does not exist.
  [[nodiscard]] std::optional<Contents> operator[](std::uint32_t row) const {
    return has(row) ? rows_[row].contents : std::nullopt;
  }
  Stamp write(std::uint32_t row, Contents const& contents) {
    if (!has(row)) return noSuchRow;
    rows_[row].contents = contents;
    return ++rows_[row].stamp;
  }
  void erase(std::uint32_t row) {
    if (!has(row)) return;
    rows_[row].contents.reset();
    ++rows_[row].stamp;
  }
  [[nodiscard]] Stamp stamp(std::uint32_t row) const {
    return has(row) ? rows_[row].stamp : noSuchRow;
  }

 private:
  struct Row {
    std::optional<Contents> contents;
    Stamp stamp = noSuchRow;
  };
  std::array<Row, Size> rows_;
};

struct Hardware {
  // Two tables share the next hops: those of groups have the rows below this one, the rest is for
  // the keys of the ingress table.
  static constexpr std::uint32_t firstIngressRow = 16;
  static constexpr std::uint32_t nextHopRows = 32;
  static constexpr std::uint32_t memberRows = 64;
  static constexpr std::uint32_t groupRows = 16;

  Rows<NextHopRow, nextHopRows> nextHops;
  Rows<MemberRow, memberRows> members;
  Rows<GroupRow, groupRows> groups;

  void answerLater(std::function<void()> answer) { answers.push_back(std::move(answer)); }
  // Delivers the oldest answer; false when there is none.
  bool deliver() {
    if (answers.empty()) return false;
    auto const answer = std::move(answers.front());
    answers.pop_front();
    answer();
    return true;
  }

  std::deque<std::function<void()>> answers;
};
