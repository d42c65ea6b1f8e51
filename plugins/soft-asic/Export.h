// Visibility of libOrviaSoftAsic.so: hidden unless marked. Its modules and the agent share one copy
// of it, and with it the simulated devices.
#pragma once

#define SOFT_ASIC_EXPORT __attribute__((visibility("default")))
