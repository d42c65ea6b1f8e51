#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <sstream>
#include <utility>

#include "agent/ShortText.h"
#include "agent/control/Requests.h"
#include "agent/serve/Log.h"

namespace OrviaL3Agent::Control {
namespace {

class OneSlice final : public Job {
 public:
  explicit OneSlice(std::function<void(Answer&)> work) : work_(std::move(work)) {}
  bool runSlice(Answer& answer) override {
    work_(answer);
    return true;
  }

 private:
  std::function<void(Answer&)> work_;
};

void listVerbs(Answer& answer) {
  answer.tableIs("verbs", {"verb", "arguments", "does"});
  for (Verb const& verb : verbs()) answer.row({verb.words, verb.arguments, verb.help});
}

std::vector<Verb> allVerbs() {
  std::vector<Verb> all;
  for (auto const& part : {showVerbs(), nameVerbs(), actionVerbs(), dependencyVerbs()}) {
    all.insert(all.end(), part.begin(), part.end());
  }
  all.push_back({"verbs", "", "list what can be asked for", [](Context const&, Arguments const& a) {
                   if (!a.empty()) throw RequestError("verbs: takes no arguments");
                   return jobOf(listVerbs);
                 }});
  return all;
}

std::vector<std::string> wordsOf(std::string const& text) {
  std::istringstream in(text);
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

// How many of the verb's words the request begins with.
std::size_t matching(std::vector<std::string> const& verb, Arguments const& words) {
  auto const end = std::mismatch(verb.begin(), verb.end(), words.begin(), words.end()).first;
  return static_cast<std::size_t>(end - verb.begin());
}

[[noreturn]] void refuseVerb(Arguments const& words) {
  if (words.empty()) throw RequestError("a verb is missing (`verbs` lists them)");
  std::vector<std::string> nexts;
  for (Verb const& verb : verbs()) {
    std::vector<std::string> const its = wordsOf(verb.words);
    if (its.size() > 1 && its[0] == words[0]) nexts.push_back(its[1]);
  }
  if (nexts.empty()) {
    throw RequestError(
        fmt::format("there is no verb \"{}\" (`verbs` lists them)", shortened(words[0])));
  }
  if (words.size() == 1) {
    throw RequestError(fmt::format("{}: one of {} is missing", words[0], fmt::join(nexts, ", ")));
  }
  throw RequestError(fmt::format("{} \"{}\": there is only {}", words[0], shortened(words[1]),
                                 fmt::join(nexts, ", ")));
}

}  // namespace

void Context::logDone(std::string const& what) const {
  if (log != nullptr) log->info(fmt::format("{}, by the control socket ({})", what, client));
}

std::unique_ptr<Job> jobOf(std::function<void(Answer&)> work) {
  return std::make_unique<OneSlice>(std::move(work));
}

std::vector<Verb> const& verbs() {
  static std::vector<Verb> const all = allVerbs();
  return all;
}

std::unique_ptr<Job> jobFor(Context const& context, Arguments const& words) {
  Verb const* best = nullptr;
  std::size_t length = 0;
  for (Verb const& verb : verbs()) {
    std::vector<std::string> const its = wordsOf(verb.words);
    if (its.size() > length && matching(its, words) == its.size()) {
      best = &verb;
      length = its.size();
    }
  }
  if (best == nullptr) refuseVerb(words);
  return best->start(context,
                     Arguments(words.begin() + static_cast<std::ptrdiff_t>(length), words.end()));
}

std::unique_ptr<Job> jobFor(Context const& context, std::string_view line) {
  Json const request = Json::parse(line, nullptr, false);
  if (request.is_discarded()) throw RequestError("the request is no JSON");
  if (!request.is_object()) throw RequestError("the request is no JSON object");
  auto const verb = request.find("verb");
  bool const areWords =
      verb != request.end() && verb->is_array() &&
      std::all_of(verb->begin(), verb->end(), [](Json const& word) { return word.is_string(); });
  if (!areWords) throw RequestError("the request has no \"verb\", an array of words");
  return jobFor(context, verb->get<Arguments>());
}

}  // namespace OrviaL3Agent::Control
