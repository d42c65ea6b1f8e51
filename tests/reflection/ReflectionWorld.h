// The four tables with something in every collection, and everything that can be reached from them
// by reading attributes: at least one object or value of each type that has any.
#pragma once

#include <gtest/gtest.h>

#include <set>
#include <utility>
#include <vector>

#include "ChainTables.h"
#include "Loader/Singleton.h"
#include "TableWorld.h"
#include "Vek/GenericIf.h"
#include "Vek/Reflect.h"
#include "Vek/Walker.h"

namespace ReflectionTests {

using Vek::AttributeOperation;
using Vek::Value;
using Vek::VekAttribute;
using Vek::VekType;

inline Value valueOf(Vek::PtrInterface const* object) {
  return Value::object(object->fwkType(), object);
}

// Every collection of every table has an element.
struct Tables {
  Vek::Ptr<ChainTests::TestHandle> interface = ChainTests::programmedHandle(40);
  Vek::Ptr<ChainTests::TestHandle> waiting = ChainTests::waitingHandle();

  TableTests::World<TableTests::IngressAdapter> ingress{TableTests::Traced::no};
  ChainTests::World chain;
  std::vector<Vek::Ptr<Asic::SwTable::EntryHandle const>> handles;

  Tables() {
    auto const key = ingress.key(5);
    handles.emplace_back(ingress.table->entryCommit(key, ingress.entry(1, {interface})));
    handles.emplace_back(ingress.table->entryCommit(ingress.key(6), ingress.entry(2, {waiting})));

    using ChainTests::Groups;
    using ChainTests::NextHops;
    auto& hops = *chain.hops.table;
    chain.hops.answerAtOnce();
    chain.groups.answerAtOnce();
    auto const hop = hops.entryCommit(NextHops::key(1), NextHops::entry(interface, 7));
    handles.emplace_back(hop);
    handles.emplace_back(hops.entryCommit(NextHops::key(2), NextHops::entry(waiting, 8)));
    auto const block = chain.members.table->entryBlockRef(ChainTests::blockOf({hop, hop}));
    handles.emplace_back(block);
    handles.emplace_back(chain.members.table->entryBlockRef(ChainTests::blockOf({hop, waiting})));
    auto& groups = *chain.groups.table;
    handles.emplace_back(groups.entryCommit(Groups::key(7), Groups::entry(block, 2)));
    handles.emplace_back(groups.entryCommit(Groups::key(8), Groups::entry(waiting, 4)));
  }

  [[nodiscard]] std::vector<Vek::Ptr<Vek::PtrInterface const>> tables() const {
    return {ingress.table, chain.hops.table, chain.members.table, chain.groups.table};
  }
};

// What can be found, each object once; of equal values one, and at most a few of each type.
class Found {
 public:
  explicit Found(Tables const& tables) {
    for (auto const& table : tables.tables()) add(valueOf(table.get()));
    for (char const* const table : {"IngL3NextHop1Table", "EcmpIngL3NextHop1Table",
                                    "L3EcmpGroupTable", "L3EcmpMemberTable"}) {
      auto const loader =
          Vek::Entity::singletonExists("OrviaL3Unicast::" + std::string(table) + "UtilLoader");
      EXPECT_TRUE(loader) << table;
      if (loader) add(valueOf(loader.get()));
    }
    static std::uint32_t const seven = 7;
    Vek::Ptr<Vek::GenericIf> const view =
        new Vek::GenericIf(Vek::VekTypeOf<std::uint32_t>::type, &seven);
    add(valueOf(view.get()));
    // Grows while it is walked.
    for (std::size_t i = 0; i < values_.size(); ++i) {
      Value owner = values_[i];
      for (auto const& owned : Vek::attributesOf(owner.objectType()))
        follow(owner, *owned.attribute);
    }
    addNotReached();
  }

  [[nodiscard]] std::vector<Value> const& all() const { return values_; }
  [[nodiscard]] std::vector<Value> of(VekType type) const {
    std::vector<Value> result;
    for (Value const& value : values_) {
      if (value.objectType().isA(type)) result.push_back(value);
    }
    return result;
  }
  // The value types that no attribute of anything that is reached is of: tried as default values.
  [[nodiscard]] std::vector<std::string> const& notReached() const { return notReached_; }
  // A thing of the type in which the attribute can be tried: a collection that has an element.
  [[nodiscard]] Value with(VekType type, VekAttribute const& attribute) const {
    for (Value value : of(type)) {
      if (!attribute.isCollection()) return value;
      Value const count = Vek::attributeOperation(value, attribute.id, AttributeOperation::count);
      if (*count.as<std::uint32_t>() != 0) return value;
    }
    return {};
  }

 private:
  void add(Value const& value) {
    if (value.isNone() || (value.isObject() && value.object() == nullptr)) return;
    std::size_t alike = 0;
    for (Value const& known : values_) {
      if (known == value) return;
      if (known.objectType() == value.objectType()) ++alike;
    }
    if (value.isObject() || alike < 4) values_.push_back(value);
  }
  void follow(Value& owner, VekAttribute const& attribute) {
    if (!attribute.isCollection()) {
      add(Vek::attributeOperation(owner, attribute.id, AttributeOperation::read));
      return;
    }
    for (Vek::AttributeIterator i(owner, attribute); i; ++i) {
      add(i.key());
      add(i.object());
    }
  }

  void addNotReached() {
    for (VekType const type : Vek::vekTypes()) {
      if (type.valueOps() == nullptr || type.info()->reflection == nullptr) continue;
      if (!of(type).empty()) continue;
      notReached_.emplace_back(type.name());
      values_.push_back(Value::defaultOf(type));
    }
  }

  std::vector<Value> values_;
  std::vector<std::string> notReached_;
};

// Calls visit(type, attribute) for every row of every type that is registered.
template <class Visit>
void forEachRegistered(Visit const& visit) {
  for (VekType const type : Vek::vekTypes()) {
    if (type.info()->reflection == nullptr) continue;
    for (VekAttribute const& attribute : type.info()->reflection->attributes) {
      visit(type, attribute);
    }
  }
}

inline std::string nameOf(VekType type, VekAttribute const& attribute) {
  return std::string(type.name()) + "." + attribute.name;
}

}  // namespace ReflectionTests
