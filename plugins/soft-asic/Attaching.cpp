#include "plugins/soft-asic/Attaching.h"

#include <stdexcept>

namespace SoftAsic {
namespace {

// Constant-initialised: modules are opened while other shared objects are being initialised.
constinit Attaching const* innermost = nullptr;

}  // namespace

Attaching::Attaching(Vek::Ptr<AnswerQueue> const& answers) : answers_(answers), outer_(innermost) {
  innermost = this;
}

Attaching::~Attaching() { innermost = outer_; }

Vek::Ptr<AnswerQueue> Attaching::answers() {
  if (innermost == nullptr) {
    throw std::logic_error("a utility of the simulated ASIC is made while its device is attached");
  }
  return innermost->answers_;
}

}  // namespace SoftAsic
