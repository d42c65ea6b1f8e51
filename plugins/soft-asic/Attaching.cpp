#include "plugins/soft-asic/Attaching.h"

#include <stdexcept>

namespace SoftAsic {
namespace {

// Constant-initialised: modules are opened while other shared objects are being initialised.
constinit Attaching const* innermost = nullptr;

}  // namespace

Attaching::Attaching(Vek::Ptr<AnswerQueue> const& answers, Vek::Ptr<RowOwners> const& owners)
    : answers_(answers), owners_(owners), outer_(innermost) {
  innermost = this;
}

Attaching::~Attaching() { innermost = outer_; }

Vek::Ptr<AnswerQueue> Attaching::answers() { return inForce().answers_; }

Vek::Ptr<RowOwners> Attaching::owners() { return inForce().owners_; }

Attaching const& Attaching::inForce() {
  if (innermost == nullptr) {
    throw std::logic_error(
        "the utilities of the simulated ASIC are made by SoftDevice::attach, and no device is "
        "attaching a table; who wants the utilities of another plug-in sets the plug-in root");
  }
  return *innermost;
}

}  // namespace SoftAsic
