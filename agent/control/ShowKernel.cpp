// What the Linux kernel behind the tables has taken and refused.
#include <fmt/format.h>

#include <set>
#include <string>

#include "agent/Agent.h"
#include "agent/TextHelpers.h"
#include "agent/control/ShowVerbs.h"
#include "agent/kernel/Kernel.h"

namespace OrviaL3Agent::Control {
namespace {

// The first ones: with a full kernel there may be as many as there are routes.
void tellRefusedRoutes(KernelRoutes const& routes, Answer& answer) {
  answer.tableIs("refused", {"prefix", "table", "metric", "reason"});
  std::size_t listed = 0;
  for (RouteKey const& key : routes.refused()) {
    if (listed == kMostListed) break;
    ++listed;
    answer.row({fmt::format("{}/{}", text(key.address), key.length), key.table, key.priority,
                routes.refusal(key)});
  }
  std::size_t const more = routes.refused().size() - listed;
  if (more > 0) answer.line(fmt::format("and {} more", more));
}

void tellKernel(Agent const& agent, Answer& answer) {
  Kernel const* const kernel = agent.kernel();
  if (kernel == nullptr) {
    answer.line("no kernel is programmed");
    return;
  }
  KernelReport const report = kernel->report();
  std::string const& netns = agent.options().kernel.netns;
  answer.object("kernel", {{"netns", netns.empty() ? Json() : Json(netns)},
                           {"nextHops", report.nextHops},
                           {"groups", report.groups},
                           {"routes", report.routes},
                           {"routesWaiting", report.routesWaiting},
                           {"routesRefused", report.routesRefused},
                           {"requests", report.requests},
                           {"sends", report.sends},
                           {"repeated", report.repeated},
                           {"fromBefore", report.fromBefore}});
  if (report.routesRefused > 0) tellRefusedRoutes(kernel->routes(), answer);
}

}  // namespace

std::vector<Verb> showKernelVerbs() {
  return {
      {"show kernel", "", "what a kernel has taken, and the routes it refused",
       [](Context const& context, Arguments const& arguments) {
         requireCount(arguments, 0, 0, "show kernel");
         return jobOf([&agent = context.agent](Answer& answer) { tellKernel(agent, answer); });
       }},
  };
}

}  // namespace OrviaL3Agent::Control
