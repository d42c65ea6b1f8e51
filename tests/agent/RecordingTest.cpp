// Hardware that the agent does not simulate: what it is asked for and answers is written down where
// the simulated hardware's rows are.
#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <set>
#include <string>
#include <utility>

#include "agent/Replay.h"
#include "tests/agent/ReplayFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

// What a vendor's hardware does: it keeps its answers until somebody asks for them, or gives them
// within the write.
struct Vendor {
  std::deque<std::function<void()>> answers;
  std::set<std::uint32_t> refusing;  // rows of the next-hop table
  bool refusesGroups = false;
  bool answersWithin = false;
  std::size_t writes = 0;

  void answer() {
    while (!answers.empty()) {
      auto const give = std::move(answers.front());
      answers.pop_front();
      give();
    }
  }
};
Vendor* vendor = nullptr;

template <class Wiring>
class VendorUtil final : public Wiring::Traits::Util {
 public:
  using Traits = typename Wiring::Traits;
  using HwTable = Vek::Ptr<Asic::HwTable>;
  using SwTable = Vek::Ptr<OrviaAsicUtils::SwTable>;

  explicit VendorUtil(typename Traits::Table& table)
      : Traits::Util("vendor"), table_(table.link()) {}

  [[nodiscard]] std::uint32_t minIndex() const override { return 3; }
  [[nodiscard]] std::uint32_t maxIndex() const override { return 5; }
  [[nodiscard]] Asic::Index hwTableEntryIndex(HwTable const&,
                                              typename Traits::Key const&) const override {
    return Asic::Index(4);
  }
  void hwTableEntryIs(HwTable const& hwTable, typename Traits::HwKey where,
                      typename Traits::Entry const&) override {
    ++vendor->writes;
    Asic::Index const row = Wiring::row(where);
    constexpr bool isGroup = std::is_same_v<Wiring, SoftAsic::L3EcmpGroupWiring>;
    auto give = [link = table_, hwTable, row, key = typename Wiring::Traits::HwKey(where)] {
      bool const isRefused =
          isGroup ? vendor->refusesGroups : vendor->refusing.contains(row.value());
      auto const state = isRefused ? Asic::HwTable::refused : Asic::HwTable::success();
      if constexpr (std::is_same_v<Wiring, SoftAsic::IngL3NextHop1Wiring>) {
        auto const table = link->table();
        auto const handle = table ? table->entryHandleAccess(key) : nullptr;
        if (!handle) return;
        handle->hwEntryIndexIs(row);
        handle->entryStateIs(state);
      } else if constexpr (!std::is_same_v<Wiring, SoftAsic::L3EcmpMemberWiring>) {
        hwTable->writeResponseIs(row, state);
      }
    };
    if (vendor->answersWithin) {
      give();
    } else {
      vendor->answers.emplace_back(std::move(give));
    }
  }
  void hwTableEntryDel(HwTable const&, typename Traits::HwKey) override {}
  void hwTableEntryDelAll(HwTable const&) override {}
  void syncEntries(HwTable const&, SwTable const&) override {}

 private:
  Vek::Ptr<OrviaL3Unicast::engine::TableLink<Traits>> table_;
};

template <class Wiring>
Vek::Ptr<OrviaAsicUtils::SwTableUtil> make(OrviaAsicUtils::SwTable& table) {
  return new VendorUtil<Wiring>(static_cast<typename Wiring::Traits::Table&>(table));
}

OrviaAsicUtils::UtilCreate utilOf(OrviaAsicUtils::SwTable const& table) {
  std::string const name = table.fwkType().name();
  if (name == "OrviaL3Unicast::IngL3NextHop1Table") return &make<SoftAsic::IngL3NextHop1Wiring>;
  if (name == "OrviaL3Unicast::L3EcmpMemberTable") return &make<SoftAsic::L3EcmpMemberWiring>;
  if (name == "OrviaL3Unicast::L3EcmpGroupTable") return &make<SoftAsic::L3EcmpGroupWiring>;
  return &make<SoftAsic::EcmpIngL3NextHop1Wiring>;
}

class RecordingTest : public ::testing::Test {
 protected:
  RecordingTest() {
    vendor = &hardware_;
    options_.rows = 64;
    options_.verify = true;
    options_.checkForwarding = true;
  }
  ~RecordingTest() override { vendor = nullptr; }

  // Before the first turn.
  Replay& begin(Bytes const& stream) {
    replay_.reset();
    file_ = std::make_unique<TemporaryFile>(stream);
    options_.file = file_->path();
    TableSource source = linkedTables();
    source.utilOf = &utilOf;
    replay_ = std::make_unique<Replay>(options_, source);
    return *replay_;
  }
  // Reads all of it, and lets the vendor's hardware answer or not.
  Replay& read(Bytes const& stream, bool answers = true) {
    begin(stream);
    turns(answers);
    return *replay_;
  }
  void turns(bool answers = true) {
    do {
      while (replay_->turn()) {
      }
      if (!answers) return;
      bool const hasAnswers = !hardware_.answers.empty();
      hardware_.answer();
      if (!hasAnswers) return;
    } while (true);
  }
  [[nodiscard]] NextHopState stateOf(std::uint32_t interface, char const* gateway) {
    return ingress(replay_->report(), via(interface, gateway)).state;
  }

