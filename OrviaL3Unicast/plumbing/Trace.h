// The two-sided trace statement of the tables: one call goes to the ring buffer and to the text
// trace.
//
//   trace<T, "lookupExistingEntry", " : Found pending entry: ">();
//   trace<T, "doEnclosingInit", ": initializing neededEntryHandleSm: ">(attributeId);
//   trace<T, "initializeUnresolvedEntryBlock",
//         ": initializing the unresolvedEntryBlock, blockSize ", " entrys: ">(blockSize, count);
//   trace<T, "handleEntryBlock">();
//   traceLevel8<T, "handleEntryHandleProgramSuccessCount",
//               ": Unresolved entry processing completed: ">();
//
// `T` says whose statement it is: the name of its text-trace handle and the source unit that stands
// as the file. The function's bare name and the texts are template arguments, so a statement is
// found with grep and costs nothing to set up. Each text is followed by one value, except that a
// statement without values has at most one text.
//
// With both sides off a statement costs a load and a test for the default ring file and a load and
// a test for the level. The ring side comes first and does not depend on the level. A ring record
// is the statement's number and the values in binary form (Asic::BlockSize 16 bits, counts and
// Vek::AttributeId 32 bits); what the number means is described once per ring file.
//
// Two statements of one table with the same function, texts and value types are one statement: they
// share the number, and the ring shows the line of the one that ran first after the file changed.
//
// Threading: the text side, any thread; the ring side as the default ring file, so one thread when
// it is a single file. The text handle of a table is created by the first statement that runs for
// that table and never destroyed, so statements of static destructors may still use it.
#pragma once

#include <atomic>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Asic/BlockSize.h"
#include "Brastel/FendrelConverter.h"
#include "Fendrel/MsgDesc.h"
#include "Fendrel/RingBuf.h"
#include "Fendrel/TraceHandle.h"
#include "OrviaL3Unicast/plumbing/FixedString.h"
#include "Vek/AttributeId.h"
#include "Vek/TraceHandle.h"

namespace OrviaL3Unicast::plumbing {

// What a traits struct offers to be traced for.
template <class T>
concept TracedTable = requires {
  { T::traceHandleName() } -> std::same_as<char const*>;
  { T::sourceUnit() } -> std::same_as<char const*>;
};

// The line of the statement's call. Stands in for std::source_location, which clang 14 does not
// offer with this standard library.
class SourceLine {
 public:
  static constexpr SourceLine current(int line = __builtin_LINE()) { return SourceLine(line); }
  [[nodiscard]] constexpr int line() const { return line_; }

 private:
  constexpr explicit SourceLine(int line) : line_(line) {}
  int line_;
};

namespace detail {

// Stands for the levels of a handle that does not exist yet: everything seems on, so the first
// statement goes the long way, creates the handle and asks it.
inline constinit std::atomic<Vek::TraceLevelMask> everyLevel{~Vek::TraceLevelMask{0}};

// The text-trace handle of one table.
template <TracedTable T>
class TextTrace {
 public:
  // Reads through a pointer instead of a function-local static: that would test its guard first,
  // every time.
  [[nodiscard]] static bool maybeEnabled(Vek::TraceFacility::FacilityLevel level) {
    return (levels_.load(std::memory_order_acquire)->load(std::memory_order_relaxed) &
            Vek::traceLevelBit(level)) != 0;
  }

  [[gnu::noinline, gnu::cold]] static Vek::TraceHandle& handle() {
    // Never destroyed: statements may run until the very end of the process.
    static Vek::TraceHandle& handle = *new Vek::TraceHandle(T::traceHandleName(), false);
    levels_.store(&handle.levels(), std::memory_order_release);
    return handle;
  }

 private:
  static inline constinit std::atomic<std::atomic<Vek::TraceLevelMask> const*> levels_{&everyLevel};
};

// What is fixed about a statement.
struct Statement {
  Vek::TraceFacility::FacilityLevel level;
  char const* sourceUnit;
  char const* function;
  char const* texts[2];
  int* msgId;  // 0 until the statement has been described to a ring file
};

template <TracedTable T, Vek::TraceFacility::FacilityLevel Level, FixedString Function,
          FixedString FirstText, FixedString SecondText, class... Values>
struct StatementOf {
  static_assert(concat(Function, FirstText, SecondText).view().find('%') == std::string_view::npos,
                "a percent sign would be taken for the place of a value");

