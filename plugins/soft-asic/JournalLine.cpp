#include "JournalLine.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <tuple>
#include <type_traits>
#include <variant>

#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"

namespace SoftAsic {
namespace {

using Contents = decltype(Call::contents);

// The widest number that a field takes.
template <class Field>
constexpr std::uint64_t mostOf() {
  if constexpr (requires { Field::maximum; }) {
    return Field::maximum;
  } else {
    return std::numeric_limits<Field>::max();
  }
}

// Visits the name and the value of every field, in the order of the text: once for writing and once
// for reading. The stored fields of a next hop come from the record's own list of them.
template <class NextHop, class Visit>
requires std::is_same_v<std::remove_const_t<NextHop>, NextHopContents>
void visitFields(NextHop& nextHop, Visit const& visit) {
  auto const stored = [&](auto const& attribute) {
    if constexpr (requires { attribute.member; }) {
      visit(attribute.name, nextHop.fields.*attribute.member);
    }
  };
  std::apply([&](auto const&... attribute) { (stored(attribute), ...); },
             OrviaL3Unicast::EcmpIngL3NextHop1Table::Entry::attributes());
  visit("l3Oif1", nextHop.l3Oif1);
  visit("mtuProfilePtr", nextHop.mtuProfilePtr);
}

template <class Member, class Visit>
requires std::is_same_v<std::remove_const_t<Member>, MemberContents>
void visitFields(Member& member, Visit const& visit) { visit("nextHopEntry", member.nextHopEntry); }

template <class Group, class Visit>
requires std::is_same_v<std::remove_const_t<Group>, GroupContents>
void visitFields(Group& group, Visit const& visit) {
  visit("numPaths", group.numPaths);
  visit("lbMode", group.lbMode);
  visit("ecmpBlockPtr", group.ecmpBlockPtr);
}

constexpr char const* noRow = "none";

std::string rowText(std::uint32_t row) {
  return row == Asic::Index::invalidIndex().value() ? noRow : std::to_string(row);
}

template <class Field>
std::string fieldText(Field const& field) {
  if constexpr (std::is_same_v<Field, Asic::Index>) {
    return rowText(field.value());
  } else if constexpr (requires { field.value(); }) {
    return std::to_string(field.value());
  } else {
    return std::to_string(field);
  }
}

// The words of a line, one after the other, with one blank between them. What was expected is put
// into words only when it is not there: a journal has millions of them.
class Words {
 public:
  explicit Words(std::string_view line) : rest_(line) {}

  void expect(std::string_view word) {
    if (auto const found = next(); found != word) refuse(inQuotes(word), found);
  }
  // A whole number without sign and leading zeros: a line has one form only.
  std::uint64_t number(std::uint64_t most) {
    std::string_view const word = next();
    auto const value = numberIn(word, most);
    if (!value) refuse("a number up to " + std::to_string(most), word);
    return *value;
  }
  // A row, or "none"; with what must follow it without a blank.
  std::uint32_t row(std::string_view end = {}) {
    constexpr std::uint32_t none = Asic::Index::invalidIndex().value();
    std::string_view const word = next();
    std::string_view const row = word.substr(0, word.size() - std::min(end.size(), word.size()));
    std::optional<std::uint64_t> const value = row == noRow ? none : numberIn(row, none - 1);
    if (!value || !word.ends_with(end)) {
      refuse("a row" + (end.empty() ? "" : " and " + inQuotes(end)), word);
    }
    return static_cast<std::uint32_t>(*value);
  }
  // One of the values that have names.
  template <class Value, std::size_t count>
  Value named(std::array<Value, count> const& values) {
    std::string_view const word = next();
    for (Value const value : values) {
      if (word == name(value)) return value;
    }
    std::string expected;
    for (Value const value : values) {
      expected += (expected.empty() ? "one of " : ", ") + inQuotes(name(value));
    }
    refuse(expected, word);
  }
  void end() const {
    if (!atEnd_) refuse("the end of the line", rest_);
  }

