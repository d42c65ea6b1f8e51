// Where the four tables and their utilities come from.
//
//   Replay replay(options, loadedTables(library));   // a library that was loaded with dlopen
//   Replay replay(options, linkedTables());          // the library that this program links
//
// The agent does not link the library. What it needs of it to begin with are four factories, and
// everything else follows from the tables. A test links the library and shares all of the code.
//
// Threading: one thread. Ownership: plain values; the functions belong to objects that stay mapped.
#pragma once

#include <stdexcept>

#include "OrviaAsicUtils/SwTable.h"
#include "OrviaAsicUtils/UtilFactory.h"

namespace OrviaL3Agent {

struct TableSource {
  // Puts a new table into the reference.
  using Make = void (*)(Vek::Ptr<OrviaAsicUtils::SwTable>& table);

  Make ingress = nullptr;
  Make ecmp = nullptr;
  Make members = nullptr;
  Make groups = nullptr;
  // Who makes the table's utility; none: the hardware itself.
  OrviaAsicUtils::UtilCreate (*utilOf)(OrviaAsicUtils::SwTable const& table) = nullptr;
};

// A table or its utility cannot be had: which, and why.
class TableSourceError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Of the linked library, with the utilities of the hardware itself.
[[nodiscard]] TableSource linkedTables();
// Of the library with that handle of dlopen, with the utilities of its plug-ins. Throws
// TableSourceError when the library does not offer a table.
[[nodiscard]] TableSource loadedTables(void* library);

// The plug-ins' factory for the table. Throws TableSourceError when there is none: it names the
// table, the directory that plug-ins were looked for in, and what went wrong there.
[[nodiscard]] OrviaAsicUtils::UtilCreate pluginUtilOf(OrviaAsicUtils::SwTable const& table);

}  // namespace OrviaL3Agent
