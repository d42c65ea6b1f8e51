// Every place that is reached by name in the tables of a replay, found by going on from the tables:
// what a listing says of it is what happens to a change, and nothing there ends an object.
#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Vek/Reflect.h"
#include "Vek/Walker.h"
#include "agent/ByName.h"
#include "tests/agent/AgentProcess.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;

struct Reached {
  std::string path;
  Vek::Value value;  // none for a collection as a whole, or where nothing can be read
  std::string text;
  bool isSaidToBeReadOnly = false;
};

std::vector<std::string> linesOf(std::string const& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// How a listing of nothing begins.
bool isOfNothing(std::string const& listing) {
  return listing == "no elements\n" || listing.starts_with("nothing below this ");
}

class NamedPlaces : public ReplayFixture {
 protected:
  void replayed() {
    options.ecmpRows.reset();
    run(contentOf(streamPath("w1-static.0.fpm")));
  }
  Mapping::Tables const& tables() { return replay().mapping().tables(); }
  void finishTurns() {
    while (replay().turn()) {
    }
  }

  // All places, each object once. Elements are named by position, which is the same in every run.
  std::vector<Reached> all() {
    std::vector<Reached> found;
    std::deque<std::string> ahead;
    std::set<Vek::PtrInterface const*> seen;
    std::vector<std::pair<std::string, Vek::Ptr<Vek::PtrInterface const>>> const roots{
        {"ingress", tables().ingress},
        {"ecmp", tables().ecmp},
        {"member", tables().members},
        {"group", tables().groups}};
    for (auto const& [name, table] : roots) {
      seen.insert(table.get());
      ahead.push_back(name);
    }
    while (!ahead.empty()) {
      std::string const path = ahead.front();
      ahead.pop_front();
      std::string const listing = listedByName(tables(), path);
      std::size_t const dot = std::min(path.find('.'), path.size());
      Vek::Ptr<Vek::PtrInterface const> table;
      for (auto const& [name, root] : roots) {
        if (path.substr(0, dot) == name) table = root;
      }
      Vek::Walker const walker(table);
      std::string const rest = dot == path.size() ? "" : path.substr(dot + 1);
      auto const entries = walker.list(rest);
      if (entries.empty()) {
        EXPECT_TRUE(isOfNothing(listing)) << path << ": " << listing;
        continue;
      }
      std::vector<std::string> const lines = linesOf(listing);
      EXPECT_EQ(lines.size(), entries.size()) << path;
      for (std::size_t i = 0; i < std::min(lines.size(), entries.size()); ++i) {
        bool const isElement = entries[i].name.starts_with("[");
        std::string const step =
            isElement ? "[#" + std::to_string(i + 1) + "]" : "." + entries[i].name;
        Reached one{path + step, {}, entries[i].text, lines[i].ends_with(" (read only)")};
        if (entries[i].isCollection) {
          ahead.push_back(one.path);
        } else {
          one.value = walker.read(one.path.substr(one.path.find('.') + 1));
          bool const isNew = one.value.isObject() ? one.value.object() != nullptr &&
                                                        seen.insert(one.value.object()).second
                                                  : !Vek::attributesOf(one.value.type()).empty();
          if (isNew) ahead.push_back(one.path);
        }
        found.push_back(one);
      }
    }
    return found;
  }

  // Sets every place to what it has.
  void expectChangesAsListed() {
    std::size_t set = 0;
    std::size_t refused = 0;
    for (Reached const& place : all()) {
      SCOPED_TRACE(place.path);
      if (!place.isSaidToBeReadOnly) {
        ++set;
        EXPECT_NO_THROW(setByName(tables(), {place.path, place.text}));
        finishTurns();
        EXPECT_EQ(gotByName(tables(), place.path), place.text + "\n");
        continue;
      }
      ++refused;
      try {
        setByName(tables(), {place.path, place.text});
        ADD_FAILURE() << "set";
      } catch (Vek::Exception const& error) {
        std::string const why = error.what();
        EXPECT_TRUE(why.starts_with(place.path + ": ")) << why;
        // Not for the value: that is the one that it has.
        EXPECT_TRUE(why.find("can only be read") != std::string::npos ||
                    why.find("only plain values can be set") != std::string::npos ||
                    why.find("is a collection") != std::string::npos)
            << why;
      }
    }
    EXPECT_GT(set, 100U);
    EXPECT_GT(refused, 100U);
  }
};

TEST_F(NamedPlaces, TakeAChangeUnlessTheyAreListedAsReadOnly) {
  replayed();
  expectChangesAsListed();
}

TEST_F(NamedPlaces, OfParkedRecordsToo) {
  options.interfaceDelay.reset();  // never
  replayed();
  expectChangesAsListed();
}

TEST_F(NamedPlaces, ReachNoOperationThatEndsAnObject) {
  replayed();
  std::vector<Reached> const places = all();
  std::size_t operations = 0;
  for (Vek::VekType const type : Vek::vekTypes()) {
    Vek::VekReflection const* const reflection = type.info()->reflection;
    if (reflection == nullptr) continue;
    for (Vek::VekOperation const& operation : reflection->operations) {
      if (!operation.endsObject) continue;
      ++operations;
      SCOPED_TRACE(std::string(type.name()) + "." + operation.name);
      EXPECT_EQ(Vek::findAttribute(type, operation.name), nullptr);
      bool wasTried = false;
      for (Reached const& place : places) {
        Vek::Value const& value = place.value;
        if (value.isNone() || !value.isObject() || value.object() == nullptr) continue;
        if (!value.objectType().isA(type)) continue;
        for (std::string const& name :
             {std::string(operation.name), std::string(operation.name) + "()"}) {
          std::string const path = place.path + "." + name;
          EXPECT_THROW((void)gotByName(tables(), path), Vek::Exception) << path;
          EXPECT_THROW((void)listedByName(tables(), path), Vek::Exception) << path;
          EXPECT_THROW(setByName(tables(), {path, ""}), Vek::Exception) << path;
          EXPECT_THROW(setByName(tables(), {path, "1"}), Vek::Exception) << path;
        }
        if (wasTried) continue;
        wasTried = true;
        // The program, with one of them: all options that take a name.
        std::string const path = "'" + place.path + "." + operation.name;
        Ended const ended =
            agent("replay " + stream("w1-static.0.fpm") + " --verify --get " + path + "' --ls " +
                  path + "' --set " + path + "=1' --get '" + place.path + ".entryState'");
        EXPECT_EQ(ended.exitCode, kExitUsage);
        EXPECT_EQ(lines(ended.error), 3U) << ended.error;
        EXPECT_TRUE(ended.output.starts_with("1\n")) << ended.output;  // still programmed
        EXPECT_TRUE(contains(ended.output, "no difference"));
        EXPECT_EQ(agent("replay " + stream("w1-static.0.fpm") + " --call " + path + "'").exitCode,
                  kExitUsage);
      }
      EXPECT_TRUE(wasTried) << "no object of the type is reached";
    }
  }
  EXPECT_GE(operations, 4U);
  // All that was there is there.
  std::vector<Reached> const after = all();
  ASSERT_EQ(after.size(), places.size());
  for (std::size_t i = 0; i < places.size(); ++i) {
    EXPECT_EQ(after[i].path, places[i].path);
    EXPECT_EQ(after[i].value, places[i].value) << places[i].path;
  }
}

}  // namespace
}  // namespace OrviaL3Agent
