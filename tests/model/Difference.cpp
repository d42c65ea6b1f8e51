// The two worlds that are compared: the model and the tables.

#include "Compare.h"
#include "EngineWorld.h"
#include "ModelWorld.h"

namespace Model {

Worlds const& modelAndEngine() {
  static Worlds const worlds{
      [](Sequence const& sequence) { return std::make_unique<ModelWorld>(sequence.reactions); },
      [](Sequence const& sequence) {
        return std::make_unique<Engine::EngineWorld>(sequence.reactions);
      }};
  return worlds;
}

std::string difference(Sequence const& sequence) {
  return differenceBetween(modelAndEngine(), sequence);
}

}  // namespace Model