  static inline constinit int msgId = 0;
  static constexpr Statement statement{
      Level, T::sourceUnit(), Function.c_str(), {FirstText.c_str(), SecondText.c_str()}, &msgId};
};

// The binary form of a value.
[[nodiscard]] constexpr std::uint16_t ringValue(Asic::BlockSize value) { return value.value(); }
[[nodiscard]] constexpr std::uint32_t ringValue(Vek::AttributeId value) { return value.value(); }
[[nodiscard]] constexpr std::uint32_t ringValue(unsigned int value) { return value; }

template <class Value>
inline constexpr auto ringWidth = static_cast<Fendrel::ArgWidth>(sizeof(ringValue(Value{})));

template <class... Values>
[[gnu::noinline, gnu::cold]] void describe(Fendrel::TraceFile* file, Statement const& statement,
                                           SourceLine where) {
  Fendrel::MsgDesc description(file, statement.msgId, statement.sourceUnit, where.line());
  description << statement.function;
  if constexpr (sizeof...(Values) == 0) {
    description << statement.texts[0];
  } else {
    char const* const* text = statement.texts;
    ((description << *text++ << "%s" << ringWidth<Values>), ...);
  }
  description.finish();
}

template <class... Values>
[[gnu::noinline]] void ringSide(Fendrel::TraceFile* file, Statement const& statement,
                                SourceLine where, Values... values) {
  // Threads that share a statement may meet here, each with its own file.
  std::atomic_ref<int> const msgId(*statement.msgId);
  if (!file->knows(msgId.load(std::memory_order_relaxed))) [[unlikely]] {
    describe<Values...>(file, statement, where);
  }
  Fendrel::RingBuf buffer;
  buffer.startMsg(file, msgId.load(std::memory_order_relaxed));
  if (buffer.active()) {
    (buffer.append(ringValue(values)), ...);
  }
  buffer.endMsg();
}

// The finished message. The shared text is free again when this returns: whatever the line's sink
// does may trace in turn.
template <class... Values>
[[gnu::noinline, gnu::cold]] std::string messageText(Statement const& statement, Values... values) {
  Fendrel::MsgFormatString& text = Brastel::FendrelConverter::sharedText();
  text.put(statement.function);
  if constexpr (sizeof...(Values) == 0) {
    text.put(statement.texts[0]);
  } else {
    for (std::size_t value = 0; value < sizeof...(Values); ++value) {
      text.put(statement.texts[value]);
      text.put("%s");
    }
  }
  Brastel::FendrelConverter converter(text);
  if constexpr (sizeof...(Values) == 0) {
    converter << Fendrel::QNull{};
  } else {
    (converter << ... << values);
  }
  return converter.str();
}

template <class... Values>
[[gnu::noinline, gnu::cold]] void textSide(Vek::TraceHandle& handle, Statement const& statement,
                                           SourceLine where, Values... values) {
  // The statement's own test may have been the one that stands in until there is a handle.
  if (!handle.levelEnabled(statement.level)) {
    return;
  }
  std::string const message = messageText(statement, values...);
  // Once more: an operator may have had enough meanwhile.
  if (handle.levelEnabled(statement.level)) {
    Vek::TraceHelper helper(handle, statement.level, statement.sourceUnit, where.line(),
                            statement.function);
    helper.stream() << message;
  }
}

template <TracedTable T, Vek::TraceFacility::FacilityLevel Level, FixedString Function,
          FixedString FirstText, FixedString SecondText, class... Values>
void twoSided(SourceLine where, Values... values) {
  constexpr Statement const& statement =
      StatementOf<T, Level, Function, FirstText, SecondText, Values...>::statement;
  if (Fendrel::TraceFile* const file = Fendrel::defaultFendrelFile()) [[unlikely]] {
    ringSide(file, statement, where, values...);
  }
  if (TextTrace<T>::maybeEnabled(Level)) [[unlikely]] {
    textSide(TextTrace<T>::handle(), statement, where, values...);
  }
}

}  // namespace detail

// A value that a statement can carry.
template <class Value>
concept TracedValue = std::same_as<Value, unsigned int> || std::same_as<Value, Vek::AttributeId> ||
    std::same_as<Value, Asic::BlockSize>;

// Progress of the table engine, without a value. Without a text it marks the entry of the function.
template <TracedTable T, FixedString Function, FixedString Text = "">
void trace(SourceLine where = SourceLine::current()) {
  detail::twoSided<T, Vek::TraceFacility::level3, Function, Text, "">(where);
}

// The same with one value behind the text.
template <TracedTable T, FixedString Function, FixedString Text, TracedValue Value>
void trace(Value value, SourceLine where = SourceLine::current()) {
  detail::twoSided<T, Vek::TraceFacility::level3, Function, Text, "">(where, value);
}

// The same with a value behind each of two texts.
template <TracedTable T, FixedString Function, FixedString FirstText, FixedString SecondText,
          TracedValue FirstValue, TracedValue SecondValue>
void trace(FirstValue first, SecondValue second, SourceLine where = SourceLine::current()) {
  detail::twoSided<T, Vek::TraceFacility::level3, Function, FirstText, SecondText>(where, first,
                                                                                   second);
}

// Completion of an unresolved entry.
template <TracedTable T, FixedString Function, FixedString Text>
void traceLevel8(SourceLine where = SourceLine::current()) {
  detail::twoSided<T, Vek::TraceFacility::level8, Function, Text, "">(where);
}

}  // namespace OrviaL3Unicast::plumbing
