// The real tables as a World: all four, chained through their handles, with utilities that record,
// observers on tables and handles, and the text trace.
//
//   EngineWorld world(sequence.reactions);
//   world.stepIs({Kind::externRow, {0, 1}});
//   Lines log = world.takeLog();  // {"e0 row 101"}
//
// Several worlds can live at once: each logs the traces and counts the objects of its own steps
// only. An assertion of the tables ends the process, as it ends an agent.
//
// One thread. A world owns its tables and its hardware; its end is silent.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "EngineTable.h"
#include "LiveTally.h"
#include "World.h"

namespace Model::Engine {

class EngineWorld final : public World, private ResponseHandler::Listener {
 public:
  using Reactions = std::array<std::vector<Step>, 4>;

  explicit EngineWorld(Reactions const& reactions = {});
  ~EngineWorld() override;
  EngineWorld(EngineWorld const&) = delete;
  EngineWorld& operator=(EngineWorld const&) = delete;

  void stepIs(Step const& step) override;
  [[nodiscard]] Lines takeLog() override;
  void listenerIs(std::function<void(std::string const&)> listener) override;
  [[nodiscard]] Lines snapshot() override;

 private:
  static constexpr std::uint32_t slotCount = 6;

  // What is there during a step: traces come to the log, objects are counted as this world's.
  class Stepping;

  // Everything that lives as long as the world does.
  struct Parts {
    EngineState state;
    EngineTable<IngressPart> ingress{state};
    EngineTable<HopPart> hop{state};
    EngineTable<MemberPart> member{state};
    EngineTable<GroupPart> group{state};
    std::array<HandlePtr, slotCount> slots;
  };

  void heard(unsigned handler, Asic::HwTable::EntryState state) override;
  enum class Raises : bool { no, yes };
  void react(unsigned number, Raises raises);
  // The end of a reaction, and of the operation that called its handler.
  [[noreturn]] void raise();
  // A step of the sequence or of a reaction, with the exception that ends it.
  void run(Step const& step);
  void perform(Step const& step);
  // The steps by whom they concern; false when the kind is another one.
  bool performOutside(Step const& step);
  bool performForCallers(Step const& step);
  void performWithin(Step const& step);
  void answerNext(Step const& step);

  bool performOnParked(Step const& step);
  void performOnRows(Step const& step);
  void allocatorIs(Step const& step);
  // Does something with the parked record that a step names, if there is one, and holds it.
  template <class Perform>
  void withParked(Step const& step, Perform const& perform);
  // The block that a step names, or none.
  [[nodiscard]] std::optional<OrviaL3Unicast::L3EcmpEntryBlock> blockOf(Step const& step);

  // What the numbers of a step name.
  [[nodiscard]] HandlePtr& slot(std::uint32_t n) { return parts_->slots[n % slotCount]; }
  [[nodiscard]] HandlePtr ref(std::uint32_t n);
  [[nodiscard]] OrviaL3Unicast::WriteResponseHandler handler(std::uint32_t n);
  [[nodiscard]] OrviaL3Unicast::L3EcmpEntryBlock block(std::uint32_t n);
  template <class Side>
  [[nodiscard]] typename Side::Traits::Entry record(std::uint32_t n);
  // The slot's handle when it is one of the table's.
  template <class Side>
  [[nodiscard]] Vek::Ptr<typename Side::Table::EntryHandle> slotHandle(std::uint32_t n);

  // Runs the function for the named table, if the table is there.
  template <class Visit>
  void visitAny(std::uint32_t n, Visit const& visit);
  template <class Visit>
  void visitEntryTable(std::uint32_t n, Visit const& visit);
  template <class Visit>
  void visitHopOrGroup(std::uint32_t n, Visit const& visit);

  // The outcome of a step: logged, then kept in the step's slot.
  void returned(Step const& step, HandlePtr made);
  template <class Side>
  void write(Side& side, Step const& step, int form);

  LiveTally live_;
  Reactions reactions_;
  std::uint32_t reactionDepth_ = 0;
  std::uint32_t reactionsRun_ = 0;
  std::unique_ptr<Parts> parts_;
};

}  // namespace Model::Engine
