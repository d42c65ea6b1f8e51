// The attribute table of the ingress next-hop record, which two tables carry under names of their
// own.
#pragma once

#include "OrviaL3Unicast/engine/ReflectRecord.h"

namespace OrviaL3Unicast::engine {

template <class Entry>
struct NextHopRows {
  static constexpr auto attributes = recordAttributes<Entry>(
      derived<Entry, &Entry::l3Oif1>("l3Oif1"),
      handle<Entry, &Entry::l3Oif1Handle, &Entry::l3Oif1HandleIs>("l3Oif1Handle"),
      derived<Entry, &Entry::mtuProfilePtr>("mtuProfilePtr"),
      handle<Entry, &Entry::mtuProfilePtrHandle, &Entry::mtuProfilePtrHandleIs>(
          "mtuProfilePtrHandle"));
  static constexpr Vek::VekReflection rows{attributes, {}};
};

}  // namespace OrviaL3Unicast::engine
