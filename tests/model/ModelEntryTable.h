// The tables of records: ingress, whose keys have their rows already, and the two that allocate
// rows, hop and group.
#pragma once

#include <memory>
#include <string>

#include "ModelRows.h"
#include "ModelTable.h"

namespace Model {

class EntryTable : public Table {
 public:
  // What callers use.
  virtual HandlePtr commit(Key const& key, Record const& record, std::uint32_t handler) = 0;
  virtual HandlePtr write(Key const& key, Record const& record, std::uint32_t handler,
                          std::uint32_t autoRemove) = 0;
  void remove(Key const& key);
  Record getEntry(Key const& key);
  HandlePtr lookupExisting(Key const& key, Record const& record);

  // The collections.
  void entryIs(Key const& key, Record const& record);
  Record entryDel(Key const& key);
  void entryDelAll();
  virtual void handleEntry(Key const& key) = 0;
  virtual HandlePtr handleMutate(Key const& key) = 0;
  void ownedIs(Key const& key, HandlePtr const& handle);
  void ownedDel(Key const& key) { ownedIs(key, nullptr); }
  void ownedDelAll();
  [[nodiscard]] HandlePtr owned(Key const& key);
  std::shared_ptr<Pending> pendingIs(HandlePtr const& handle, Key const& key);
  std::shared_ptr<Pending> pendingDel(Key const& key);
  void pendingDelAll();
  [[nodiscard]] std::shared_ptr<Pending> pending(Key const& key);

  void resolve(Parked const& parked) override;

 protected:
  EntryTable(Journal& journal, Hardware& hardware, std::string const& name)
      : Table(journal, hardware, name, "unresolvedEntry") {}

  [[nodiscard]] bool hasRecord(Key const& key);
  // Lets every record, or every owned handle, go without a word.
  void recordsDrop();
  void ownedDrop();
  [[nodiscard]] Record emptyRecord() const;
  // Parks the record; the handle is the caller's, who keeps it meanwhile.
  void park(Key const& key, Record const& record);
  [[nodiscard]] char const* emptyCondition() const override { return "!entrys()"; }
};

class IngressTable : public EntryTable {
 public:
  static std::shared_ptr<IngressTable> make(Journal& journal, Hardware& hardware) {
    return counted(new IngressTable(journal, hardware));
  }

  HandlePtr commit(Key const& key, Record const& record, std::uint32_t handler) override;
  HandlePtr write(Key const& key, Record const& record, std::uint32_t handler,
                  std::uint32_t autoRemove) override;
  void handleEntry(Key const& key) override;
  HandlePtr handleMutate(Key const& key) override;
  HandlePtr handleAccess(Key const& key) override { return owned(key); }
  HandlePtr answeredHandle(std::uint32_t row, HandlePtr const& key) override;
  void cleanup(Handle& handle) override;

 protected:
  void end() override;
  void restart() override { hardware_.sync(); }

 private:
  IngressTable(Journal& journal, Hardware& hardware) : EntryTable(journal, hardware, "ingress") {}
};

class RowTable : public EntryTable {
 public:
  static constexpr std::uint32_t numEntries = 6;

  static std::shared_ptr<RowTable> make(Journal& journal, Hardware& hardware,
                                        std::string const& name) {
    return counted(new RowTable(journal, hardware, name));
  }

  HandlePtr commit(Key const& key, Record const& record, std::uint32_t handler) override;
  HandlePtr write(Key const& key, Record const& record, std::uint32_t handler,
                  std::uint32_t autoRemove) override;
  HandlePtr ref(Key const& key, Record const& record, std::uint32_t handler);
  HandlePtr writeAtIndex(std::uint32_t index, Key const& key, Record const& record,
                         std::uint32_t autoRemove);
  HandlePtr entryLookup(Key const& key);
  void handleEntry(Key const& key) override;
  HandlePtr handleMutate(Key const& key) override;
  HandlePtr answeredHandle(std::uint32_t row, HandlePtr const& key) override;
  void cleanup(Handle& handle) override;

  void doInitComplete() override;
  void answersIs();
  void answersDel();
  std::shared_ptr<SingleRows> allocatorIs(std::uint32_t size);
  void allocatorDel();
  [[nodiscard]] SingleRows const* rows() const { return rows_.get(); }

 protected:
  void end() override;
  void restart() override { hardware_.removeAll(); }

 private:
  RowTable(Journal& journal, Hardware& hardware, std::string const& name)
      : EntryTable(journal, hardware, name) {}

  // The allocator. A living table cannot go on without one; a dying one goes on without rows.
  std::shared_ptr<SingleRows> neededRows();

  std::shared_ptr<SingleRows> rows_;
  // A write-response reactor. It hears answers when it found a hardware table as it was made, from
  // behind the announcement of its coming until behind that of its going.
  struct Answers {
    bool attached;
    bool on = false;
  };

  std::shared_ptr<Answers> answers_;
  std::uint32_t hearing_ = 0;  // how many reactors hear answers
};

}  // namespace Model
