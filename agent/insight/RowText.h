// A hardware row in a few words: what it holds, and how the last write of it went.
//
// Threading: any. Ownership: none.
#pragma once

#include <fmt/format.h>

#include <string>

#include "agent/TextHelpers.h"
#include "plugins/soft-asic/DeviceTable.h"

namespace OrviaL3Agent::Insight {

inline std::string contentsText(SoftAsic::NextHopContents const& contents) {
  return fmt::format("neighbour {}, interface slot {}, MTU slot {}", contents.fields.destination,
                     contents.l3Oif1, contents.mtuProfilePtr);
}
inline std::string contentsText(SoftAsic::MemberContents const& contents) {
  return fmt::format("next-hop row {}", contents.nextHopEntry.value());
}
inline std::string contentsText(SoftAsic::GroupContents const& contents) {
  return fmt::format("{} from member row {}", counted(contents.numPaths, "path"),
                     contents.ecmpBlockPtr);
}

// What the hardware holds, and how the last write of it went.
template <class Row>
[[nodiscard]] std::string rowText(Row const& row) {
  std::string text = row.contents ? contentsText(*row.contents) : "empty";
  if (row.fromBefore) text += ", from before this process";
  if (row.fate == SoftAsic::Fate::refused) text += ", the last write was refused";
  if (row.fate == SoftAsic::Fate::lost) {
    text += ", the last write was lost";
  } else if (row.answer == SoftAsic::Answer::awaited) {
    text += ", the last write is not answered";
  }
  return text;
}

}  // namespace OrviaL3Agent::Insight
