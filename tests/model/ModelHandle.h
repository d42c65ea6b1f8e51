// Handles, of the tables and of what is outside them, and the reactors that watch them.
//
// A handle dies with its last HandlePtr. Its end first lets its table clean up, then lets go of its
// key, then is logged, then the reactors lose it. A handle whose end has begun can no longer be
// referred to: counted() is empty from then on.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ModelJournal.h"
#include "ModelKey.h"

namespace Model {

class Handle;
class Table;

// Watches one handle, without keeping it alive. In the handle's list from watch() on; called once
// it registered and while it is active.
class Reactor {
 public:
  Reactor() = default;
  Reactor(Reactor const&) = delete;
  Reactor& operator=(Reactor const&) = delete;
  virtual ~Reactor() { watch(nullptr); }

  virtual void changed() = 0;
  void activeIs(bool active) { active_ = active; }
  // Marked for deletion: neither hears changes nor looks at a new handle.
  void zombieIs(bool zombie) {
    if (zombie_ == zombie) return;
    if (notifier_ != nullptr) active_ = !zombie;
    zombie_ = zombie;
  }
  [[nodiscard]] bool zombie() const { return zombie_; }
  [[nodiscard]] bool active() const { return active_; }
  [[nodiscard]] Handle* notifier() const { return notifier_; }

 protected:
  // Leaves the present handle.
  void watch(Handle* handle);
  // Behind all who registered before. Nothing when it is registered or watches nothing.
  void registerAtNotifier();

  // Registers the reactor at the end of a scope, however that is left.
  class LateRegistration {
   public:
    explicit LateRegistration(Reactor& reactor) : reactor_(reactor) {}
    LateRegistration(LateRegistration const&) = delete;
    LateRegistration& operator=(LateRegistration const&) = delete;
    ~LateRegistration() { reactor_.registerAtNotifier(); }

   private:
    Reactor& reactor_;
  };

 private:
  friend class Handle;
  Handle* notifier_ = nullptr;
  std::uint64_t place_ = 0;  // age of the registration, 0 when not registered
  bool active_ = false;
  bool zombie_ = false;
};

class Handle : public std::enable_shared_from_this<Handle> {
 public:
  static HandlePtr ofExtern(Journal& journal, std::string const& name);
  static HandlePtr ofTable(Journal& journal, Table& table, Key const& key);

  // The name of its table's announcements; empty before the first.
  [[nodiscard]] std::string const& name() const { return name_; }
  void nameIs(std::string const& name) { name_ = name; }
  static std::string nameOf(HandlePtr const& handle) { return handle ? handle->name() : "none"; }
  [[nodiscard]] std::string hardwareText() const { return name_ + "@" + rowText(row_); }

  // Of which table, also when that is gone; empty for one of outside.
  [[nodiscard]] std::string const& tableName() const { return tableName_; }
  [[nodiscard]] Key const& key() const { return key_; }
  [[nodiscard]] std::uint32_t row() const { return row_; }
  [[nodiscard]] std::uint32_t state() const { return state_; }
  [[nodiscard]] std::uint32_t mode() const { return mode_; }
  [[nodiscard]] bool isProgrammed() const { return state_ == 1 && row_ != noRow; }
  void rowIs(std::uint32_t row);
  void stateIs(std::uint32_t state);
  void modeIs(std::uint32_t mode);
  // 0 is the empty one.
  [[nodiscard]] std::uint32_t handler() const { return handler_; }
  void handlerIs(std::uint32_t handler) { handler_ = handler; }

  // Another reference, or none once its end has begun.
  [[nodiscard]] HandlePtr counted() { return weak_from_this().lock(); }
  // What its table has for the key goes, as at the handle's end.
  void cleanup();
  // Its table is gone: there is nothing to clean up any more.
  void tableDel() { table_ = nullptr; }

 private:
  friend class Reactor;
  Handle(Journal& journal, std::string name, Table* table, Key const& key);
  ~Handle();
  static HandlePtr countedFirst(Handle* handle);
  void end() noexcept;
  void announce(std::string const& line);

  Journal& journal_;
  std::string name_;
  Table* table_;
  std::string tableName_;
  Key key_;
  std::uint32_t row_ = noRow;
  std::uint32_t state_ = 0;
  std::uint32_t mode_ = 0;
  std::uint32_t handler_ = 0;
  std::vector<Reactor*> reactors_;
  std::unique_ptr<Alive> alive_;
};

}  // namespace Model
