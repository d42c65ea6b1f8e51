#include "agent/control/TraceFollow.h"

#include <utility>
#include <vector>

#include "Vek/TraceHandle.h"

namespace OrviaL3Agent::Control {
namespace {

// Who follows. The first one puts a sink between the tables and the sink of before, the last one
// takes it out again.
class Followers {
 public:
  static Followers& instance() {
    static Followers& followers = *new Followers;  // lines may come until the process ends
    return followers;
  }

  void add(TraceFollower* follower) {
    bool isFirst = false;
    {
      std::scoped_lock const lock(mutex_);
      isFirst = followers_.empty();
      followers_.push_back(follower);
    }
    if (!isFirst) return;
    Vek::TraceSink before =
        Vek::traceSinkIs([](Vek::TraceLine const& line) { instance().tell(line); });
    std::scoped_lock const lock(mutex_);
    before_ = std::move(before);
  }
  void remove(TraceFollower* follower) {
    Vek::TraceSink before;
    {
      std::scoped_lock const lock(mutex_);
      std::erase(followers_, follower);
      if (!followers_.empty()) return;
      before.swap(before_);
    }
    Vek::traceSinkIs(std::move(before));
  }

 private:
  void tell(Vek::TraceLine const& line) {
    Vek::TraceSink before;
    {
      std::scoped_lock const lock(mutex_);
      before = before_;
      for (TraceFollower* follower : followers_) follower->lineIs(line.str());
    }
    before ? before(line) : Vek::traceToStandardError(line);
  }

  std::mutex mutex_;
  std::vector<TraceFollower*> followers_;
  Vek::TraceSink before_;
};

}  // namespace

TraceFollower::TraceFollower() { Followers::instance().add(this); }
TraceFollower::~TraceFollower() { Followers::instance().remove(this); }

void TraceFollower::lineIs(std::string line) {
  std::scoped_lock const lock(mutex_);
  // Once lines are lost, more are until there is room again for many: one long gap says more than
  // many short ones.
  std::size_t const room = dropped_ > 0 ? kMostBytes / 2 : kMostBytes;
  if (bytes_ + line.size() > room) {
    ++dropped_;
    return;
  }
  bytes_ += line.size();
  lines_.push_back({std::move(line), std::exchange(dropped_, 0)});
}

bool TraceFollower::hasLines() const {
  std::scoped_lock const lock(mutex_);
  return !lines_.empty() || dropped_ > 0;
}

std::optional<TraceFollower::Line> TraceFollower::take() {
  std::scoped_lock const lock(mutex_);
  if (lines_.empty()) {
    if (dropped_ == 0) return std::nullopt;
    return Line{{}, std::exchange(dropped_, 0)};
  }
  Line line = std::move(lines_.front());
  lines_.pop_front();
  bytes_ -= line.text.size();
  return line;
}

}  // namespace OrviaL3Agent::Control
