#pragma once

/// Marks what `libflightpath.so` exports. Everything without it is built hidden.
#define FLIGHTPATH_API __attribute__((visibility("default")))
