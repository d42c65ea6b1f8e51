#include "ModelTable.h"

#include <algorithm>
#include <cstdlib>

namespace Model {

void Table::endAndDelete(Table* table) noexcept {
  table->ending_ = true;
  try {
    table->end();
  } catch (Abort const&) {
    // The journal knows it. What is left of the table goes without a word.
    table->handlesLoseTable();
  }
  for (Member const& member : table->members_) {
    if (member.parked) member.parked->tableDel();
  }
  table->hardware_.tableDel();
  delete table;
}

Member* Table::find(Key const& key) {
  for (Member& member : members_) {
    if (member.key == key) return &member;
  }
  return nullptr;
}

Member& Table::member(Key const& key) {
  if (Member* found = find(key)) return *found;
  members_.emplace_back();
  members_.back().key = key;
  members_.back().age = journal_.newAge();
  return members_.back();
}

void Table::tidy(Key const& key) {
  for (auto at = members_.begin(); at != members_.end(); ++at) {
    if (!(at->key == key)) continue;
    if (!at->empty()) return;
    // Out of the list before its key is released.
    std::list<Member> gone;
    gone.splice(gone.end(), members_, at);
    return;
  }
}

void Table::hwTableIs(bool attached) {
  if (attached_ == attached) return;
  attached_ = attached;
  announce("hwTable");
}

void Table::hwTableReadyIs(bool ready) {
  if (ready_ == ready) return;
  ready_ = ready;
  announce("hwTableReady");
}

void Table::syncEntries() {
  bool const holds = std::any_of(members_.begin(), members_.end(), [](Member const& member) {
    return member.record || member.committed;
  });
  if (holds) journal_.abort(emptyCondition(), " non-empty swTable before syncing from hwTable");
  restart();
}

HandlePtr Table::handleAccess(Key const& key) {
  Member const* const found = find(key);
  return found == nullptr || found->registered == nullptr ? nullptr : found->registered->counted();
}

void Table::registeredIs(Key const& key, Handle* handle) {
  if (handle != nullptr) {
    member(key).registered = handle;
  } else if (Member* found = find(key)) {
    found->registered = nullptr;
    tidy(key);
  }
  announceHandle("rawEntryHandle", key, handle == nullptr ? nullptr : handle->counted());
}

void Table::registeredDelAll() {
  std::shared_ptr<Table> const self = hold();
  walk([this](Member& member) {
    if (member.registered != nullptr) registeredDel(Key(member.key));
  });
  walk([this](Member& member) {
    if (std::exchange(member.registered, nullptr) != nullptr) tidy(member.key);
  });
}

void Table::announceHandle(std::string const& attribute, Key const& key, HandlePtr const& handle) {
  journal_.line(name_ + " announces " + attribute + " " + key.text());
  if (handle) name(*handle);
  react();
}

void Table::name(Handle& handle) {
  if (handle.name().empty()) handle.nameIs(name_ + "#" + std::to_string(++names_));
}

HandlePtr Table::handleMake(Key const& key) {
  HandlePtr made = Handle::ofTable(journal_, *this, key);
  name(*made);
  return made;
}

std::shared_ptr<Parked> Table::parked(Key const& key) {
  Member const* const found = find(key);
  return found == nullptr ? nullptr : found->parked;
}

bool Table::isParked(Parked const& parked) {
  Member const* const found = find(parked.key());
  return found != nullptr && found->parked.get() == &parked;
}

std::shared_ptr<Parked> Table::parkedIs(Key const& key) {
  if (std::shared_ptr<Parked> found = parked(key)) return found;
  auto const made = std::make_shared<Parked>(journal_, *this, key);
  member(key).parked = made;
  announce(parkedAttribute_, key);
  return made;
}

std::shared_ptr<Parked> Table::parkedDel(Key const& key) {
  Member* const found = find(key);
  if (found == nullptr || !found->parked) return nullptr;
  std::shared_ptr<Parked> const removed = std::exchange(found->parked, nullptr);
  removed->tableDel();
  // The removed record's own copy: the caller's may be what tidy() forgets.
  tidy(removed->key());
  announce(parkedAttribute_, removed->key());
  return removed;
}

void Table::parkedDelAll() {
  std::shared_ptr<Table> const self = hold();
  // By age: copies of the keys would keep what they name alive.
  std::vector<std::uint64_t> ages;
  for (Member const& member : members_) {
    if (member.parked) ages.push_back(member.parked->age());
  }
  std::sort(ages.begin(), ages.end());
  for (std::uint64_t const age : ages) {
    auto const found = std::find_if(members_.begin(), members_.end(), [&](Member const& member) {
      return member.parked && member.parked->age() == age;
    });
    if (found != members_.end()) parkedDel(found->parked->key());
  }
  for (;;) {
    Member* first = nullptr;
    for (Member& member : members_) {
      if (!member.parked) continue;
      if (first == nullptr || member.parked->age() < first->parked->age()) first = &member;
    }
    if (first == nullptr) return;
    std::shared_ptr<Parked> const left = std::exchange(first->parked, nullptr);
    left->tableDel();
    tidy(left->key());
  }
}

Member* Table::findByAge(std::uint64_t age) {
  for (Member& member : members_) {
    if (member.age == age) return &member;
  }
  return nullptr;
}

bool Table::publishes() {
  char const* const value = std::getenv("PUBLISH_ENTRY_HANDLE_PROGRAMMED_STATE");
  return value != nullptr && std::strtol(value, nullptr, 10) != 0;
}

void Table::forget(Handle const* handle) {
  for (Member& member : members_) {
    if (member.registered == handle) member.registered = nullptr;
  }
}

void Table::handlesLoseTable() {
  for (Handle* handle : handles_) handle->tableDel();
}

}  // namespace Model
