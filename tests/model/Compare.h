// Runs a sequence over two worlds and tells where they first differ.
//
//   EXPECT_EQ(difference({.reactions = {}, .steps = {{Kind::externRow, {0, 1}}}}), "");
//
// Both worlds live in a child process, so that a sequence may end in an abort. Each step is done by
// the expected world first; then logs and snapshots have to be the same. After the last step come
// closing ones: every slot is emptied and every table destroyed, under the same comparison. When
// both worlds are gone, no object may be left behind.
//
// An abort is no difference when the expected world announced it (Model::Abort), the condition and
// message on standard error are the announced ones, and the step logged the same before it.
// Everything else that ends the child early is: another abort, a crash, a sanitizer's report, ten
// seconds without an end.
//
// One thread, and no other child of the process is waited for.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "Paste.h"
#include "World.h"

namespace Model {

// What sequences came to.
struct Tally {
  std::uint64_t sequences = 0;
  std::uint64_t steps = 0;  // done, closing ones not counted
  std::uint64_t aborts = 0;
  std::uint64_t handlerCalls = 0;
  std::uint64_t exceptions = 0;
  std::array<std::uint64_t, 4> writes{};  // of ingress, hop, member and group
  std::array<std::uint64_t, kindCount> ofKind{};
  std::array<std::uint64_t, kindCount> withEffect{};  // those that logged something
  std::array<std::uint64_t, kindCount> aborted{};     // those that ended the process

  // What a person wants to know, as lines.
  [[nodiscard]] std::string text() const;
};

struct Worlds {
  using Make = std::function<std::unique_ptr<World>(Sequence const&)>;
  Make expected;
  Make actual;
};

// Model and tables.
[[nodiscard]] Worlds const& modelAndEngine();

// Empty when there is none. What was done is added to the tally.
[[nodiscard]] std::string differenceBetween(
    Worlds const& worlds, Sequence const& sequence, Tally* tally = nullptr,
    std::chrono::milliseconds limit = std::chrono::seconds(10));
// Between model and tables.
[[nodiscard]] std::string difference(Sequence const& sequence);

// The steps that end every sequence.
[[nodiscard]] std::vector<Step> closingSteps();
// Whether the text begins with the pattern, in which "<address>" stands for 0x and digits; if so,
// `rest` is what follows.
[[nodiscard]] bool beginsLike(std::string_view text, std::string_view pattern,
                              std::string_view& rest);
// Both lists line by line: "  " both, "- " expected only, "+ " actual only.
[[nodiscard]] std::string unified(Lines const& expected, Lines const& actual, bool withCommon);

}  // namespace Model
