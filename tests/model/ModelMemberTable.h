// The table of member blocks: the block is the key, and lives as long as its handle.
#pragma once

#include <memory>

#include "ModelRows.h"
#include "ModelTable.h"

namespace Model {

class MemberTable : public Table {
 public:
  static constexpr std::uint32_t numEntries = 8;

  static std::shared_ptr<MemberTable> make(Journal& journal, Hardware& hardware) {
    return counted(new MemberTable(journal, hardware));
  }

  HandlePtr ref(Key const& block);
  HandlePtr write(Key const& block, std::uint32_t autoRemove);
  void blockIs(Key const& block);
  bool blockDel(Key const& block);
  void blockDelAll();
  void handleBlock(Key const& block);

  void resolve(Parked const& parked) override;
  // Answers change nothing: the table publishes what it wrote itself.
  HandlePtr answeredHandle(std::uint32_t, HandlePtr const&) override { return nullptr; }
  void cleanup(Handle& handle) override;

  void doInitComplete() override;
  void allocatorIs(std::uint32_t size);
  void allocatorDel();
  [[nodiscard]] Runs const* runs() const { return runs_.get(); }

 protected:
  void end() override;
  void restart() override { hardware_.removeAll(); }
  [[nodiscard]] char const* emptyCondition() const override { return "!entryBlocks()"; }

 private:
  MemberTable(Journal& journal, Hardware& hardware)
      : Table(journal, hardware, "member", "unresolvedEntryBlock") {}

  [[nodiscard]] bool isCommitted(Key const& block);

  std::shared_ptr<Runs> runs_;
};

}  // namespace Model
