// Apart from the rest: who loads the library must not refer to its factories by name.
#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "OrviaL3Unicast/L3EcmpIngL3NextHop1Table.h"
#include "OrviaL3Unicast/L3EcmpMemberTable.h"
#include "OrviaL3Unicast/OrviaL3IngL3NextHop1Table.h"
#include "agent/TableSource.h"

namespace OrviaL3Agent {

TableSource linkedTables() {
  return {.ingress = &orviaIngL3NextHop1TableFactory,
          .ecmp = &orviaEcmpIngL3NextHop1TableFactory,
          .members = &orviaL3EcmpMemberTableFactory,
          .groups = &orviaL3EcmpGroupTableFactory};
}

}  // namespace OrviaL3Agent
