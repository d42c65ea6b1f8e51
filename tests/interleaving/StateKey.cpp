#include "StateKey.h"

#include <algorithm>
#include <cctype>
#include <functional>
#include <map>
#include <utility>

namespace Interleaving {
namespace {

using Names = std::map<std::string, std::string, std::less<>>;

bool isWord(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }

// The text with every handle's name replaced.
std::string renamed(Text text, Names const& names) {
  std::string result;
  std::size_t done = 0;
  for (std::size_t at = text.find('#'); at != Text::npos; at = text.find('#', at + 1)) {
    std::size_t first = at;
    while (first > done && isWord(text[first - 1])) --first;
    std::size_t end = at + 1;
    while (end < text.size() && isWord(text[end])) ++end;
    auto const found = names.find(text.substr(first, end - first));
    if (found == names.end()) continue;
    result += text.substr(done, first - done);
    result += found->second;
    done = end;
  }
  result += text.substr(done);
  return result;
}

Names canonicalNames(View const& view) {
  Names names;
  // Blocks come last: their keys are made of the other handles' names.
  for (Table const table : {ingress, hop, group, member}) {
    TableView const& now = view.table(table);
    std::map<Text, Text> const& keys = table == ingress ? now.owned : now.registered;
    for (auto const& [key, handle] : keys) {
      names[std::string(handle)] = std::string(tableNames[table]) + "~" + renamed(key, names);
    }
  }
  std::array<unsigned, 4> unknown{};
  std::vector<std::pair<unsigned, Text>> rest;
  for (auto const& [handle, state] : view.handles()) {
    std::size_t const at = handle.find('#');
    if (at == Text::npos || names.contains(handle)) continue;
    rest.emplace_back(numberOf(handle.substr(at + 1)), handle);
  }
  std::sort(rest.begin(), rest.end());
  for (auto const& [number, handle] : rest) {
    Text const table = handle.substr(0, handle.find('#'));
    names[std::string(handle)] =
        std::string(table) + "#" + std::to_string(++unknown[tableOf(table).value()]);
  }
  return names;
}

// The reactors of each handle that has several, in the order in which they began to watch it.
void appendOrders(Course const& course, Model::Lines& lines) {
  std::map<Text, std::vector<std::pair<unsigned, std::string>>> reactors;
  for (unsigned n = 0; n < tableNames.size(); ++n) {
    auto const table = static_cast<Table>(n);
    TableView const& now = course.view().table(table);
    auto const add = [&](Text handle, Text kind, Text key) {
      std::string reactor = reactorName(tableNames[table], kind, key);
      unsigned const born = course.born(reactor);
      reactors[handle].emplace_back(born, std::move(reactor));
    };
    for (auto const& [key, pending] : now.pending) {
      if (pending.handle != "none") add(pending.handle, "pending", key);
    }
    for (Parked const& parked : now.parked) {
      for (auto const& [slot, handle] : needs(table, parked.record)) {
        bool const watches = std::find(parked.watching.begin(), parked.watching.end(), slot) !=
                             parked.watching.end();
        if (watches) add(handle, "parked", parked.key);
      }
    }
  }
  for (auto& [handle, several] : reactors) {
    if (several.size() < 2) continue;
    std::sort(several.begin(), several.end());
    std::string line = "order " + std::string(handle);
    for (auto const& [born, reactor] : several) line += ", " + reactor;
    lines.push_back(std::move(line));
  }
}

// Swaps the mirror's names, where they stand as words.
std::string mirrored(Text text, Mirror const& mirror) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    auto const standsHere = [&](std::string const& name) {
      return text.substr(at).starts_with(name) && (at == 0 || !isWord(text[at - 1])) &&
             (at + name.size() == text.size() || !isWord(text[at + name.size()]));
    };
    Text taken;
    for (auto const& [one, other] : mirror.names) {
      if (standsHere(one)) {
        result += other;
        taken = one;
      } else if (standsHere(other)) {
        result += one;
        taken = other;
      } else {
        continue;
      }
      break;
    }
    if (taken.empty()) {
      result += text[at++];
    } else {
      at += taken.size();
    }
  }
  return result;
}

std::string joined(Model::Lines lines, std::vector<std::size_t> const& positions) {
  std::sort(lines.begin(), lines.end());
  std::string result;
  std::size_t size = 4 * positions.size();
  for (std::string const& line : lines) size += 1 + line.size();
  result.reserve(size);
  for (std::size_t const position : positions) result += std::to_string(position) + " ";
  for (std::string const& line : lines) result += "\n" + line;
  return result;
}

}  // namespace

std::string stateKey(Scenario const& scenario, Course const& course,
                     std::vector<std::size_t> const& positions, unsigned answersTwice) {
  View const& view = course.view();
  Model::Lines lines;
  for (std::string const& line : view.lines()) {
    // Live objects follow from the rest, and the answers come in any order.
    if (!line.starts_with("live ") && !line.starts_with("waits ")) lines.push_back(line);
  }
  for (Waiting const& waiting : view.waiting()) {
    lines.push_back("waits " + std::string(tableNames[waiting.table]) + " " +
                    std::string(waiting.what));
  }
  for (Parked const& parked : view.table(member).parked) {
    std::string line = "counted " + std::string(parked.key);
    for (unsigned const position : course.positionsCounted(std::string(parked.key))) {
      line += " " + std::to_string(position);
    }
    lines.push_back(std::move(line));
  }
  appendOrders(course, lines);
  for (std::string& line : course.memory()) lines.push_back(std::move(line));
  lines.push_back("twice " + std::to_string(answersTwice));
  Names const names = canonicalNames(view);
  for (std::string& line : lines) line = renamed(line, names);

  std::string best = joined(lines, positions);
  for (unsigned which = 1; which < 1U << scenario.mirrors.size(); ++which) {
    Model::Lines other = lines;
    std::vector<std::size_t> otherPositions = positions;
    for (std::size_t i = 0; i < scenario.mirrors.size(); ++i) {
      if ((which >> i & 1U) == 0) continue;
      Mirror const& mirror = scenario.mirrors[i];
      for (std::string& line : other) line = mirrored(line, mirror);
      std::swap(otherPositions[mirror.actor], otherPositions[mirror.other]);
    }
    best = std::min(best, joined(std::move(other), otherPositions));
  }
  return best;
}

}  // namespace Interleaving
