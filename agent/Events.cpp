#include "agent/Events.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <string_view>

namespace OrviaL3Agent {
namespace {

// The words of an event, one after another.
class Words {
 public:
  explicit Words(std::string const& text) : text_(text) { advance(); }

  // The word at hand, empty behind the last.
  [[nodiscard]] std::string_view word() const { return word_; }
  void advance() {
    constexpr std::string_view kBlanks = " \t";
    begin_ = std::min(text_.find_first_not_of(kBlanks, begin_ + word_.size()), text_.size());
    std::size_t const end = std::min(text_.find_first_of(kBlanks, begin_), text_.size());
    word_ = std::string_view(text_).substr(begin_, end - begin_);
  }
  // Goes on if the word at hand is this one.
  bool take(std::string_view word) {
    if (word_ != word) return false;
    advance();
    return true;
  }
  template <typename Number>
  std::optional<Number> takeNumber() {
    Number number = 0;
    char const* const end = word_.data() + word_.size();
    auto const [stop, error] = std::from_chars(word_.data(), end, number);
    if (error != std::errc() || stop != end) return std::nullopt;
    advance();
    return number;
  }
  [[noreturn]] void expected(std::string const& what) const {
    std::string const found = word_.empty() ? std::string("the end") : fmt::format("\"{}\"", word_);
    throw std::invalid_argument(fmt::format("\"{}\": expected {} at character {}, found {}", text_,
                                            what, begin_ + 1, found));
  }

 private:
  std::string const& text_;
  std::size_t begin_ = 0;
  std::string_view word_;
};

InterfaceEvent interfaceEvent(Words& words) {
  InterfaceEvent event;
  auto const interface = words.takeNumber<std::uint32_t>();
  if (!interface || *interface == 0) words.expected("the number of an interface");
  event.interface = *interface;
  event.up = words.take("up");
  if (!event.up && !words.take("down")) words.expected(R"("down" or "up")");
  return event;
}

}  // namespace

Event eventOf(std::string const& text) {
  Event event;
  Words words(text);
  if (!words.take("at")) words.expected("\"at\"");
  if (!words.take("end")) {
    event.message = words.takeNumber<std::uint64_t>();
    if (!event.message) words.expected("a number of messages or \"end\"");
  }
  if (words.take("interface")) {
    event.what = interfaceEvent(words);
  } else if (words.take("retry")) {
    event.what = Retry{};
  } else if (words.take("faults")) {
    if (!words.take("off")) words.expected("\"off\"");
    event.what = FaultsOff{};
  } else {
    words.expected(R"("interface", "retry" or "faults")");
  }
  if (!words.word().empty()) words.expected("the end");
  return event;
}

std::string text(Event const& event) {
  struct Visitor {
    std::string operator()(InterfaceEvent const& what) const {
      return fmt::format("interface {} {}", what.interface, what.up ? "up" : "down");
    }
    std::string operator()(Retry const& /*what*/) const { return "retry"; }
    std::string operator()(FaultsOff const& /*what*/) const { return "faults off"; }
  };
  return fmt::format("at {} {}", event.message ? std::to_string(*event.message) : "end",
                     std::visit(Visitor(), event.what));
}

EventSchedule::EventSchedule(std::vector<Event> const& events) {
  for (Event const& event : events) (event.message ? timed_ : last_).push_back(event);
  std::stable_sort(timed_.begin(), timed_.end(),
                   [](Event const& a, Event const& b) { return a.message < b.message; });
}

std::optional<std::uint64_t> EventSchedule::next() const {
  if (timedDone_ == timed_.size()) return std::nullopt;
  return timed_[timedDone_].message;
}

std::vector<Event> EventSchedule::due(std::uint64_t messagesHandled) {
  std::vector<Event> events;
  while (timedDone_ < timed_.size() && *timed_[timedDone_].message <= messagesHandled) {
    events.push_back(timed_[timedDone_++]);
  }
  return events;
}

std::optional<Event> EventSchedule::atEnd() {
  if (lastDone_ == last_.size()) return std::nullopt;
  return last_[lastDone_++];
}

std::vector<Event> EventSchedule::unreached() const {
  return {timed_.begin() + static_cast<std::ptrdiff_t>(timedDone_), timed_.end()};
}

}  // namespace OrviaL3Agent
