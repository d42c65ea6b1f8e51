// How sequences become smaller.

#include <rapidcheck/seq/Create.h>
#include <rapidcheck/seq/Transform.h>

#include <algorithm>

#include "Generate.h"

namespace Model {
namespace {

// A change that makes a sequence smaller. List 0 holds the steps, 1 to 4 the reactions.
struct Edit {
  std::size_t list;
  std::size_t at;
  std::size_t count;  // steps that go; none: a number of one step changes
  std::size_t number = 0;
  std::uint32_t value = 0;
};

std::vector<Step>& listOf(Sequence& sequence, std::size_t list) {
  return list == 0 ? sequence.steps : sequence.reactions[list - 1];
}
std::vector<Step> const& listOf(Sequence const& sequence, std::size_t list) {
  return list == 0 ? sequence.steps : sequence.reactions[list - 1];
}
constexpr std::size_t listCount = 5;

Sequence edited(Sequence sequence, Edit const& edit) {
  std::vector<Step>& steps = listOf(sequence, edit.list);
  if (edit.count == 0) {
    steps[edit.at].n[edit.number] = edit.value;
  } else {
    auto const first = steps.begin() + static_cast<std::ptrdiff_t>(edit.at);
    steps.erase(first, first + static_cast<std::ptrdiff_t>(edit.count));
  }
  return sequence;
}

// Long runs first: most steps of a sequence have nothing to do with what it found.
void addRemovals(std::vector<Edit>& edits, Sequence const& sequence, std::size_t list) {
  std::size_t const size = listOf(sequence, list).size();
  for (std::size_t count = size; count > 0; count /= 2) {
    // From the end, where steps come that nothing depends on.
    for (std::size_t end = size; end > 0; end -= std::min(end, count)) {
      std::size_t const begin = end - std::min(end, count);
      edits.push_back({list, begin, end - begin});
    }
  }
}

void addSmallerNumbers(std::vector<Edit>& edits, Sequence const& sequence, std::size_t list) {
  std::vector<Step> const& steps = listOf(sequence, list);
  for (std::size_t at = 0; at < steps.size(); ++at) {
    for (std::size_t number = 0; number < steps[at].n.size(); ++number) {
      std::uint32_t const value = steps[at].n[number];
      // A record's or a block's number without its last parts, or with its first one at 0.
      for (std::uint32_t const less : {0U, value % 4, value % 13, value % 52, value % 169,
                                       value - value % 13, value == 0 ? 0U : value - 1}) {
        if (less < value) edits.push_back({list, at, 0, number, less});
      }
    }
  }
}

}  // namespace

rc::Seq<Sequence> smaller(Sequence const& sequence) {
  std::vector<Edit> edits;
  for (std::size_t list = listCount; list-- > 0;) addRemovals(edits, sequence, list);
  for (std::size_t list = 0; list < listCount; ++list) addSmallerNumbers(edits, sequence, list);
  return rc::seq::map(rc::seq::fromContainer(std::move(edits)),
                      [sequence](Edit const& edit) { return edited(sequence, edit); });
}

}  // namespace Model
