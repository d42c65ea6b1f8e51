// What the client makes of an answer: text for people, or one JSON document.
//
//   auto output = textOutput();           // or jsonOutput(), jsonLinesOutput()
//   output->messageIs(message);           // as they come: see ControlServer.h
//   return output->end();
//
// Text: a table is aligned, with headings in upper case and numbers to the right; it is printed
// when all its rows are there. JSON: rows are printed as they come.
//
// Threading: one thread. Ownership: plain; writes to standard output.
#pragma once

#include <memory>

#include "agent/control/Job.h"

namespace OrviaL3Agent::Control {

class Output {
 public:
  virtual ~Output() = default;
  // Throws std::exception for what is no message of an answer.
  virtual void messageIs(Json const& message) = 0;
  // Nothing comes any more, be it that something should have. Returns the exit code.
  virtual int end() = 0;
};

[[nodiscard]] std::unique_ptr<Output> textOutput();
// {"TABLE": [{COLUMN: value, ...}, ...], "OBJECT": {...}, "lines": [...]}
[[nodiscard]] std::unique_ptr<Output> jsonOutput();
// A document for each message, for an answer that has no end: {"line": "..."}
[[nodiscard]] std::unique_ptr<Output> jsonLinesOutput();
// The lines are a graph, which becomes a picture.
[[nodiscard]] std::unique_ptr<Output> svgOutput();

}  // namespace OrviaL3Agent::Control
