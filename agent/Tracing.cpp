#include "agent/Tracing.h"

#include <fmt/format.h>

#include <cstdio>
#include <string_view>

#include "Fendrel/RingReader.h"
#include "Fendrel/TraceFile.h"
#include "Vek/TraceHandle.h"

namespace OrviaL3Agent {

Tracing::Tracing(AgentOptions const& options) {
  if (!options.ringFile.empty()) {
    ring_ = Fendrel::TraceHandle::singleFile(Fendrel::TraceFile::open(options.ringFile));
    Fendrel::defaultTraceHandleIs(ring_.get());
  }
  if (options.traceLevel) {
    auto const level = static_cast<Vek::TraceFacility::FacilityLevel>(*options.traceLevel);
    Vek::traceLevelsUpToIs("*", level, true);
  }
}

Tracing::~Tracing() {
  Vek::traceLevelDelAll();
  if (ring_) Fendrel::defaultTraceHandleIs(nullptr);
}

int printRing(RingOptions const& options) {
  Fendrel::RingSummary const summary = Fendrel::RingReader::readFile(
      options.file, [](std::string_view line) { fmt::print("{}\n", line); });
  if (summary.dropped > 0) {
    fmt::print(stderr, "orvia-l3-agent: {}: {} records were dropped while it was written\n",
               options.file, summary.dropped);
  }
  if (summary.error.empty()) return kExitOk;
  std::fflush(stdout);
  fmt::print(stderr, "orvia-l3-agent: {}\n", summary.error);
  return kExitStreamError;
}

}  // namespace OrviaL3Agent
