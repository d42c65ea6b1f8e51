// A record or block that waits for the handles it needs, and its watchers, one for each of them.
//
// A watcher keeps its handle alive. In the tables of records it is inserted after it may have
// counted, and counts again when its handle changes later and is programmed then; in the member
// table it counts once.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "ModelHandle.h"
#include "ModelJournal.h"
#include "ModelKey.h"

namespace Model {

class Parked;
class Table;

class Watcher : public Reactor, public std::enable_shared_from_this<Watcher> {
 public:
  Watcher(Journal& journal, Parked& parked, int slot);

  // Starts watching, and counts a handle that is already programmed.
  void begin(HandlePtr const& handle);
  // Another handle is needed instead. Nothing when it is the same.
  void handleIs(HandlePtr const& handle);
  void changed() override;
  // Taken out: it counts for nobody from now on.
  void removed() { parked_ = nullptr; }

 private:
  void count();

  Parked* parked_;
  int slot_;
  bool counted_ = false;
  HandlePtr handle_;
  Alive alive_;
};

class Parked : public std::enable_shared_from_this<Parked> {
 public:
  Parked(Journal& journal, Table& table, Key const& key);
  Parked(Parked const&) = delete;
  Parked& operator=(Parked const&) = delete;
  ~Parked();

  [[nodiscard]] Key const& key() const { return key_; }
  [[nodiscard]] Record const& record() const { return record_; }
  [[nodiscard]] bool ofBlock() const { return ofBlock_; }
  [[nodiscard]] std::uint32_t needed() const { return needed_; }
  [[nodiscard]] std::uint32_t seen() const { return seen_; }
  [[nodiscard]] std::map<int, std::shared_ptr<Watcher>> const& watchers() const {
    return watchers_;
  }
  [[nodiscard]] std::uint64_t age() const { return age_; }
  [[nodiscard]] std::string const& tableName() const { return tableName_; }

  // It left its table, or the table is gone.
  void tableDel() { table_ = nullptr; }

  void initialize(Record const& record);
  void initializeBlock();
  void seenIs(std::uint32_t seen);
  void seenInc(std::uint32_t more) { seenIs((seen_ + more) & 0xFFFFU); }
  // The slot's watcher turns to the handle; a new one when there is none.
  void watcherIs(int slot, HandlePtr const& handle);
  void watcherDel(int slot);
  void watcherDelAll();
  [[nodiscard]] std::shared_ptr<Watcher> watcher(int slot) const;
  void trace(std::string const& text);

 private:
  Journal& journal_;
  Table* table_;
  std::string tableName_;
  Key key_;
  Record record_;
  bool ofBlock_;
  std::uint32_t needed_ = 0;
  std::uint32_t seen_ = 0;
  std::uint64_t age_;
  std::map<int, std::shared_ptr<Watcher>> watchers_;
  Alive alive_;
};

}  // namespace Model
