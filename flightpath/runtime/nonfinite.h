#pragma once

#include "flightpath/runtime/export.h"

/// The non-finite constants of the library. The NaNs are the quiet ones with an empty payload.
extern FLIGHTPATH_API const double rtInf;
extern FLIGHTPATH_API const double rtMinusInf;
extern FLIGHTPATH_API const double rtNaN;
extern FLIGHTPATH_API const float rtInfF;
extern FLIGHTPATH_API const float rtMinusInfF;
extern FLIGHTPATH_API const float rtNaNF;

FLIGHTPATH_API double rtGetInf();
FLIGHTPATH_API double rtGetMinusInf();
FLIGHTPATH_API double rtGetNaN();
FLIGHTPATH_API float rtGetInfF();
FLIGHTPATH_API float rtGetMinusInfF();
FLIGHTPATH_API float rtGetNaNF();
