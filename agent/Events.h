// What happens to a replay from outside of its stream, and when: an interface that fails or comes
// back, a retry of what was refused, the end of injected faults.
//
//   EventSchedule schedule({eventOf("at 40 interface 3 down"), eventOf("at end retry")});
//   for (Event const& event : schedule.due(messagesHandled)) happen(event);   // while reading
//   while (auto event = schedule.atEnd()) { happen(*event); settle(); }       // afterwards
//   for (Event const& event : schedule.unreached()) complain(event);
//
// Threading: one thread. Ownership: plain values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace OrviaL3Agent {

struct InterfaceEvent {
  std::uint32_t interface = 0;
  bool up = false;
  friend bool operator==(InterfaceEvent const&, InterfaceEvent const&) = default;
};

// What was refused, or found no room, is asked for again.
struct Retry {
  friend bool operator==(Retry const&, Retry const&) = default;
};

// From here on the hardware does as it is told.
struct FaultsOff {
  friend bool operator==(FaultsOff const&, FaultsOff const&) = default;
};

struct Event {
  // When this many messages have been handled; 0 is before the first. Nothing: after the stream has
  // been read and everything has settled.
  std::optional<std::uint64_t> message;
  std::variant<InterfaceEvent, Retry, FaultsOff> what;
  friend bool operator==(Event const&, Event const&) = default;
};

// Reads "at MESSAGE interface N down", "at MESSAGE interface N up", "at MESSAGE retry" and "at
// MESSAGE faults off", with "end" or a number for MESSAGE and any number of blanks between words.
// Throws std::invalid_argument that quotes the text and says what was expected where.
[[nodiscard]] Event eventOf(std::string const& text);

// As eventOf() reads it.
[[nodiscard]] std::string text(Event const& event);

// Hands out each event once. Events of one moment come in the order in which they were given.
class EventSchedule {
 public:
  EventSchedule() = default;
  explicit EventSchedule(std::vector<Event> const& events);

  // At how many messages the next event is due: a reader that stops there misses none. Nothing:
  // no event is left but those at the end.
  [[nodiscard]] std::optional<std::uint64_t> next() const;
  // The events that are due by now and were not handed out, in order of their message.
  [[nodiscard]] std::vector<Event> due(std::uint64_t messagesHandled);
  // The next event of the end, one per call, so that things can settle in between. Nothing: that
  // was all.
  [[nodiscard]] std::optional<Event> atEnd();
  // The events that due() has not handed out: after the stream, those that it was too short for.
  [[nodiscard]] std::vector<Event> unreached() const;

 private:
  std::vector<Event> timed_;  // by message
  std::vector<Event> last_;   // at the end
  std::size_t timedDone_ = 0;
  std::size_t lastDone_ = 0;
};

}  // namespace OrviaL3Agent
