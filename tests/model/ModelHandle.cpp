#include "ModelHandle.h"

#include <algorithm>
#include <exception>

#include "ModelTable.h"

namespace Model {

void Reactor::watch(Handle* handle) {
  if (notifier_ != nullptr) std::erase(notifier_->reactors_, this);
  notifier_ = handle;
  place_ = 0;
  if (notifier_ != nullptr) notifier_->reactors_.push_back(this);
}

void Reactor::registerAtNotifier() {
  if (notifier_ == nullptr || place_ != 0) return;
  std::erase(notifier_->reactors_, this);
  notifier_->reactors_.push_back(this);
  place_ = notifier_->journal_.newAge();
}

Handle::Handle(Journal& journal, std::string name, Table* table, Key const& key)
    : journal_(journal), name_(std::move(name)), table_(table), key_(key) {
  journal_.handles.insert(this);
  if (table_ == nullptr) return;
  table_->handleBorn(this);
  tableName_ = table_->name();
  alive_ = std::make_unique<Alive>(journal_, tableName_ + " EntryHandle");
}

Handle::~Handle() {
  journal_.handles.erase(this);
  for (Reactor* reactor : reactors_) {
    reactor->notifier_ = nullptr;
    reactor->place_ = 0;
  }
}

HandlePtr Handle::countedFirst(Handle* handle) {
  return {handle, [](Handle* dying) {
            dying->end();
            delete dying;
          }};
}

HandlePtr Handle::ofExtern(Journal& journal, std::string const& name) {
  return countedFirst(new Handle(journal, name, nullptr, {}));
}

HandlePtr Handle::ofTable(Journal& journal, Table& table, Key const& key) {
  return countedFirst(new Handle(journal, {}, &table, key));
}

void Handle::cleanup() {
  if (table_ != nullptr) table_->cleanup(*this);
}

void Handle::end() noexcept {
  try {
    cleanup();
  } catch (Abort const&) {
    // The journal knows it; nobody above a released reference could catch it.
    table_->forget(this);
  }
  if (table_ != nullptr) table_->handleGone(this);
  { Key const released = std::exchange(key_, {}); }
  if (!name_.empty()) journal_.line(name_ + " gone");
}

void Handle::rowIs(std::uint32_t row) {
  if (row_ == row) return;
  row_ = row;
  announce("row " + rowText(row));
}

void Handle::stateIs(std::uint32_t state) {
  if (state_ == state) return;
  state_ = state;
  announce("state " + std::to_string(state));
}

void Handle::modeIs(std::uint32_t mode) {
  if (mode_ == mode) return;
  mode_ = mode;
  // No reactor of a table looks at the mode.
  if (!name_.empty()) journal_.line(name_ + " mode " + std::to_string(mode));
}

void Handle::announce(std::string const& line) {
  HandlePtr const alive = counted();
  if (!name_.empty()) journal_.line(name_ + " " + line);
  // Those who are registered now, in this order; a place tells whether one still is.
  std::vector<std::pair<std::uint64_t, Reactor*>> registered;
  for (Reactor* reactor : reactors_) {
    if (reactor->place_ != 0) registered.emplace_back(reactor->place_, reactor);
  }
  std::exception_ptr first;
  for (auto const& [place, reactor] : registered) {
    if (std::find(reactors_.begin(), reactors_.end(), reactor) == reactors_.end()) continue;
    if (reactor->place_ != place || !reactor->active()) continue;
    try {
      reactor->changed();
    } catch (...) {
      if (!first) first = std::current_exception();
    }
  }
  if (first) std::rethrow_exception(first);
}

}  // namespace Model
