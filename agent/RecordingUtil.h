// A utility in front of another one: it hands every operation on, and writes down in the rows of
// the simulated hardware what the other one was asked for and how its hardware answered. So whoever
// judges rows (reports, checks, `show`, `why`) need not know whose hardware it is.
//
//   table.utilIs(new RecordingUtil<SoftAsic::L3EcmpGroupWiring>(table, table.util(), recording));
//   ...
//   recording->await();   // before the hardware behind the other one may answer
//
// A row holds what was written last, until a refusal puts back what the last accepted write left.
// Where several writes of a row were under way, that is what the last answer before them left: what
// became of the overtaken ones is not known.
//
// How answers are heard:
// - of next hops of groups and of groups as the hardware table's write responses, before the table
//   hears them;
// - of next hops of routes at the entry's handle. The commit that writes a row shows its key's
//   state there, which is no answer: await() takes that back, and what the handle shows from then
//   on is the hardware's word. Every operation awaits first, so an answer within one is heard too.
//   A commit that writes nothing while an answer is awaited would be taken for it;
// - of member rows not at all: nobody gives one. They count as taken.
//
// Threading: the tables'. Ownership: owns the other utility, as the table owns this one. It does
// not keep its table alive.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "agent/Recording.h"
#include "plugins/soft-asic/EcmpSoftUtils.h"
#include "plugins/soft-asic/IngL3NextHop1SoftUtil.h"

namespace OrviaL3Agent {

// `Wiring`: that of the simulated hardware's utility for the same table.
template <class Wiring>
class RecordingUtil final : public Wiring::Traits::Util, public Recording::Recorder {
 public:
  using Traits = typename Wiring::Traits;
  using Base = typename Traits::Util;
  using Table = typename Traits::Table;
  using Key = typename Traits::Key;
  using Entry = typename Traits::Entry;
  using HwKey = typename Traits::HwKey;
  using Where = std::remove_cvref_t<HwKey>;
  using Window = typename Wiring::Window;
  using HwTable = Vek::Ptr<Asic::HwTable>;
  using SwTable = Vek::Ptr<OrviaAsicUtils::SwTable>;

  RecordingUtil(Table& table, Vek::Ptr<OrviaAsicUtils::SwTableUtil> const& other,
                std::shared_ptr<Recording> recording)
      : Base(other->name()),
        table_(table.link()),
        owned_(other),
        other_(static_cast<Base&>(*other)),
        recording_(std::move(recording)) {
    recording_->recorderIs(this);
    // Before the table's own reactor, which is made when the table is complete.
    if constexpr (kAnswersAtHwTable) {
      responses_ = new Responses(*this);
      responses_->notifierIs(table.hwTable().get());
      responses_->isRegisteredNotifieeIs(true);
      responses_->hasNotificationActiveIs(true);
    }
  }
  ~RecordingUtil() override { recording_->recorderDel(this); }

