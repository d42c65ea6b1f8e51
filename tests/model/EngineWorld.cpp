#include "EngineWorld.h"

#include <exception>
#include <stdexcept>
#include <utility>

#include "Vek/TraceHandle.h"

namespace Model::Engine {
namespace {

// Every level of the tables' text traces is on while there is a world.
unsigned livingWorlds = 0;

std::string tableOfTrace(std::string_view handle) {
  if (handle == IngressPart::Traits::traceHandleName()) return IngressPart::name;
  if (handle == HopPart::Traits::traceHandleName()) return HopPart::name;
  if (handle == MemberPart::Traits::traceHandleName()) return MemberPart::name;
  if (handle == GroupPart::Traits::traceHandleName()) return GroupPart::name;
  return std::string(handle);
}

}  // namespace

class EngineWorld::Stepping {
 public:
  explicit Stepping(EngineWorld& world)
      : work_(world.live_), previousSink_(Vek::traceSinkIs([&world](Vek::TraceLine const& line) {
          // While the tables are being made there is no log yet.
          if (!world.parts_) return;
          world.parts_->state.add(tableOfTrace(line.handleName) + " trace " +
                                  std::to_string(line.level) + " " + std::string(line.text));
        })) {}
  ~Stepping() { Vek::traceSinkIs(std::move(previousSink_)); }
  Stepping(Stepping const&) = delete;
  Stepping& operator=(Stepping const&) = delete;

 private:
  LiveTally::Work work_;
  Vek::TraceSink previousSink_;
};

EngineWorld::EngineWorld(Reactions const& reactions) : reactions_(reactions) {
  if (livingWorlds++ == 0) {
    Vek::traceLevelsUpToIs("OrviaL3Unicast*", Vek::TraceFacility::level9, true);
  }
  Stepping const stepping(*this);
  parts_ = std::make_unique<Parts>();
  static_cast<void>(parts_->state.log.take());
  parts_->state.tableReacts = [this](unsigned number) { react(number, Raises::no); };
}

EngineWorld::~EngineWorld() {
  Stepping const stepping(*this);
  reactions_ = {};
  parts_->slots = {};
  parts_->group.tableDel();
  parts_->member.tableDel();
  parts_->hop.tableDel();
  parts_->ingress.tableDel();
  parts_ = nullptr;
  if (--livingWorlds == 0) Vek::traceLevelDelAll();
}

void EngineWorld::stepIs(Step const& step) {
  Stepping const stepping(*this);
  parts_->state.names.forgetGone();
  run(step);
}

Lines EngineWorld::takeLog() { return parts_->state.log.take(); }

void EngineWorld::listenerIs(std::function<void(std::string const&)> listener) {
  parts_->state.log.listenerIs(std::move(listener));
}

void EngineWorld::heard(unsigned number, Asic::HwTable::EntryState state) {
  parts_->state.add("handler " + std::to_string(number) + " hears " + std::to_string(state));
  react(number, Raises::yes);
}

void EngineWorld::react(unsigned number, Raises raises) {
  if (reactionDepth_ >= maximumReactionDepth || reactionsRun_ >= maximumReactions) return;
  ++reactionsRun_;
  ++reactionDepth_;
  struct Depth {
    std::uint32_t& depth;
    ~Depth() { --depth; }
  } const depth{reactionDepth_};
  for (Step const& step : reactions_[number - 1]) {
    if (step.kind == Kind::raise && raises == Raises::yes) raise();
    run(step);
  }
}

void EngineWorld::raise() {
  std::runtime_error const exception("handler raises");
  parts_->state.add(std::string("raises ") + exception.what());
  throw exception;
}

void EngineWorld::run(Step const& step) {
  try {
    perform(step);
  } catch (std::exception const& exception) {
    parts_->state.add(std::string("raises ") + exception.what());
  }
}

void EngineWorld::perform(Step const& step) {
  if (performOutside(step) || performForCallers(step)) return;
  performWithin(step);
}

HandlePtr EngineWorld::ref(std::uint32_t n) {
  std::uint32_t const which = n % (1 + externCount + slotCount);
  if (which == 0) return {};
  return which <= externCount ? HandlePtr(parts_->state.externs[which - 1])
                              : slot(which - 1 - externCount);
}

OrviaL3Unicast::WriteResponseHandler EngineWorld::handler(std::uint32_t n) {
  if (n % 5 == 0) return {};
  return ResponseHandler{this, n % 5};
}

OrviaL3Unicast::L3EcmpEntryBlock EngineWorld::block(std::uint32_t n) {
  OrviaL3Unicast::L3EcmpEntryBlock block(Asic::BlockSize(static_cast<std::uint16_t>(n % 4)));
  std::uint32_t const refs[] = {n / 4, n / 52, n / 676};
  for (std::uint32_t position = 0; position < n % 4; ++position) {
    HandlePtr const member = ref(refs[position]);
    if (member) block.entryIs(position, OrviaL3Unicast::L3EcmpMember(member));
  }
  return block;
}

void EngineWorld::returned(Step const& step, HandlePtr made) {
  parts_->state.add("returns " + parts_->state.names.of(made.get()));
  // What was in the slot is let go last, as `made` ends.
  if (made) made.swap(slot(step.n[4]));
}

}  // namespace Model::Engine
