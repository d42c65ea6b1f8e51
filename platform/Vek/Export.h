// Visibility of the platform's shared object.
//
// Every shared object of the project is built with hidden visibility; what crosses a boundary says
// so with this macro. There is no import half: ELF needs none.
#pragma once

#define VEK_EXPORT __attribute__((visibility("default")))
