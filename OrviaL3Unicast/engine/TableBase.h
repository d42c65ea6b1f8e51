// Who a table is: its types, its utility, its announcements. Base of all four tables.
#pragma once

#include <cstdint>
#include <type_traits>

#include "Asic/AutoRemoveType.h"
#include "OrviaAsicUtils/SwTable.h"
#include "OrviaAsicUtils/SwTableUtil.h"
#include "OrviaL3Unicast/engine/KeyStore.h"

namespace OrviaL3Unicast::engine {

// Under which attribute a table announces the changes of each of its collections; the key of the
// announcement points to the changed key (none for the allocators and writeResponseSm). Reflection
// shows the attributes under the same numbers.
//
// Every table's numbers ascend in the order in which it declares the attributes. The tables share
// one numbering, so that who watches several needs one; hence the gaps in each.
struct TableAttribute {
  static constexpr std::uint32_t first = OrviaAsicUtils::SwTable::firstTableAttribute;
  static constexpr Vek::AttributeId firstFreeIndexAllocator{first + 0};
  static constexpr Vek::AttributeId indexAllocator{first + 1};
  static constexpr Vek::AttributeId writeResponseSm{first + 2};
  // first + 3: see KeyRowTableAttribute.
  static constexpr Vek::AttributeId pendingEntrySm{first + 4};
  static constexpr Vek::AttributeId unresolvedEntry{first + 5};
  static constexpr Vek::AttributeId rawEntryHandle{first + 6};
  static constexpr Vek::AttributeId entryHandle{first + 7};
  static constexpr Vek::AttributeId entry{first + 8};
  static constexpr Vek::AttributeId unresolvedEntryBlock{first + 9};
  static constexpr Vek::AttributeId entryBlock{first + 10};
  static constexpr Vek::AttributeId minIndex{first + 11};
  static constexpr Vek::AttributeId maxIndex{first + 12};
};
// A table whose keys bring their rows declares its handles first.
struct KeyRowTableAttribute : TableAttribute {
  static constexpr Vek::AttributeId entryHandle{first + 3};
};

template <class T>
struct StoreView;

// A handle's way back to its table: does not keep the table alive, and is empty once the table is
// gone. One per table, shared by all of its handles.
template <class T>
class TableBase;

template <class T>
class TableLink final : public Vek::Tracked<TableLink<T>, Vek::PtrInterface> {
 public:
  using Table = typename T::Table;
  explicit TableLink(TableBase<T>* table) : table_(table) {}

  static constexpr char const* typeName() { return nestedName<T, "TableLink">.c_str(); }
  [[nodiscard]] Table* table() const;
  void tableDel() { table_ = nullptr; }

 private:
  TableBase<T>* table_;  // still under construction when the link is made
};

template <class T>
class TableBase : public OrviaAsicUtils::SwTable {
 public:
  using Table = typename T::Table;
  using Key = typename T::Key;
  using Util = typename T::Util;
  using Attribute = std::conditional_t<T::ownsRows, TableAttribute, KeyRowTableAttribute>;
  using EntryHandle = engine::EntryHandle<T>;

  [[nodiscard]] Vek::VekType fwkType() const override;
  static Vek::VekType classType();

  // The table's utility. Requires that one is set (utilIs) and that it is of the table's own
  // utility class; aborts otherwise, naming both.
  [[nodiscard]] Vek::Ptr<Util> util() const;

  // Does nothing, in every table.
  void entryDummyWrite(Asic::AutoRemoveType) const {}

  // What the table's handles hold instead of the table itself.
  [[nodiscard]] Vek::Ptr<TableLink<T>> const& link() const { return link_; }

  // A new handle, registered nowhere.
  static Vek::Ptr<EntryHandle> entryHandleFactory(Key const& key, Table* table);

 protected:
  using Store = KeyStore<T>;
  using Node = typename Store::Node;

  TableBase();
  ~TableBase() override;

  // The concrete table. Operations that notify hold a count on it: a handler may drop the last
  // other.
  [[nodiscard]] Table& table();

  void announceKey(Vek::AttributeId attribute, Key const& key) {
    if (!this->isWatched()) [[likely]]
      return;
    Key const copy = key;  // the member that carries the key may go while it is announced
    this->announce(attribute, &copy);
  }

  // Cuts the handles that outlive the table off from it.
  void detachHandles() { link_->tableDel(); }

  void releaseIfEmpty(Node& node) {
    if (node.value.empty()) store_.erase(node);
  }

  Store store_;

 private:
  friend struct StoreView<T>;

  Vek::Ptr<TableLink<T>> link_;
  // The utility setting that was last found to be of the right class; 0 stands for none at all.
  mutable std::uint32_t checkedUtilVersion_ = 0;
};

}  // namespace OrviaL3Unicast::engine
