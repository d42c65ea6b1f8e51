#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "Asic/GenericIndexAllocator.h"
#include "agent/Agent.h"
#include "agent/ByName.h"
#include "agent/control/Words.h"

namespace OrviaL3Agent::Control {
namespace {

// Looking at more keys than this would hold up the loop.
constexpr std::size_t kMostCompared = 1000;
constexpr std::size_t kMostListed = 100;  // unless a range is asked for
constexpr std::size_t kMostInSlice = 25;
constexpr std::size_t kLongestRange = 10000;

// What has a name is there or not: that is a matter of the request.
template <class Act>
auto asRequest(Act const& act) {
  try {
    return act();
  } catch (Vek::Exception const& error) {
    throw RequestError(error.what());
  }
}

std::string withoutLineEnd(std::string text) {
  if (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

std::unique_ptr<Job> get(Context const& context, Arguments const& arguments) {
  requireCount(arguments, 1, 1, "get PATH");
  return jobOf([&agent = context.agent, path = arguments[0]](Answer& answer) {
    answer.object("get", {{"value", withoutLineEnd(asRequest([&] {
                             return gotByName(agent.mapping().tables(), path, kMostCompared);
                           }))}});
  });
}

std::unique_ptr<Job> set(Context const& context, Arguments const& arguments) {
  requireCount(arguments, 2, 2, "set PATH VALUE");
  return jobOf([context, path = arguments[0], value = arguments[1]](Answer& answer) {
    Agent& agent = context.agent;
    asRequest([&] {
      try {
        setByName(agent.mapping().tables(), {path, value}, kMostCompared);
      } catch (Asic::NoRowException const&) {
        // What the change completed found a full table.
        agent.mapping().noRoom();
        throw;
      }
    });
    context.logDone(fmt::format("set {} {}", path, value));
    answer.object("set", {{"value", withoutLineEnd(asRequest([&] {
                             return gotByName(agent.mapping().tables(), path, kMostCompared);
                           }))}});
  });
}

// Attributes at once, elements some at a time. An element that goes meanwhile moves those behind it
// up by one, which are not shown then.
class Listing final : public Job {
 public:
  Listing(Context const& context, std::string path, std::size_t first, std::size_t most)
      : agent_(context.agent), path_(std::move(path)), next_(first), left_(most) {}

  bool runSlice(Answer& answer) override {
    std::size_t const wanted = std::min(left_, kMostInSlice);
    NamedLines const named = asRequest([&] {
      return linesByName(agent_.mapping().tables(), path_, next_, wanted, kMostCompared);
    });
    // Not before the name has turned out to be one.
    if (!std::exchange(isBegun_, true)) {
      answer.tableIs("names", {"name", "type", "value", "canBeSet"});
    }
    for (NamedLine const& line : named.lines) {
      answer.row(Json::array({line.name, line.type, line.value, line.canBeSet}));
    }
    if (!named.areElements) return true;
    next_ += wanted;
    left_ -= wanted;
    bool const isThrough = left_ == 0 || next_ >= named.all;
    if (isThrough && next_ < named.all) {
      answer.line(fmt::format("{} more: ls {} {}-{}", named.all - next_, path_, next_ + 1,
                              std::min(next_ + kMostListed, named.all)));
    }
    return isThrough;
  }

 private:
  Agent& agent_;
  std::string path_;
  std::size_t next_;
  std::size_t left_;
  bool isBegun_ = false;
};

std::unique_ptr<Job> list(Context const& context, Arguments const& arguments) {
  requireCount(arguments, 0, 2, "ls [PATH [FIRST-LAST]]");
  std::string const path = arguments.empty() ? std::string() : arguments[0];
  if (arguments.size() < 2) return std::make_unique<Listing>(context, path, 0, kMostListed);
  std::string const& range = arguments[1];
  std::size_t const dash = range.find('-');
  std::uint32_t const first = numberOf(range.substr(0, dash), "the first of a range of elements");
  std::uint32_t const last =
      dash == std::string::npos
          ? first
          : numberOf(range.substr(dash + 1), "the last of a range of elements");
  if (first == 0 || last < first || last - first >= kLongestRange) {
    throw RequestError(
        fmt::format("\"{}\" is not FIRST-LAST, counted from 1, with at most {} elements",
                    shortened(range), kLongestRange));
  }
  return std::make_unique<Listing>(context, path, first - 1, last - first + 1);
}

}  // namespace

std::vector<Verb> nameVerbs() {
  return {
      {"get", "PATH", "the value that a path of names leads to", get},
      {"set", "PATH VALUE", "change a plain value", set},
      {"ls", "[PATH [FIRST-LAST]]", "what is below a path: attributes or elements", list},
  };
}

}  // namespace OrviaL3Agent::Control
