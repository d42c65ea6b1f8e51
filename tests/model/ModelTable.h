// What the four tables share: what a table has for each key, its announcements, its parked records
// and the registry of its handles.
//
// A table dies with its last reference; operations that may run a handler hold one. end() takes it
// apart first. Handles that outlive it lose it.
#pragma once

#include <list>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ModelHandle.h"
#include "ModelHardware.h"
#include "ModelParked.h"
#include "ModelPending.h"

namespace Model {

// All that a table has for a key. A key that has nothing is not in the table.
struct Member {
  Key key;
  std::uint64_t age = 0;
  std::optional<Record> record;
  bool committed = false;  // blocks
  std::shared_ptr<Parked> parked;
  std::shared_ptr<Pending> pending;
  HandlePtr owned;
  Handle* registered = nullptr;

  [[nodiscard]] bool empty() const {
    return !record && !committed && !parked && !pending && !owned && registered == nullptr;
  }
};

class Table : public std::enable_shared_from_this<Table> {
 public:
  Table(Table const&) = delete;
  Table& operator=(Table const&) = delete;
  virtual ~Table() = default;

  [[nodiscard]] std::string const& name() const { return name_; }
  [[nodiscard]] std::list<Member> const& members() const { return members_; }
  // What the table has for the key, or none.
  [[nodiscard]] Member* find(Key const& key);

  // What the table announces runs this reaction; 0: none.
  void reactionIs(std::uint32_t reaction) { reaction_ = reaction; }
  // The platform's side.
  void hwTableIs(bool attached);
  void hwTableReadyIs(bool ready);
  void syncEntries();
  virtual void doInitComplete() {}
  // The handle that an answer is for.
  virtual HandlePtr answeredHandle(std::uint32_t row, HandlePtr const& key) = 0;

  // The key's handle, where the table looks for it.
  virtual HandlePtr handleAccess(Key const& key);
  void registeredIs(Key const& key, Handle* handle);
  void registeredDelAll();
  // A new handle that is registered nowhere.
  HandlePtr handleMake(Key const& key);
  void registeredDel(Key const& key) { registeredIs(key, nullptr); }

  std::shared_ptr<Parked> parkedIs(Key const& key);
  // Released by who gets it.
  std::shared_ptr<Parked> parkedDel(Key const& key);
  // A collection that is emptied as a whole is empty then: what came back meanwhile, as a table
  // reacted, goes without a word.
  void parkedDelAll();
  [[nodiscard]] std::shared_ptr<Parked> parked(Key const& key);
  [[nodiscard]] bool isParked(Parked const& parked);
  // Every needed handle of a record that is still parked was seen programmed.
  virtual void resolve(Parked const& parked) = 0;

  // A handle dies: what the table has for its key goes.
  virtual void cleanup(Handle& handle) = 0;
  void handleBorn(Handle* handle) { handles_.insert(handle); }
  // A handle whose clean-up ended in an Abort: nobody may come across it while the step goes on.
  void forget(Handle const* handle);
  void handleGone(Handle* handle) { handles_.erase(handle); }
  [[nodiscard]] std::set<Handle*> const& handles() const { return handles_; }

  void trace(std::string const& text, int level = 3) {
    journal_.line(name_ + " trace " + std::to_string(level) + " " + text);
  }

 protected:
  Table(Journal& journal, Hardware& hardware, std::string name, std::string parkedAttribute)
      : journal_(journal),
        hardware_(hardware),
        name_(std::move(name)),
        parkedAttribute_(std::move(parkedAttribute)) {}

  // A counted reference to a new table.
  template <class T>
  static std::shared_ptr<T> counted(T* table) {
    std::shared_ptr<T> const result(table, endAndDelete);
    table->hardware_.tableIs(result);
    return result;
  }
  // Takes the table apart.
  virtual void end() = 0;
  static void endAndDelete(Table* table) noexcept;
  void handlesLoseTable();
  [[nodiscard]] bool ending() const { return ending_; }

  [[nodiscard]] std::shared_ptr<Table> hold() { return weak_from_this().lock(); }
  [[nodiscard]] bool mayCallHardware() const { return ready_ && attached_; }
  // Whether tables show their entries as programmed without waiting for an answer.
  [[nodiscard]] static bool publishes();
  [[nodiscard]] bool attached() const { return attached_; }
  virtual void restart() = 0;
  [[nodiscard]] virtual char const* emptyCondition() const = 0;

  // What the table has for the key, made when it had nothing.
  Member& member(Key const& key);
  // Forgets the key when it has nothing any more.
  void tidy(Key const& key);
  // Goes over the keys that are there now, as they are when their turn comes; one that lost
  // everything meanwhile, and came anew, is another.
  template <class Visit>
  void walk(Visit const& visit) {
    std::vector<std::uint64_t> ages;
    for (Member const& member : members_) ages.push_back(member.age);
    for (std::uint64_t const age : ages) {
      if (Member* const member = findByAge(age)) visit(*member);
    }
  }

  void announce(std::string const& attribute) {
    journal_.line(name_ + " announces " + attribute);
    react();
  }
  void announce(std::string const& attribute, Key const& key) {
    announce(attribute + " " + key.text());
  }
  // Announces what shows a handle, which gets its name if it had none.
  void announceHandle(std::string const& attribute, Key const& key, HandlePtr const& handle);
  void name(Handle& handle);
  void react() {
    if (reaction_ == 0) return;
    std::shared_ptr<Table> const self = hold();
    journal_.tableReacts(reaction_);
  }

  Journal& journal_;
  Hardware& hardware_;

 private:
  [[nodiscard]] Member* findByAge(std::uint64_t age);

  std::string name_;
  std::string parkedAttribute_;
  bool ready_ = false;
  bool attached_ = false;
  bool ending_ = false;
  std::uint32_t names_ = 0;
  std::uint32_t reaction_ = 0;
  std::list<Member> members_;  // in the order in which the keys came
  std::set<Handle*> handles_;
};

}  // namespace Model
