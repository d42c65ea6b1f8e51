// Visibility of libOrviaL3Unicast.so: hidden unless marked. The exported symbols are pinned by a
// test, so a new mark shows up in review as a changed baseline.
#pragma once

#define ORVIA_L3_EXPORT __attribute__((visibility("default")))
