// Visibility of libOrviaKernelNextHop.so: hidden unless marked. Its modules and the agent share one
// copy of it, and with it the device.
#pragma once

#define KERNEL_NEXTHOP_EXPORT __attribute__((visibility("default")))
