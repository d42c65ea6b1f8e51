// What Compare.h declares beside the comparison itself: closing steps and texts.

#include <algorithm>
#include <cctype>

#include "Compare.h"

namespace Model {

std::vector<Step> closingSteps() {
  std::vector<Step> steps;
  for (std::uint32_t slot = 0; slot < 6; ++slot) steps.push_back({Kind::drop, {slot}});
  for (std::uint32_t table = 4; table-- > 0;) steps.push_back({Kind::destroy, {table}});
  return steps;
}

std::string Tally::text() const {
  std::string text = std::to_string(sequences) + " sequences, " + std::to_string(steps) +
                     " steps, " + std::to_string(aborts) + " aborts, " +
                     std::to_string(exceptions) + " exceptions, " + std::to_string(handlerCalls) +
                     " handler calls; rows written: ingress " + std::to_string(writes[0]) +
                     ", hop " + std::to_string(writes[1]) + ", member " +
                     std::to_string(writes[2]) + ", group " + std::to_string(writes[3]) + "\n";
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    if (ofKind[kind] == 0) continue;
    text += "  " + std::string(kindName(static_cast<Kind>(kind))) + " " +
            std::to_string(ofKind[kind]) + ", with effect " + std::to_string(withEffect[kind]);
    if (aborted[kind] != 0) text += ", aborts " + std::to_string(aborted[kind]);
    text += "\n";
  }
  return text;
}

std::string unified(Lines const& expected, Lines const& actual, bool withCommon) {
  // common[i][j]: the most lines that the lists have in common from i and j on.
  std::size_t const rows = expected.size();
  std::size_t const columns = actual.size();
  std::vector<std::vector<std::size_t>> common(rows + 1, std::vector<std::size_t>(columns + 1));
  for (std::size_t i = rows; i-- > 0;) {
    for (std::size_t j = columns; j-- > 0;) {
      common[i][j] = expected[i] == actual[j] ? common[i + 1][j + 1] + 1
                                              : std::max(common[i + 1][j], common[i][j + 1]);
    }
  }
  std::string text;
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < rows || j < columns) {
    if (i < rows && j < columns && expected[i] == actual[j]) {
      if (withCommon) text += "  " + expected[i] + "\n";
      ++i;
      ++j;
    } else if (j == columns || (i < rows && common[i + 1][j] >= common[i][j + 1])) {
      text += "- " + expected[i++] + "\n";
    } else {
      text += "+ " + actual[j++] + "\n";
    }
  }
  return text;
}

bool beginsLike(std::string_view text, std::string_view pattern, std::string_view& rest) {
  constexpr std::string_view address = "<address>";
  while (!pattern.empty()) {
    if (pattern.starts_with(address)) {
      if (!text.starts_with("0x")) return false;
      text.remove_prefix(2);
      std::size_t digits = 0;
      while (digits < text.size() && std::isxdigit(static_cast<unsigned char>(text[digits]))) {
        ++digits;
      }
      if (digits == 0) return false;
      text.remove_prefix(digits);
      pattern.remove_prefix(address.size());
      continue;
    }
    if (text.empty() || text.front() != pattern.front()) return false;
    text.remove_prefix(1);
    pattern.remove_prefix(1);
  }
  rest = text;
  return true;
}

}  // namespace Model
