// Routes as text for a person.
//
//   fmt::print("{}", lookupText(mapping, address));
//
// Threading: one thread. Ownership: plain values.
#pragma once

#include <string>

#include "agent/Mapping.h"

namespace OrviaL3Agent {

// "10.0.1.0/24", and table and priority where they are not the usual ones.
[[nodiscard]] std::string text(RouteKey const& key);
// What the route points to and how far that has come: "id 7, row 40, 10.0.1.2 on interface 3:
// programmed".
[[nodiscard]] std::string wayText(Mapping const& mapping, Routes::Route const& route);
// Every route, a line each.
[[nodiscard]] std::string routesText(Mapping const& mapping);
// The best routes for the address, a line for each table that has one: the route, what it points to
// and how far that has come.
[[nodiscard]] std::string lookupText(Mapping const& mapping, Fpm::Address const& address);

}  // namespace OrviaL3Agent
