#include "agent/control/ShowVerbs.h"

namespace OrviaL3Agent::Control {

std::vector<Verb> showVerbs() {
  std::vector<Verb> all;
  for (auto const& part : {showTableVerbs(), showGroupVerbs(), showRouteVerbs(), showKernelVerbs(),
                           showProcessVerbs()}) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

}  // namespace OrviaL3Agent::Control
