// Who makes the utility of a table: one factory for each table class, found by the table's
// qualified name ("OrviaL3Unicast::L3EcmpGroupTable").
//
//   if (auto const* factory = utilFactory(table->fwkType().name())) {
//     table->utilIs(factory->create(*table));
//   }
//
// Plug-ins announce factories through Plugin::Registrar; a program that brings its own utilities
// may call utilFactoryIs itself. Who serves a table is the factory's `origin`. A factory stays for
// the life of the process, and so must its function: plug-ins are never unloaded. One thread.
#pragma once

#include <string>
#include <string_view>

#include "OrviaAsicUtils/SwTableUtil.h"

namespace OrviaAsicUtils {

// A new utility for one table. The table outlives the call only; a utility that wants to know its
// table for longer must not keep it alive. What it throws knows neither table nor plug-in: whoever
// calls it adds both to the message.
using UtilCreate = Vek::Ptr<SwTableUtil> (*)(SwTable& table);

struct UtilFactory {
  std::string table;   // the qualified name of the table's class
  UtilCreate create;   // never none
  std::string origin;  // who brought it: for a plug-in its file, absolute
};

// Makes the factory known. False, without effect, when the table has one already.
VEK_EXPORT bool utilFactoryIs(UtilFactory const& factory);
// The factory of that table, or none. Stays valid.
[[nodiscard]] VEK_EXPORT UtilFactory const* utilFactory(std::string_view table);

}  // namespace OrviaAsicUtils
