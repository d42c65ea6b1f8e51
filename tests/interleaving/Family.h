// The scenarios that the suite goes through, by subject; each function gives those of one subject.
//
// For a run by hand they are bigger, with ORVIA_INTERLEAVING_LARGE=1: hardware refuses wherever it
// accepts, one more answer comes twice, and everything is let go in every state. Under
// AddressSanitizer they are smaller.
#pragma once

#include <vector>

#include "Scenario.h"

namespace Interleaving {

enum class Size { small, usual, large };
// What the environment and the build ask for.
Size size();

std::vector<Scenario> wholeFamily(Size size);

// Interface, ingress next hop, two next hops, a block, a group.
std::vector<Scenario> fiveEntries(Size size);
std::vector<Scenario> changedRecords(Size size);
std::vector<Scenario> sharedBlocks(Size size);
std::vector<Scenario> safeSwaps(Size size);
std::vector<Scenario> removals(Size size);
std::vector<Scenario> rewritesWhileParked(Size size);
std::vector<Scenario> answersTwice(Size size);
std::vector<Scenario> tablesThatWaitForEachOther(Size size);
std::vector<Scenario> rowsUsedAgain(Size size);
std::vector<Scenario> handlersThatReenter(Size size);
std::vector<Scenario> handlersThatReenterTheWrite(Size size);
std::vector<Scenario> handlersThatPark(Size size);
std::vector<Scenario> handlersThatRaise(Size size);
std::vector<Scenario> answersFromWithinTheWrite(Size size);
std::vector<Scenario> fullTables(Size size);
std::vector<Scenario> hardwareThatIsNotReady(Size size);
// Not of the whole family: the toggle that they go by is read once for a process.
std::vector<Scenario> restarts(Size size, bool clears);
std::vector<Scenario> tablesThatGo(Size size);

}  // namespace Interleaving
