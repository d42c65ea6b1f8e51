#include "FaultProfile.h"

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace SoftAsic {
namespace {

bool hits(std::uint32_t every, std::uint64_t write) { return every != 0 && write % every == 0; }

// "every write", "every 3rd write".
std::string everyText(std::uint32_t every, char const* what) {
  if (every == 1) return std::string("every ") + what;
  bool const teen = every % 100 / 10 == 1;
  char const* ending = "th";
  if (!teen && every % 10 == 1) ending = "st";
  if (!teen && every % 10 == 2) ending = "nd";
  if (!teen && every % 10 == 3) ending = "rd";
  return "every " + std::to_string(every) + ending + " " + what;
}

std::string turnsText(std::uint32_t turns) {
  return std::to_string(turns) + (turns == 1 ? " turn" : " turns");
}

// "a", "a and b", "a, b and c"; nothing for none.
std::string joined(std::vector<std::string> const& parts) {
  std::string all;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) all += i + 1 == parts.size() ? " and " : ", ";
    all += parts[i];
  }
  return all;
}

void append(std::string& all, char const* verb, std::string const& what) {
  if (!what.empty()) all += std::string("; ") + verb + " " + what;
}

}  // namespace

Course courseOf(FaultProfile const& profile, std::uint64_t write, Asic::Index row) {
  Course course;
  course.isLost = hits(profile.loseWriteEvery, write);
  course.isRefused = hits(profile.refuseEvery, write) || profile.refusedRows.contains(row.value());
  course.answerIsLost = !course.isLost && hits(profile.loseAnswerEvery, write);
  bool const isHeard = !course.isLost && !course.answerIsLost;
  course.answerIsLate = isHeard && hits(profile.lateEvery, write);
  course.answers = !isHeard ? 0 : hits(profile.answerTwiceEvery, write) ? 2 : 1;
  std::uint64_t turns = profile.answerAfter ? std::uint64_t{*profile.answerAfter} + 1 : 0;
  if (course.answerIsLate) turns += profile.lateBy;
  course.timing = {turns, profile.order == FaultProfile::Order::random};
  return course;
}

std::string text(FaultProfile const& profile) {
  std::string all = "answers at once";
  if (profile.answerAfter) {
    all = *profile.answerAfter == 0 ? "answers within the turn"
                                    : "answers " + turnsText(*profile.answerAfter) + " later";
  }
  if (profile.order == FaultProfile::Order::random) all += ", in random order";

  std::vector<std::string> refused;
  for (std::uint32_t const row : profile.refusedRows) {
    refused.push_back((refused.empty() ? "row " : "") + std::to_string(row));
  }
  if (refused.size() > 1) refused.front().replace(0, 3, "rows");
  if (profile.refuseEvery != 0) refused.push_back(everyText(profile.refuseEvery, "write"));
  append(all, "refuses", joined(refused));

  std::vector<std::string> lost;
  if (profile.loseAnswerEvery != 0) lost.push_back(everyText(profile.loseAnswerEvery, "answer"));
  if (profile.loseWriteEvery != 0) lost.push_back(everyText(profile.loseWriteEvery, "write"));
  append(all, "loses", joined(lost));

  if (profile.answerTwiceEvery != 0) {
    append(all, "answers", everyText(profile.answerTwiceEvery, "write") + " twice");
  }
  if (profile.lateEvery != 0) {
    append(all, "answers",
           everyText(profile.lateEvery, "write") + " " + turnsText(profile.lateBy) + " late");
  }
  return all;
}

}  // namespace SoftAsic