 private:
  // The next word: empty between two blanks and at the line's end.
  std::string_view next() {
    isMissing_ = atEnd_;
    if (atEnd_) return {};
    std::size_t const blank = rest_.find(' ');
    std::string_view const word = rest_.substr(0, blank);
    atEnd_ = blank == std::string_view::npos;
    if (!atEnd_) rest_.remove_prefix(blank + 1);
    return word;
  }
  static std::string inQuotes(std::string_view word) { return "\"" + std::string(word) + "\""; }
  [[noreturn]] void refuse(std::string const& expected, std::string_view found) const {
    throw LineError(expected, isMissing_      ? "the end of the line"
                              : found.empty() ? "nothing"
                                              : inQuotes(found));
  }
  static std::optional<std::uint64_t> numberIn(std::string_view word, std::uint64_t most) {
    std::uint64_t value = 0;
    auto const [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    bool const isNumber = error == std::errc() && end == word.data() + word.size();
    bool const isPlain = word.size() == 1 || (!word.empty() && word.front() != '0');
    return isNumber && isPlain && value <= most ? std::optional(value) : std::nullopt;
  }

  std::string_view rest_;
  bool atEnd_ = false;
  bool isMissing_ = false;  // the word that was asked for last
};

template <class Kind>
Contents contentsOfWords(Words& words) {
  Kind contents;
  visitFields(contents, [&words](char const* field, auto& value) {
    using Field = std::remove_reference_t<decltype(value)>;
    words.expect(field);
    if constexpr (std::is_same_v<Field, Asic::Index>) {
      value = words.row();
    } else if constexpr (std::is_integral_v<Field>) {
      value = static_cast<Field>(words.number(mostOf<Field>()));
    } else {
      value = Field(words.number(mostOf<Field>()));
    }
  });
  return contents;
}

Contents contentsOfWords(TableId table, Words& words) {
  switch (table) {
    case TableId::ingressNextHops:
    case TableId::ecmpNextHops:
      return contentsOfWords<NextHopContents>(words);
    case TableId::members:
      return contentsOfWords<MemberContents>(words);
    case TableId::groups:
      break;
  }
  return contentsOfWords<GroupContents>(words);
}

}  // namespace

std::string contentsText(Contents const& contents) {
  std::string all;
  std::visit(
      [&all](auto const& each) {
        if constexpr (!std::is_same_v<std::decay_t<decltype(each)>, std::monostate>) {
          visitFields(each, [&all](char const* field, auto const& value) {
            all += (all.empty() ? "" : " ") + std::string(field) + " " + fieldText(value);
          });
        }
      },
      contents);
  return all;
}

std::string text(Journal::Entry const& call) {
  std::string const contents = contentsText(call.contents);
  return std::to_string(call.serial) + " " + name(call.table) + " " + name(call.kind) + " row " +
         rowText(call.row) + ": " + contents + (contents.empty() ? "" : " ") + name(call.fate);
}

Journal::Entry callOfLine(std::string_view line) {
  constexpr std::array tables = {TableId::ingressNextHops, TableId::ecmpNextHops, TableId::members,
                                 TableId::groups};
  constexpr std::array kinds = {Call::Kind::write, Call::Kind::remove, Call::Kind::removeAll};
  constexpr std::array fates = {Fate::taken, Fate::refused, Fate::lost, Fate::noSuchRow};
  Words words(line);
  Journal::Entry call;
  call.serial = words.number(std::numeric_limits<std::uint64_t>::max());
  call.table = words.named(tables);
  call.kind = words.named(kinds);
  words.expect("row");
  call.row = words.row(":");
  if (call.kind == Call::Kind::write) call.contents = contentsOfWords(call.table, words);
  call.fate = words.named(fates);
  words.end();
  return call;
}

}  // namespace SoftAsic