  [[nodiscard]] std::uint32_t minIndex() const override { return other_.minIndex(); }
  [[nodiscard]] std::uint32_t maxIndex() const override { return other_.maxIndex(); }
  [[nodiscard]] Asic::Index hwTableEntryIndex(HwTable const& hwTable,
                                              Key const& key) const override {
    return other_.hwTableEntryIndex(hwTable, key);
  }
  void hwTableEntryIs(HwTable const& hwTable, HwKey where, Entry const& entry) override {
    recording_->await();
    Vek::Ptr<RecordingUtil> const alive(this);
    Asic::Index const row = Wiring::row(where);
    Window& window = windowOf(hwTable);
    if (!kAnswersNowhere && window.hasRow(row)) {
      Row& state = rows_[row.value()];
      // Of several writes under way, the first one knows what an answer has put there.
      if (!state.isUnderWay) state.kept = window.row(row).contents;
      state.isUnderWay = true;
      listen(where, row, state);
    }
    auto const contents = SoftAsic::contentsOf(entry);
    window.record(row, contents);
    auto const fate = window.hasRow(row) ? SoftAsic::Fate::taken : SoftAsic::Fate::noSuchRow;
    window.tell(SoftAsic::Call::Kind::write, row, fate, [&](SoftAsic::Call& call) {
      call.contents = contents;
      SoftAsic::handlesOf(entry, call);
    });
    other_.hwTableEntryIs(hwTable, where, entry);
    if constexpr (kAnswersAtHandle) {
      // What the handle shows next is its key's state, if anything.
      if (auto const found = rows_.find(row.value()); found != rows_.end()) {
        found->second.isHardwaresWord = false;
        shown_.push_back(row.value());
      }
    }
  }
  void hwTableEntryDel(HwTable const& hwTable, HwKey where) override {
    recording_->await();
    Vek::Ptr<RecordingUtil> const alive(this);
    Asic::Index const row = Wiring::row(where);
    rows_.erase(row.value());
    Window& window = windowOf(hwTable);
    SoftAsic::Fate const fate = window.erase(row);
    window.tell(SoftAsic::Call::Kind::remove, row, fate, [](SoftAsic::Call&) {});
    other_.hwTableEntryDel(hwTable, where);
  }
  void hwTableEntryDelAll(HwTable const& hwTable) override {
    recording_->await();
    Vek::Ptr<RecordingUtil> const alive(this);
    rows_.clear();
    if (hwTable) {
      Window& window = windowOf(hwTable);
      window.eraseAll();
      window.tell(SoftAsic::Call::Kind::removeAll, window.firstRow(), SoftAsic::Fate::taken,
                  [](SoftAsic::Call&) {});
    }
    other_.hwTableEntryDelAll(hwTable);
  }
  // What is put back is recorded by whoever says whose it is: see Hardware::rowFromBefore().
  void syncEntries(HwTable const& hwTable, SwTable const& swTable) override {
    other_.syncEntries(hwTable, swTable);
  }

  void doCreateHwTable(SwTable swTable) override { other_.doCreateHwTable(std::move(swTable)); }
  void doCreateHwTableResponse(SwTable swTable) override {
    other_.doCreateHwTableResponse(std::move(swTable));
  }
  void doDeleteHwTable(SwTable swTable) override { other_.doDeleteHwTable(std::move(swTable)); }
  void doInitComplete(SwTable swTable) override { other_.doInitComplete(std::move(swTable)); }
  void doReadEntry(void const* key, Vek::Ptr<Asic::HwTable const> hwTable) override {
    other_.doReadEntry(key, std::move(hwTable));
  }
  void doResync(Vek::Ptr<Asic::HwTable const> hwTable, SwTable swTable) override {
    other_.doResync(std::move(hwTable), std::move(swTable));
  }
  [[nodiscard]] void const* swTableKeyPtr(void const* hwTableKey) const override {
    return other_.swTableKeyPtr(hwTableKey);
  }
  void doNotifyReadResponse(void const* key, Vek::Ptr<Asic::HwTable const> hwTable,
                            SwTable swTable) override {
    other_.doNotifyReadResponse(key, std::move(hwTable), std::move(swTable));
  }

  // Recorder
  void await() override {
    while (!shown_.empty()) {
      std::uint32_t const row = shown_.back();
      shown_.pop_back();
      auto const found = rows_.find(row);
      if (found == rows_.end() || found->second.isHardwaresWord) continue;
      found->second.isHardwaresWord = true;
      if (!found->second.isUnderWay) continue;
      // A copy: whoever watches the handle may write the row again.
      Vek::Ptr<Answers> const answers = found->second.answers;
      if (answers) answers->takeBack();
    }
  }

 private:
  static constexpr bool kAnswersNowhere = std::is_same_v<Wiring, SoftAsic::L3EcmpMemberWiring>;
  static constexpr bool kAnswersAtHandle = std::is_same_v<Wiring, SoftAsic::IngL3NextHop1Wiring>;
  static constexpr bool kAnswersAtHwTable = !kAnswersNowhere && !kAnswersAtHandle;

  using Link = OrviaL3Unicast::engine::TableLink<Traits>;
  using Contents = typename Window::Contents;

  // Hears the write responses of the hardware table.
  class Responses final : public Vek::NotifieeConst {
   public:
    explicit Responses(RecordingUtil& util) : util_(util) {}
    void onAttribute(Vek::AttributeId attributeId, void const* key) override {
      if (attributeId != Asic::HwTable::writeResponseAttribute || key == nullptr) return;
      auto const response = *static_cast<Asic::HwTable::WriteResponse const*>(key);
      util_.answered(response.row, response.state);
    }

