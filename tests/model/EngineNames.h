// What EngineWorld shares between its tables: the log, the names of handles, the handles from
// outside, and the answers that wait; and how values are written in a log.
//
// A handle is named when its table announces it for the first time. The watch that is put on it
// then is the first on the handle: it logs every change before anybody else reacts to it.
//
// One thread. Tables and watches refer to the state, which outlives them.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "TestHandle.h"
#include "Vek/NotifieeConst.h"
#include "World.h"

namespace Model::Engine {

using Handle = Asic::SwTable::EntryHandle;
using HandlePtr = Vek::Ptr<Handle const>;

inline constexpr std::uint32_t externCount = 6;

// What happens, line by line.
class EngineLog {
 public:
  void add(std::string line) {
    lines_.push_back(std::move(line));
    if (listener_) listener_(lines_.back());
  }
  [[nodiscard]] Lines take() { return std::exchange(lines_, {}); }
  void listenerIs(std::function<void(std::string const&)> listener) {
    listener_ = std::move(listener);
  }

 private:
  Lines lines_;
  std::function<void(std::string const&)> listener_;
};

class HandleNames;

// Logs what happens to one handle.
class HandleWatch : public Vek::NotifieeConst {
 public:
  HandleWatch(HandleNames& names, std::string name, Handle const& handle);
  void onAttribute(Vek::AttributeId changed, void const* key) override;
  void onZeroReferences() override;
  // The snapshot's line.
  [[nodiscard]] std::string line() const;

  [[nodiscard]] std::string const& name() const { return name_; }
  [[nodiscard]] Handle const* handle() const { return handle_; }

 protected:
  // What handles of tables have beside row and state.
  [[nodiscard]] virtual unsigned mode() const { return 0; }
  [[nodiscard]] virtual std::string more() const { return {}; }

 private:
  HandleNames& names_;
  std::string name_;
  Handle const* handle_;  // valid until onZeroReferences()
};

// A handler as it is put on handles; the call goes to whoever made it.
struct ResponseHandler {
  class Listener {
   public:
    virtual void heard(unsigned handler, Asic::HwTable::EntryState state) = 0;

   protected:
    ~Listener() = default;
  };

  Listener* listener;
  unsigned number;  // from 1
  void operator()(Asic::HwTable::EntryState state) const { listener->heard(number, state); }
};

// The same for a handle of a table.
template <class TableHandle>
class TableHandleWatch final : public HandleWatch {
 public:
  TableHandleWatch(HandleNames& names, std::string name, TableHandle const& handle)
      : HandleWatch(names, std::move(name), handle) {}

 protected:
  [[nodiscard]] unsigned mode() const override { return own().mode(); }
  [[nodiscard]] std::string more() const override {
    auto const* const handler = own().writeResponseHandler().template target<ResponseHandler>();
    return " mode " + std::to_string(mode()) + " handler " +
           std::to_string(handler != nullptr ? handler->number : 0U);
  }

 private:
  [[nodiscard]] TableHandle const& own() const {
    return static_cast<TableHandle const&>(*handle());
  }
};

class HandleNames {
 public:
  explicit HandleNames(EngineLog& log) : log_(log) {}

  // "none" without a handle.
  [[nodiscard]] std::string of(Handle const* handle) const;
  void externIs(std::string const& name, Handle const& handle) {
    watchIs(new HandleWatch(*this, name, handle));
  }
  // Names a handle of the table, unless it has a name.
  template <class TableHandle>
  void tableHandleIs(std::string const& table, TableHandle const& handle) {
    if (watches_.contains(&handle)) return;
    std::string const name = table + "#" + std::to_string(++counts_[table]);
    watchIs(new TableHandleWatch<TableHandle>(*this, name, handle));
  }
  // The lines of all named handles that are alive.
  void appendTo(Lines& lines) const;

  void add(std::string line) { log_.add(std::move(line)); }
  void gone(HandleWatch const& watch);
  // Forgets the watches of handles that are gone; not while one of them is being called.
  void forgetGone() { gone_.clear(); }

 private:
  void watchIs(Vek::Ptr<HandleWatch> const& watch);

  EngineLog& log_;
  std::map<Handle const*, Vek::Ptr<HandleWatch>> watches_;
  std::map<std::string, unsigned> counts_;
  std::vector<Vek::Ptr<HandleWatch>> gone_;
};

// An answer that the hardware has not given yet.
struct WaitingAnswer {
  unsigned table;
  std::uint32_t row;  // hop, member, group
  HandlePtr key;      // ingress
};

struct EngineState {
  EngineState();

  EngineLog log;
  HandleNames names{log};
  std::array<Vek::Ptr<TableTests::TestHandle>, externCount> externs;
  std::vector<WaitingAnswer> waiting;
  // Runs a reaction for a table that reacts to what it announces.
  std::function<void(unsigned)> tableReacts;

  void add(std::string line) { log.add(std::move(line)); }
};

enum class Rows { hidden, shown };

std::string rowText(Asic::Index row);

// How keys and records read; `Rows::shown` as the hardware gets them.
std::string textOf(HandleNames const& names, HandlePtr const& key);
std::string textOf(HandleNames const& names, Asic::L3EcmpNextHopKey const& key);
std::string textOf(HandleNames const& names, OrviaL3Unicast::L3EcmpGroupTable::Index key);
std::string textOf(HandleNames const& names, OrviaL3Unicast::L3EcmpEntryBlock const& block);

std::string refText(HandleNames const& names, HandlePtr const& handle, Rows rows);
template <class Name>
std::string recordText(HandleNames const& names, OrviaL3Unicast::NextHopEntry<Name> const& record,
                       Rows rows) {
  return refText(names, record.l3Oif1Handle(), rows) + "/" +
         refText(names, record.mtuProfilePtrHandle(), rows) + "/" +
         std::to_string(record.destination());
}
std::string recordText(HandleNames const& names,
                       OrviaL3Unicast::L3EcmpGroupTable::Entry const& record, Rows rows);
std::string recordText(HandleNames const& names, OrviaL3Unicast::L3EcmpMember const& member,
                       Rows rows);

}  // namespace Model::Engine
