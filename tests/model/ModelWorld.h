// The model: the four tables told a second time, as plainly as possible.
//
//   Model::ModelWorld model(sequence);
//   for (Model::Step const& step : sequence.steps) model.stepIs(step);
//
// What the tables do is in ModelTable, ModelEntryTable (ingress, hop and group) and
// ModelMemberTable; what can wait in ModelParked; who reports in ModelPending. Nothing here is
// fast: keys are looked for one after the other, texts are made as they are needed.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ModelEntryTable.h"
#include "ModelHandle.h"
#include "ModelHardware.h"
#include "ModelJournal.h"
#include "ModelMemberTable.h"
#include "Step.h"
#include "World.h"

namespace Model {

class ModelWorld : public World {
 public:
  using Reactions = std::array<std::vector<Step>, 4>;

  explicit ModelWorld(Reactions const& reactions = {});
  explicit ModelWorld(Sequence const& sequence) : ModelWorld(sequence.reactions) {}
  ModelWorld(ModelWorld const&) = delete;
  ModelWorld& operator=(ModelWorld const&) = delete;
  ~ModelWorld() override;

  void stepIs(Step const& step) override;
  [[nodiscard]] Lines takeLog() override { return journal_.take(); }
  void listenerIs(std::function<void(std::string const&)> listener) override {
    journal_.listener = std::move(listener);
  }
  [[nodiscard]] Lines snapshot() override;

 private:
  // A step, the groups that its kind may belong to, and a handler's reactions. A group says whether
  // the kind is one of its own.
  void perform(Step const& step);
  bool performOutside(Step const& step);
  void performAnswer(Step const& step);
  bool performCall(Step const& step);
  bool performOnAny(Step const& step);
  bool performOnParked(Step const& step);
  bool performOnEntries(Step const& step);
  bool performOnRows(Step const& step);
  bool performOnBlocks(Step const& step);
  void handlerCalled(std::uint32_t handler, std::uint32_t state);
  enum class Raises : bool { no, yes };
  void react(std::uint32_t reaction, Raises raises);

  // What a step's numbers name.
  [[nodiscard]] HandlePtr refOf(std::uint32_t number) const;
  [[nodiscard]] Record recordOf(std::uint32_t table, std::uint32_t number) const;
  [[nodiscard]] Key blockOf(std::uint32_t number) const;
  [[nodiscard]] Key keyOf(std::uint32_t table, std::uint32_t number) const;
  [[nodiscard]] HandlePtr slotOfTable(std::uint32_t slot, std::string const& table) const;
  [[nodiscard]] Table* tableOf(std::uint32_t table) const;
  [[nodiscard]] EntryTable* entryTableOf(std::uint32_t table) const;
  [[nodiscard]] RowTable* rowTableOf(std::uint32_t table) const;

  // The outcome of a step.
  void returns(std::string const& text) { journal_.line("returns " + text); }
  void returns(HandlePtr handle, std::uint32_t slot);

  void snapshotTable(Table const& table, Lines& lines) const;
  void snapshotRows(Lines& lines) const;
  void snapshotHandles(Lines& lines) const;

  Journal journal_;
  Reactions reactions_;
  std::uint32_t reactionDepth_ = 0;
  std::uint32_t reacted_ = 0;
  std::vector<Waiting> waiting_;
  std::vector<std::unique_ptr<Hardware>> hardware_;
  std::array<HandlePtr, 6> externs_;
  std::array<HandlePtr, 6> slots_;
  std::shared_ptr<IngressTable> ingress_;
  std::shared_ptr<RowTable> hop_;
  std::shared_ptr<MemberTable> member_;
  std::shared_ptr<RowTable> group_;
};

}  // namespace Model
