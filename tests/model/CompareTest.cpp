// That the comparison finds what differs, and nothing else.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "Compare.h"
#include "EngineWorld.h"

namespace Model {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

std::unique_ptr<World> engine(Sequence const& sequence) {
  return std::make_unique<Engine::EngineWorld>(sequence.reactions);
}

// A world that does something else at one step.
class Spoiled : public World {
 public:
  using Spoil = std::function<void(Spoiled&)>;

  Spoiled(Sequence const& sequence, std::size_t atStep, Spoil spoil)
      : world(sequence.reactions), atStep_(atStep), spoil_(std::move(spoil)) {}

  void stepIs(Step const& step) override {
    if (step_++ == atStep_) spoil_(*this);
    world.stepIs(step);
  }
  Lines takeLog() override {
    Lines log = world.takeLog();
    if (onLog) onLog(log);
    return log;
  }
  void listenerIs(std::function<void(std::string const&)> listener) override {
    world.listenerIs(std::move(listener));
  }
  Lines snapshot() override {
    Lines state = world.snapshot();
    if (onSnapshot) onSnapshot(state);
    return state;
  }

  Engine::EngineWorld world;
  std::function<void(Lines&)> onLog;
  std::function<void(Lines&)> onSnapshot;

 private:
  std::size_t step_ = 0;
  std::size_t atStep_;
  Spoil spoil_;
};

Worlds::Make spoiled(std::size_t atStep, Spoiled::Spoil const& spoil) {
  return
      [=](Sequence const& sequence) { return std::make_unique<Spoiled>(sequence, atStep, spoil); };
}
// The world announces an abort, and what is logged before it.
Worlds::Make announcing(std::size_t atStep, std::string const& condition,
                        std::string const& message, Lines const& before = {}) {
  return spoiled(atStep, [=](Spoiled& world) {
    world.onLog = [=](Lines& log) { log = before; };
    throw Abort(condition, message);
  });
}

Sequence chain() {
  return {.reactions = {{{{Kind::remove, {1, 0}}}, {}, {}, {}}},
          .steps = {{Kind::externRow, {0, 1}},
                    {Kind::externState, {0, 1}},
                    {Kind::hopCommit, {0, 1, 1}},
                    {Kind::memberRef, {0, 1 + 4 * 7, 0, 0, 1}},
                    {Kind::groupRef, {0, 8, 2, 0, 2}},
                    {Kind::answer, {}}}};
}

TEST(Compare, FindsNoDifferenceBetweenTheTablesAndThemselves) {
  Tally tally;
  EXPECT_EQ(differenceBetween({engine, engine}, chain(), &tally), "");
  EXPECT_EQ(differenceBetween({engine, engine}, chain(), &tally), "");
  EXPECT_EQ(tally.sequences, 2U);
  EXPECT_EQ(tally.steps, 12U);
  EXPECT_EQ(tally.aborts, 0U);
  EXPECT_EQ(tally.handlerCalls, 2U);
  EXPECT_EQ(tally.writes, (std::array<std::uint64_t, 4>{0, 2, 2, 2}));
  EXPECT_EQ(tally.ofKind[static_cast<std::size_t>(Kind::answer)], 2U);
  EXPECT_EQ(tally.withEffect[static_cast<std::size_t>(Kind::answer)], 2U);
  EXPECT_THAT(tally.text(), HasSubstr("answer 2, with effect 2\n"));
}

TEST(Compare, ShowsTheStepAndTheLinesOfTheLogThatDiffer) {
  auto const actual =
      spoiled(3, [](Spoiled& world) { world.onLog = [](Lines& log) { log.at(0) += " spoiled"; }; });
  std::string const found = differenceBetween({engine, actual}, chain());
  EXPECT_THAT(found, HasSubstr("step 3 {Kind::memberRef, {0, 29, 0, 0, 1}}:\n"));
  EXPECT_THAT(found, HasSubstr("- member trace 3 entryBlockRef\n"
                               "+ member trace 3 entryBlockRef spoiled\n"
                               "  member announces rawEntryHandle [hop#1]\n"));
  EXPECT_THAT(found, Not(HasSubstr("snapshot")));
}

TEST(Compare, ShowsTheLinesOfTheSnapshotThatDiffer) {
  auto const actual = spoiled(2, [](Spoiled& world) {
    world.onSnapshot = [](Lines& state) { std::erase(state, "hop row k0 1"); };
  });
  std::string const found = differenceBetween({engine, actual}, chain());
  EXPECT_THAT(found, HasSubstr("step 2 {Kind::hopCommit, {0, 1, 1}}:\n"));
  EXPECT_THAT(found, testing::EndsWith("snapshot, where it differs:\n- hop row k0 1\n"));
}

TEST(Compare, ComparesTheClosingStepsToo) {
  auto const actual =
      spoiled(6, [](Spoiled& world) { world.onLog = [](Lines& log) { log.clear(); }; });
  EXPECT_THAT(differenceBetween({engine, actual}, chain()),
              HasSubstr("closing step {Kind::drop, {"));
}

TEST(Compare, TakesAnAnnouncedAbortForNoDifference) {
  Tally tally;
  Sequence const wrongType{
      .reactions = {},
      .steps = {{Kind::drop, {}}, {Kind::hopWrite, {0, 1, 0, 2}}, {Kind::drop, {}}}};
  EXPECT_EQ(differenceBetween({announcing(1, "0", "unsupported autoRemoveType"), engine}, wrongType,
                              &tally),
            "");
  EXPECT_EQ(tally.aborts, 1U);
  EXPECT_EQ(tally.aborted[static_cast<std::size_t>(Kind::hopWrite)], 1U);
  EXPECT_EQ(tally.steps, 2U) << "the sequence ends there";
}

TEST(Compare, ReadsAnAddressInAnAnnouncedAbort) {
  // The identical record under a key whose handle only a caller still holds.
  Sequence const identical{.reactions = {},
                           .steps = {{Kind::externRow, {0, 1}},
                                     {Kind::externState, {0, 1}},
                                     {Kind::ingressCommit, {0, 1}},
                                     {Kind::remove, {0, 0}},
                                     {Kind::ingressCommit, {0, 1}}}};
  char const* const condition = "entryHandleExists( key )";
  Lines const before{"ingress trace 3 lookupExistingEntry : Found an existing entry: "};
  auto const found = [&](std::string const& message, Lines const& log) {
    return differenceBetween({announcing(4, condition, message, log), engine}, identical);
  };
  EXPECT_EQ(found("expect a valid entryHandle, key: <address>", before), "");
  EXPECT_THAT(found("expect a valid entryHandle", before),
              HasSubstr("- entryHandleExists( key ): expect a valid entryHandle\n"));
  // What happened before the abort counts as well.
  EXPECT_THAT(
      found("expect a valid entryHandle, key: <address>", {}),
      HasSubstr("step 4 {Kind::ingressCommit, {0, 1}}:\nlog before the abort (- expected, + "
                "actual):\n+ " +
                before[0] + "\nentryHandleExists( key ): "));
  EXPECT_THAT(found("expect a valid entryHandle, key: <address>", {before[0], "more"}),
              HasSubstr("  " + before[0] + "\n- more\n"));
}

TEST(Compare, FindsAnAbortThatNobodyAnnounced) {
  Sequence const wrongType{.reactions = {}, .steps = {{Kind::hopWrite, {0, 1, 0, 2}}}};
  class Idle final : public World {
   public:
    void stepIs(Step const&) override {}
    Lines takeLog() override { return {}; }
    Lines snapshot() override { return {}; }
    void listenerIs(std::function<void(std::string const&)>) override {}
  };
  auto const idle = [](Sequence const&) { return std::make_unique<Idle>(); };
  class Aborting final : public World {
   public:
    void stepIs(Step const& step) override { world_.stepIs(step); }
    Lines takeLog() override { return {}; }
    Lines snapshot() override { return {}; }
    void listenerIs(std::function<void(std::string const&)>) override {}

   private:
    Engine::EngineWorld world_;
  };
  auto const aborting = [](Sequence const&) { return std::make_unique<Aborting>(); };
  Tally tally;
  std::string const found = differenceBetween({idle, aborting}, wrongType, &tally);
  EXPECT_THAT(found, HasSubstr("step 0 {Kind::hopWrite, {0, 1, 0, 2}}:\nended by signal 6"));
  EXPECT_THAT(found, HasSubstr("0: unsupported autoRemoveType\n"));
  EXPECT_EQ(tally.aborts, 0U);
}

TEST(Compare, FindsAnAbortThatDoesNotComeAndOneWithAnotherText) {
  EXPECT_THAT(differenceBetween({announcing(2, "a", "b"), engine}, chain()),
              HasSubstr("the abort does not come: a: b\n"));
  Sequence const wrongType{.reactions = {}, .steps = {{Kind::hopWrite, {0, 1, 0, 2}}}};
  EXPECT_THAT(
      differenceBetween({announcing(0, "0", "unsupported autoRemove"), engine}, wrongType),
      HasSubstr("- 0: unsupported autoRemove\nstandard error:\n0: unsupported autoRemoveType\n"));
}

TEST(Compare, FindsACrashAndAWordOnStandardError) {
  auto const crashing = spoiled(1, [](Spoiled&) { std::raise(SIGKILL); });
  EXPECT_THAT(differenceBetween({engine, crashing}, chain()),
              HasSubstr("step 1 {Kind::externState, {0, 1}}:\nended by signal 9 (Killed), in the "
                        "actual world\n"));
  EXPECT_THAT(differenceBetween({crashing, engine}, chain()),
              HasSubstr("ended by signal 9 (Killed), in the expected world\n"));
  auto const complaining = spoiled(1, [](Spoiled&) { std::fputs("overflow\n", stderr); });
  EXPECT_THAT(differenceBetween({engine, complaining}, chain()),
              testing::EndsWith("standard error:\noverflow\n"));
  auto const leaving = spoiled(1, [](Spoiled&) { _exit(3); });
  EXPECT_THAT(differenceBetween({engine, leaving}, chain()),
              HasSubstr("exit code 3, in the actual world\n"));
}

TEST(Compare, FindsASequenceWithoutAnEnd) {
  auto const hanging = spoiled(2, [](Spoiled&) { std::this_thread::sleep_for(1min); });
  EXPECT_THAT(differenceBetween({engine, hanging}, chain(), nullptr, 300ms),
              HasSubstr("step 2 {Kind::hopCommit, {0, 1, 1}}:\ndoes not end\n"));
}

TEST(Compare, FindsAnObjectThatIsLeftBehind) {
  auto const leaking = spoiled(2, [](Spoiled&) {
    // A reference that nobody lets go.
    static_cast<void>(Vek::Ptr<Asic::HwTable>(new Asic::HwTable).detach());
  });
  EXPECT_THAT(differenceBetween({engine, leaking}, chain()),
              testing::StartsWith("live objects at the start and at the end:\n"));
  EXPECT_THAT(differenceBetween({engine, leaking}, chain()), HasSubstr("+ Asic::HwTable 1\n"));
}

TEST(Compare, FindsAnExpectedWorldThatFails) {
  auto const failing = spoiled(2, [](Spoiled&) { throw std::logic_error("no such row"); });
  EXPECT_THAT(differenceBetween({failing, engine}, chain()),
              HasSubstr("the expected world fails: no such row\n"));
}

TEST(Compare, ReadsAddressesOnlyWhereThePatternHasThem) {
  std::string_view rest;
  EXPECT_TRUE(beginsLike("key 0x7fA0, row", "key <address>,", rest));
  EXPECT_EQ(rest, " row");
  EXPECT_FALSE(beginsLike("key 7fa0", "key <address>", rest));
  EXPECT_FALSE(beginsLike("key 0x", "key <address>", rest));
  EXPECT_FALSE(beginsLike("key", "keys", rest));
}

}  // namespace
}  // namespace Model
