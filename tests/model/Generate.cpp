#include "Generate.h"

#include <rapidcheck/Random.h>
#include <rapidcheck/shrinkable/Create.h>

#include "Builder.h"

namespace Model {

rc::Gen<Sequence> sequences(Profile profile) {
  return [profile](rc::Random const& random, int) {
    return rc::shrinkable::shrinkRecur(Builder(random, profile).sequence(), &smaller);
  };
}

std::vector<Kind> kindsOf(Profile profile) {
  std::vector<Kind> kinds;
  for (Weight const& weight : weights) {
    if (weight.of(profile) != 0) kinds.push_back(weight.kind);
  }
  return kinds;
}

}  // namespace Model
