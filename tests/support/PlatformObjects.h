// Small framework objects for tests: something to watch, and a reactor that runs what a test gives
// it.
//
//   Vek::Ptr<TestNotifier> object = new TestNotifier;
//   Vek::Ptr<TestReactor> reactor = watcherOf(*object, [&](auto id, auto key) { ... });
//   object->notifieeList()->visit(7);
//
// Both count their live objects under their type names, so that a test can see who died.
#pragma once

#include <functional>
#include <string_view>
#include <utility>

#include "Vek/Memory.h"
#include "Vek/NotifieeConst.h"

namespace TestSupport {

class TestNotifier : public Vek::Tracked<TestNotifier, Vek::PtrInterface> {
 public:
  static constexpr char const* typeName() { return "TestSupport::TestNotifier"; }

  // Runs at the start of the destructor.
  std::function<void(TestNotifier&)> onEnd;

  ~TestNotifier() override {
    if (onEnd) onEnd(*this);
  }
};

class TestReactor : public Vek::Tracked<TestReactor, Vek::NotifieeConst> {
 public:
  using Reaction = std::function<void(Vek::AttributeId, void const*)>;

  static constexpr char const* typeName() { return "TestSupport::TestReactor"; }

  Reaction reaction;
  std::function<void(TestReactor&)> farewell;  // runs in onZeroReferences

  void onAttribute(Vek::AttributeId attributeId, void const* key) override {
    if (reaction) reaction(attributeId, key);
  }
  void onZeroReferences() override {
    if (farewell) farewell(*this);
  }
};

// A registered, active reactor.
inline Vek::Ptr<TestReactor> watcherOf(Vek::PtrInterface const& notifier,
                                       TestReactor::Reaction reaction = {}) {
  Vek::Ptr<TestReactor> reactor = new TestReactor;
  reactor->reaction = std::move(reaction);
  reactor->notifierIs(&notifier);
  reactor->isRegisteredNotifieeIs(true);
  reactor->hasNotificationActiveIs(true);
  return reactor;
}

// How many more objects of a type live now than when this was made.
class LiveObjects {
 public:
  explicit LiveObjects(std::string_view typeName)
      : typeName_(typeName), before_(Vek::vekLiveObjects(typeName)) {}
  [[nodiscard]] std::int64_t more() const {
    return static_cast<std::int64_t>(Vek::vekLiveObjects(typeName_)) -
           static_cast<std::int64_t>(before_);
  }

 private:
  std::string_view typeName_;
  std::uint64_t before_;
};

}  // namespace TestSupport