   private:
    RecordingUtil& util_;
  };

  // Hears the state of one entry's handle.
  class Answers final : public Vek::NotifieeConst {
   public:
    Answers(RecordingUtil& util, Asic::Index row) : util_(util), row_(row) {}
    void onAttribute(Vek::AttributeId attributeId, void const*) override {
      if (attributeId != Asic::SwTable::EntryHandle::entryStateAttribute) return;
      if (auto const handle = this->handle()) util_.shown(row_, handle->entryState());
    }
    void takeBack() {
      if (auto const handle = this->handle()) handle->entryStateIs(Asic::HwTable::notAnswered);
    }

   private:
    [[nodiscard]] Vek::Ptr<Asic::SwTable::EntryHandle> handle() const {
      // Only ever set to watch a handle of the table, which is one that may be changed.
      return static_cast<Asic::SwTable::EntryHandle*>(
          const_cast<Vek::PtrInterface*>(this->plainNotifier()));
    }
    RecordingUtil& util_;
    Asic::Index row_;
  };

  struct Row {
    bool isUnderWay = false;       // a write is, and nothing has been heard of it
    std::optional<Contents> kept;  // meanwhile: what a refusal leaves
    Vek::Ptr<Answers> answers;     // of tables whose answers are given at handles
    bool isHardwaresWord = true;   // what the handle shows
  };

  // From now on, and also for what the hardware says later without a write.
  void listen(Where const& where, Asic::Index row, Row& state) {
    if constexpr (kAnswersAtHandle) {
      Vek::Ptr<Table> const table = table_->table();
      auto const handle = table ? table->entryHandleAccess(where) : nullptr;
      // An answer may come within the write: the handle has been reset for it.
      state.isHardwaresWord = true;
      if (!handle || (state.answers && state.answers->notifier() == handle)) return;
      state.answers = new Answers(*this, row);
      state.answers->notifierIs(handle.get());
      state.answers->isRegisteredNotifieeIs(true);
      state.answers->hasNotificationActiveIs(true);
    }
  }
  void shown(Asic::Index row, Asic::HwTable::EntryState state) {
    auto const found = rows_.find(row.value());
    if (found != rows_.end() && found->second.isHardwaresWord) answered(row, state);
  }
  void answered(Asic::Index row, Asic::HwTable::EntryState state) {
    Vek::Ptr<Table> const table = table_->table();
    auto const found = rows_.find(row.value());
    if (state == Asic::HwTable::notAnswered || !table || !table->hwTable()) return;
    if (found == rows_.end()) return;
    Window& window = windowOf(table->hwTable());
    bool const wasUnderWay = std::exchange(found->second.isUnderWay, false);
    std::optional<Contents> const kept =
        wasUnderWay ? std::exchange(found->second.kept, std::nullopt) : window.row(row).contents;
    if (window.recordAnswer(row, state == Asic::HwTable::success(), kept)) window.tellRow(row);
    recording_->answered();
  }
  static Window& windowOf(HwTable const& hwTable) { return static_cast<Window&>(*hwTable); }

  Vek::Ptr<Link> table_;
  Vek::Ptr<OrviaAsicUtils::SwTableUtil> owned_;
  Base& other_;
  std::shared_ptr<Recording> recording_;
  Vek::Ptr<Responses> responses_;
  std::map<std::uint32_t, Row> rows_;
  std::vector<std::uint32_t> shown_;  // rows whose handle shows what is no answer
};

// How the simulated hardware is wired to a table.
template <class Table>
struct WiringOf;
template <>
struct WiringOf<OrviaL3Unicast::IngL3NextHop1Table> {
  using Wiring = SoftAsic::IngL3NextHop1Wiring;
};
template <>
struct WiringOf<OrviaL3Unicast::EcmpIngL3NextHop1Table> {
  using Wiring = SoftAsic::EcmpIngL3NextHop1Wiring;
};
template <>
struct WiringOf<OrviaL3Unicast::L3EcmpMemberTable> {
  using Wiring = SoftAsic::L3EcmpMemberWiring;
};
template <>
struct WiringOf<OrviaL3Unicast::L3EcmpGroupTable> {
  using Wiring = SoftAsic::L3EcmpGroupWiring;
};

}  // namespace OrviaL3Agent
