#include "Paste.h"

namespace Model {

char const* kindName(Kind kind) {
  // The compiler tells when an enumerator has no name here.
#define MODEL_NAME_OF(kind) \
  case Kind::kind:          \
    return #kind
  switch (kind) {
    MODEL_NAME_OF(externRow);
    MODEL_NAME_OF(externState);
    MODEL_NAME_OF(drop);
    MODEL_NAME_OF(copySlot);
    MODEL_NAME_OF(handleRow);
    MODEL_NAME_OF(handleState);
    MODEL_NAME_OF(handleMode);
    MODEL_NAME_OF(answer);
    MODEL_NAME_OF(answerMode);
    MODEL_NAME_OF(hwReady);
    MODEL_NAME_OF(hwTable);
    MODEL_NAME_OF(tableReacts);
    MODEL_NAME_OF(ingressCommit);
    MODEL_NAME_OF(ingressWrite);
    MODEL_NAME_OF(hopCommit);
    MODEL_NAME_OF(hopRef);
    MODEL_NAME_OF(hopWrite);
    MODEL_NAME_OF(hopWriteAtIndex);
    MODEL_NAME_OF(groupCommit);
    MODEL_NAME_OF(groupRef);
    MODEL_NAME_OF(groupWrite);
    MODEL_NAME_OF(groupWriteAtIndex);
    MODEL_NAME_OF(memberRef);
    MODEL_NAME_OF(memberWrite);
    MODEL_NAME_OF(remove);
    MODEL_NAME_OF(getEntry);
    MODEL_NAME_OF(lookupExisting);
    MODEL_NAME_OF(entryLookup);
    MODEL_NAME_OF(destroy);
    MODEL_NAME_OF(entryIs);
    MODEL_NAME_OF(entryDel);
    MODEL_NAME_OF(entryDelAll);
    MODEL_NAME_OF(handleEntry);
    MODEL_NAME_OF(entryHandleMutate);
    MODEL_NAME_OF(entryHandleDel);
    MODEL_NAME_OF(entryHandleDelAll);
    MODEL_NAME_OF(entryHandleOwn);
    MODEL_NAME_OF(rawEntryHandleDel);
    MODEL_NAME_OF(pendingEntrySmIs);
    MODEL_NAME_OF(pendingEntrySmDel);
    MODEL_NAME_OF(pendingEntrySmDelAll);
    MODEL_NAME_OF(pendingZombie);
    MODEL_NAME_OF(unresolvedEntryDel);
    MODEL_NAME_OF(unresolvedEntryDelAll);
    MODEL_NAME_OF(successCountIs);
    MODEL_NAME_OF(successCountInc);
    MODEL_NAME_OF(entryBlockDel);
    MODEL_NAME_OF(entryBlockDelAll);
    MODEL_NAME_OF(unresolvedBlockDel);
    MODEL_NAME_OF(syncEntries);
    MODEL_NAME_OF(doInitComplete);
    MODEL_NAME_OF(writeResponseSmDel);
    MODEL_NAME_OF(allocatorDel);
    MODEL_NAME_OF(allocatorIs);
    MODEL_NAME_OF(handleMake);
    MODEL_NAME_OF(handleCleanup);
    MODEL_NAME_OF(rawEntryHandleIs);
    MODEL_NAME_OF(entryBlockIs);
    MODEL_NAME_OF(handleEntryBlock);
    MODEL_NAME_OF(unresolvedBlockIs);
    MODEL_NAME_OF(unresolvedEntryIs);
    MODEL_NAME_OF(rawBlockHandleDel);
    MODEL_NAME_OF(rawEntryHandleDelAll);
    MODEL_NAME_OF(writeResponseSmIs);
    MODEL_NAME_OF(initializeUnresolvedEntry);
    MODEL_NAME_OF(neededEntryHandleSmIs);
    MODEL_NAME_OF(neededEntryHandleSmDel);
    MODEL_NAME_OF(neededEntryHandleSmDelAll);
    MODEL_NAME_OF(neededNotifier);
    MODEL_NAME_OF(neededZombie);
    MODEL_NAME_OF(pendingNotifier);
    MODEL_NAME_OF(raise);
  }
#undef MODEL_NAME_OF
  return "unknown";
}

std::string stepText(Step const& step) {
  std::size_t count = step.n.size();
  while (count > 0 && step.n[count - 1] == 0) --count;
  std::string numbers;
  for (std::size_t i = 0; i < count; ++i) {
    numbers += (i == 0 ? "" : ", ") + std::to_string(step.n[i]);
  }
  return "{Kind::" + std::string(kindName(step.kind)) + ", {" + numbers + "}}";
}

namespace {

std::string linesOf(std::vector<Step> const& steps, std::string const& indent) {
  std::string lines;
  for (Step const& step : steps) lines += "\n" + indent + stepText(step) + ",";
  return lines;
}

}  // namespace

std::string pasted(Sequence const& sequence) {
  std::string text = "TEST(Found, SayWhatItShows) {\n  EXPECT_EQ(difference({\n";
  text += "      .reactions = {{\n";
  for (std::vector<Step> const& reaction : sequence.reactions) {
    text += "          {" + linesOf(reaction, "              ") + "},\n";
  }
  text += "      }},\n";
  text += "      .steps = {" + linesOf(sequence.steps, "          ") + "\n      },\n";
  return text + "  }), \"\");\n}\n";
}

}  // namespace Model
