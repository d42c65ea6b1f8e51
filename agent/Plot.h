// A picture of a timeline: entries programmed and parked, and hardware calls, over messages.
//
//   plot(timeline, "examples/streams/forms.0.fpm", "forms.svg");
//
// gnuplot draws it (Debian: gnuplot-nox); it is started when a picture is asked for, and never
// through a shell. One timeline, title and gnuplot give the same file, byte for byte.
//
// Threading: any. Ownership: none.
#pragma once

#include <string>

#include "agent/Timeline.h"

namespace OrviaL3Agent {

// Writes an SVG of 900 x 500 pixels to `path`, in place of what was there. A timeline without
// samples gives empty axes that say so.
//
// Throws std::runtime_error when the file cannot be written (which is found out before gnuplot is
// started), when gnuplot is not installed, or when it fails, with its own words. A file that could
// not be made whole is removed; one that was there before stays as it was until the new picture is
// complete.
void plot(Timeline const& timeline, std::string const& title, std::string const& path);

}  // namespace OrviaL3Agent
