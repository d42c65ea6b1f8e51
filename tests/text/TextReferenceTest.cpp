// References to objects in text: only what a finder knows to be alive becomes one.
#include <map>
#include <memory>
#include <sstream>

#include "LiveObjects.h"
#include "PlatformObjects.h"
#include "TestHandle.h"
#include "TextTables.h"
#include "Vek/TextReference.h"

namespace TextTests {
namespace {

using TableTests::TestHandle;
using Vek::ObjectFinder;
using Vek::PtrInterface;
using Vek::RangeException;
using Vek::String;
using Vek::TextException;
using Handle = Vek::Ptr<Asic::SwTable::EntryHandle const>;

std::uintptr_t addressOf(PtrInterface const* object) {
  return reinterpret_cast<std::uintptr_t>(object);
}
std::string textOf(auto const& reference) {
  std::ostringstream out;
  out << reference;
  return out.str();
}
// Knows these objects.
ObjectFinder::Find knowing(std::vector<PtrInterface const*> objects) {
  return [objects = std::move(objects)](std::uintptr_t address) -> PtrInterface const* {
    for (PtrInterface const* object : objects) {
      if (addressOf(object) == address) return object;
    }
    return nullptr;
  };
}

class TextReferenceTest : public TableTests::LiveObjectsTest {};

TEST_F(TextReferenceTest, APrintedReferenceIsReadBackWhileAFinderKnowsTheObject) {
  TestHandle::Ptr const handle = TestHandle::waiting();
  TestHandle::Ptr const other = TestHandle::waiting();
  ObjectFinder const finder(knowing({handle.get(), other.get()}));
  auto const read = Vek::strepToValue<Handle>(textOf(handle));
  EXPECT_EQ(read, Handle(handle));
  EXPECT_EQ(handle->references(), 2U) << "this one's and the one that was read";
  EXPECT_EQ(Vek::strepToValue<Handle>(" " + textOf(other) + " "), Handle(other));
}

TEST_F(TextReferenceTest, NoObjectIsReadAsNone) {
  EXPECT_EQ(textOf(Handle()), "0") << "what is printed for none";
  for (char const* none : {"0", "None", " None "}) {
    Handle handle = TestHandle::waiting();
    Vek::strepToValue(String(none), &handle);
    EXPECT_FALSE(handle) << none;
  }
}

TEST_F(TextReferenceTest, AnAddressThatNobodyKnowsIsRefusedAndNotLookedAt) {
  TestHandle::Ptr const handle = TestHandle::waiting();
  std::string const text = textOf(handle);
  auto const said = [&] {
    return thrown<TextException>([&] { (void)Vek::strepToValue<Handle>("  " + text); });
  };
  std::string const unknown = "no known object has address " + text + " at position 2";
  EXPECT_EQ(said(), unknown) << "there is no finder";
  {
    ObjectFinder const finder(knowing({}));
    EXPECT_EQ(said(), unknown) << "the finder does not know it";
  }
  {
    ObjectFinder const finder(knowing({handle.get()}));
    EXPECT_EQ(said(), "nothing was thrown");
  }
  EXPECT_EQ(said(), unknown) << "the finder is gone";
  ObjectFinder const finder(knowing({handle.get()}));
  for (char const* nowhere : {"0x1", "0x0", "0xffffffffffffffff"}) {
    EXPECT_EQ(thrown<TextException>([&] { (void)Vek::strepToValue<Handle>(nowhere); }),
              std::string("no known object has address ") + nowhere + " at position 0");
  }
}

TEST_F(TextReferenceTest, AnObjectInsideAnotherOneIsNotTakenForIt) {
  TestHandle::Ptr const handle = TestHandle::waiting();
  ObjectFinder const finder(knowing({handle.get()}));
  std::ostringstream inside;
  inside << "0x" << std::hex << addressOf(handle.get()) + 1;
  EXPECT_THROW((void)Vek::strepToValue<Handle>(inside.str()), TextException);
  EXPECT_EQ(handle->references(), 1U);
}

TEST_F(TextReferenceTest, AnObjectOfAnotherTypeIsRefused) {
  Vek::Ptr<TestSupport::TestNotifier> const object = new TestSupport::TestNotifier;
  ObjectFinder const finder(knowing({object.get()}));
  EXPECT_EQ(thrown<TextException>([&] { (void)Vek::strepToValue<Handle>(textOf(object)); }),
            "the object with address " + textOf(object) +
                " is a Vek::PtrInterface and no Asic::SwTable::EntryHandle at position 0");
  EXPECT_EQ(object->references(), 1U);
  using Any = Vek::Ptr<PtrInterface const>;
  EXPECT_EQ(Vek::strepToValue<Any>(textOf(object)), Any(object));
}

TEST_F(TextReferenceTest, AnObjectWhoseEndHasBegunIsNotFound) {
  using TestSupport::TestNotifier;
  Vek::Ptr<TestNotifier> object = new TestNotifier;
  std::string const text = textOf(object);
  ObjectFinder const finder(knowing({object.get()}));
  std::string said;
  object->onEnd = [&](TestNotifier&) {
    said =
        thrown<TextException>([&] { (void)Vek::strepToValue<Vek::Ptr<PtrInterface const>>(text); });
  };
  object = nullptr;
  EXPECT_EQ(said, "no known object has address " + text + " at position 0");
}

TEST_F(TextReferenceTest, FindersAreAskedUntilOneKnowsIt) {
  TestHandle::Ptr const handle = TestHandle::waiting();
  std::vector<std::string> asked;
  auto const asking = [&](std::string const& name, ObjectFinder::Find find) {
    return [&asked, name, find = std::move(find)](std::uintptr_t address) {
      asked.push_back(name);
      return find(address);
    };
  };
  ObjectFinder const first(asking("first", knowing({})));
  auto second = std::make_unique<ObjectFinder>(asking("second", knowing({handle.get()})));
  ObjectFinder const third(asking("third", knowing({handle.get()})));
  EXPECT_EQ(Vek::strepToValue<Handle>(textOf(handle)), Handle(handle));
  EXPECT_EQ(asked, (std::vector<std::string>{"first", "second"}));
  second = nullptr;
  asked.clear();
  EXPECT_EQ(Vek::strepToValue<Handle>(textOf(handle)), Handle(handle));
  EXPECT_EQ(asked, (std::vector<std::string>{"first", "third"}));
}

TEST_F(TextReferenceTest, AFinderMayReadReferencesAndMakeFindersItself) {
  TestHandle::Ptr const handle = TestHandle::waiting();
  std::string const text = textOf(handle);
  bool inner = false;
  ObjectFinder const outer([&](std::uintptr_t address) -> PtrInterface const* {
    if (inner) return nullptr;
    inner = true;
    ObjectFinder const knows(knowing({handle.get()}));
    Handle const found = Vek::strepToValue<Handle>(text);
    inner = false;
    return addressOf(found.get()) == address ? found.get() : nullptr;
  });
  EXPECT_EQ(Vek::strepToValue<Handle>(text), Handle(handle));
  EXPECT_EQ(handle->references(), 1U);
}

TEST_F(TextReferenceTest, WhatIsNoReferenceIsRefused) {
  auto const said = [](String const& text) {
    return thrown<TextException>([&] { (void)Vek::strepToValue<Handle>(text); });
  };
  EXPECT_EQ(said(""), "expected an address but found the end of the text at position 0");
  EXPECT_EQ(said("none"), "expected an address but found 'n' at position 0");
  EXPECT_EQ(said("Nonesuch"), "expected an address but found 'N' at position 0");
  EXPECT_EQ(said("1234"), "expected an address but found '1' at position 0");
  EXPECT_EQ(said("00"), "expected 'x' but found '0' at position 1");
  EXPECT_EQ(said("0x"), "expected a hexadecimal digit but found the end of the text at position 2");
  EXPECT_EQ(said("0xg"), "expected a hexadecimal digit but found 'g' at position 2");
  EXPECT_EQ(said("None 0"), "text left over at position 5");
}

TEST_F(TextReferenceTest, AnAddressThatIsTooLargeIsOutOfRange) {
  Handle const before = TestHandle::waiting();
  Handle handle = before;
  String const text = "0x10000000000000000";
  String::IteratorConst begin = text.begin();
  EXPECT_EQ(thrown<RangeException>([&] { sequenceToValue(begin, text.end(), &handle); }),
            "value 10000000000000000 does not fit an address at position 2");
  EXPECT_EQ(handle, before);
}

}  // namespace
}  // namespace TextTests
