#include "agent/EventLoop.h"

#include <algorithm>
#include <iterator>

namespace OrviaL3Agent {

void EventLoop::sourceIs(Source* source) {
  if (std::find(sources_.begin(), sources_.end(), source) == sources_.end()) {
    sources_.push_back(source);
  }
}

void EventLoop::sourceDel(Source* source) { std::erase(sources_, source); }

void EventLoop::post(Task task) { posts_.push_back(std::move(task)); }

EventLoop::TimerId EventLoop::timerIs(Turn turns, Task task) {
  TimerId const id{now_ + std::max<Turn>(turns, 1), ++timerSerial_};
  timers_.emplace(id, std::move(task));
  return id;
}

void EventLoop::timerDel(TimerId id) { timers_.erase(id); }

void EventLoop::runTimers() {
  // A timer set by one of these is due in a later turn, so the walk ends.
  while (!timers_.empty() && timers_.begin()->first.due <= now_) {
    Task const task = std::move(timers_.extract(timers_.begin()).mapped());
    task();
  }
}

void EventLoop::runPosts() {
  std::vector<Task> posts;
  posts.swap(posts_);
  for (std::size_t i = 0; i < posts.size(); ++i) {
    try {
      posts[i]();
    } catch (...) {
      // The tasks behind the one that failed are not lost: they come first in the next turn.
      posts_.insert(posts_.begin(),
                    std::make_move_iterator(posts.begin() + static_cast<std::ptrdiff_t>(i) + 1),
                    std::make_move_iterator(posts.end()));
      throw;
    }
  }
}

void EventLoop::runSources() {
  // A copy, since a slice may add or remove sources; one that was removed meanwhile is passed over.
  std::vector<Source*> const sources = sources_;
  for (Source* source : sources) {
    if (std::find(sources_.begin(), sources_.end(), source) != sources_.end()) source->runSlice();
  }
}

bool EventLoop::turn() {
  ++now_;
  runTimers();
  runPosts();
  runSources();
  return busy();
}

bool EventLoop::busy() const {
  return !posts_.empty() || !timers_.empty() ||
         std::any_of(sources_.begin(), sources_.end(), [](Source const* s) { return s->busy(); });
}

void EventLoop::run() {
  while (busy()) turn();
}

}  // namespace OrviaL3Agent
