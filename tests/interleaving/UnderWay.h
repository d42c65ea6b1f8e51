// The path that is being gone through, for a process that is ended in the middle of it: by a failed
// assertion of the tables or by the sanitizer.
//
//   UnderWay const underWay(scenario.name, path);
//
// One at a time; the path is read when the process ends, and must be there until then.
#pragma once

#include <string>
#include <vector>

namespace Interleaving {

struct Event;

class UnderWay {
 public:
  UnderWay(std::string const& scenario, std::vector<Event> const& path);
  ~UnderWay();
  UnderWay(UnderWay const&) = delete;
  UnderWay& operator=(UnderWay const&) = delete;
};

}  // namespace Interleaving