  Vendor hardware_;
  ReplayOptions options_;
  std::unique_ptr<TemporaryFile> file_;
  std::unique_ptr<Replay> replay_;
};

Bytes const kGroup = announce(1, 2, "10.0.1.2") + announce(2, 3, "10.0.2.2") +
                     announceGroup(9, {{1, 0}, {2, 0}}) + announceRoute("10.7.0.0", 16, 9);

TEST_F(RecordingTest, ARowHoldsWhatTheOtherHardwareTook) {
  Replay& replay = read(kGroup + announceRouted(4, 5, "10.0.4.2"));
  EXPECT_EQ(stateOf(5, "10.0.4.2"), NextHopState::programmed);
  EXPECT_TRUE(replay.differences().empty()) << text(replay.differences());
  EXPECT_EQ(replay.hardware().rowsInForce(), 6U);  // 1 and 2 next hops, 2 members, 1 group
  SoftAsic::SoftDevice const& device = replay.hardware().device();
  EXPECT_EQ(device.groups().counts().accepted, 1U);
  EXPECT_EQ(device.ecmpNextHops().counts().accepted, 2U);
  EXPECT_EQ(device.ingressNextHops().counts().accepted, 1U);
  EXPECT_EQ(device.members().counts().writes, 2U);
  EXPECT_EQ(replay.forwardingCheck()->total(), 0U);
  EXPECT_EQ(replay.report().otherUtilities.size(), 4U);
}

TEST_F(RecordingTest, ARecordedStreamIsToldAsOfTheSimulatedHardware) {
  std::string const stream =
      std::string(ORVIA_SOURCE_DIR) + "/examples/streams/churn-500-1to16way.0.fpm";
  options_.rows = 32768;
  std::string const told = [&] {
    Replay& replay = read(contentOf(stream));
    EXPECT_TRUE(replay.differences().empty()) << text(replay.differences());
    return showText(replay.report());
  }();
  ReplayOptions options = options_;
  options.file = stream;
  Replay simulated(options);
  while (simulated.turn()) {
  }
  EXPECT_EQ(told, showText(simulated.report()));
}

TEST_F(RecordingTest, WhatIsNotAnsweredIsNotProgrammed) {
  // Without waiting, the commit itself writes, and shows the key's state on the handle behind that.
  for (std::uint32_t const delay : {0U, 2U}) {
    options_.interfaceDelay = delay;
    options_.mtuDelay = delay;
    read(announceRouted(4, 5, "10.0.4.2"), false);
    EXPECT_EQ(stateOf(5, "10.0.4.2"), NextHopState::unanswered) << delay;
    turns();
    EXPECT_EQ(stateOf(5, "10.0.4.2"), NextHopState::programmed) << delay;
  }
}

TEST_F(RecordingTest, ARefusalIsNoticedLaterAndWithinTheWrite) {
  for (bool const within : {false, true}) {
    for (std::uint32_t const delay : {0U, 2U}) {
      options_.interfaceDelay = delay;
      options_.mtuDelay = delay;
      hardware_.answersWithin = within;
      hardware_.refusing = {32};
      Replay& replay = read(announceRouted(4, 5, "10.0.4.2"));
      EXPECT_EQ(stateOf(5, "10.0.4.2"), NextHopState::refused) << within << delay;
      EXPECT_EQ(replay.hardware().rowsInForce(), 0U);
      hardware_.refusing.clear();
      replay.happen(eventOf("at end retry"));
      turns();
      EXPECT_EQ(stateOf(5, "10.0.4.2"), NextHopState::programmed) << within << delay;
      EXPECT_EQ(replay.hardware().rowsInForce(), 1U);
    }
  }
}

TEST_F(RecordingTest, ARefusedRowGoesOnHoldingWhatItHeld) {
  options_.slice = 1;
  Replay& replay = begin(kGroup + filler(30) + announceGroup(9, {{1, 1}, {2, 0}}));
  auto const& row = replay.hardware().device().groups().row(Asic::Index(1));
  while (row.answer != SoftAsic::Answer::accepted) {
    ASSERT_TRUE(replay.turn());
    hardware_.answer();
  }
  SoftAsic::GroupContents const before = row.contents.value();
  EXPECT_EQ(before.numPaths, 2U);
  hardware_.refusesGroups = true;
  turns(false);
  EXPECT_EQ(row.contents.value().numPaths, 3U);
  turns();
  EXPECT_EQ(row.contents.value(), before);
  EXPECT_EQ(row.answer, SoftAsic::Answer::refused);
  EXPECT_EQ(group(replay.report(), 1).state, Groups::State::refused);
}

TEST_F(RecordingTest, WhatTheOtherOneSaysOfItselfIsPassedOn) {
  Replay& replay = read({});
  auto const& util = *replay.mapping().tables().groups->util();
  EXPECT_EQ(util.name(), "vendor");
  auto const& typed = static_cast<OrviaL3Unicast::L3EcmpGroupTraits::Util const&>(util);
  EXPECT_EQ(typed.minIndex(), 3U);
  EXPECT_EQ(typed.maxIndex(), 5U);
  EXPECT_EQ(typed.hwTableEntryIndex(replay.mapping().tables().groups->hwTable(),
                                    OrviaL3Unicast::L3EcmpGroupTable::Index(1)),
            Asic::Index(4));
}

}  // namespace
}  // namespace OrviaL3Agent
