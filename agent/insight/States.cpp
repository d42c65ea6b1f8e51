#include "agent/insight/States.h"

namespace OrviaL3Agent::Insight {

char const* textOf(NextHopState state) {
  switch (state) {
    case NextHopState::programmed:
      return "programmed";
    case NextHopState::unanswered:
      return "unanswered";
    case NextHopState::parked:
      return "parked";
    case NextHopState::refused:
      return "refused";
    case NextHopState::notPlaced:
      break;
  }
  return "not-placed";
}

char const* textOf(Groups::State state) {
  switch (state) {
    case Groups::State::programmed:
      return "programmed";
    case Groups::State::unanswered:
      return "unanswered";
    case Groups::State::parked:
      return "parked";
    case Groups::State::refused:
      return "refused";
    case Groups::State::notPlaced:
      break;
  }
  return "not-placed";
}

char const* textOf(Routes::State state) {
  switch (state) {
    case Routes::State::forwarded:
      return "forwarded";
    case Routes::State::drop:
      return "drop";
    case Routes::State::unknownId:
      return "unknown-id";
    case Routes::State::formerWay:
      return "former-way";
    case Routes::State::notInForce:
      return "not-in-force";
    case Routes::State::notPossible:
      break;
  }
  return "not-possible";
}

}  // namespace OrviaL3Agent::Insight
