#pragma once

// Everything is built with hidden visibility; the classes and functions that
// users of the shared library call are marked with this macro.
#define OND_EXPORT __attribute__((visibility("default")))
