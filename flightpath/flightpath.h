#pragma once

/// flightpath: how far did this radio signal travel?
///
/// Start with `flightpath::Ranger` (ranging/ranger.h): many measurements of one receiver, on every core.
/// `MUSIC::estimateToF` (api/entry/estimate_tof.h) answers one measurement in one call and is the
/// reference; `MUSICLib` (spectrum/estimator.h) does the same with settings and keeps its FFT plans.
/// Everything else is the numeric routines underneath, for callers who want a step by itself.

#include "flightpath/api/distance.h"
#include "flightpath/api/entry/csi.h"
#include "flightpath/api/entry/estimate_tof.h"
#include "flightpath/api/music_parameters.h"
#include "flightpath/api/tof_parameters.h"
#include "flightpath/music/eigen.h"
#include "flightpath/music/likelihood.h"
#include "flightpath/music/music_result.h"
#include "flightpath/music/signal_count.h"
#include "flightpath/music/smoothing.h"
#include "flightpath/music/tof_result.h"
#include "flightpath/ranging/calibration.h"
#include "flightpath/ranging/csi_rows.h"
#include "flightpath/ranging/path.h"
#include "flightpath/ranging/path_set.h"
#include "flightpath/ranging/progress.h"
#include "flightpath/ranging/ranger.h"
#include "flightpath/ranging/ranging_options.h"
#include "flightpath/ranging/tone_presets.h"
#include "flightpath/runtime/array.h"
#include "flightpath/runtime/complex.h"
#include "flightpath/runtime/export.h"
#include "flightpath/runtime/nonfinite.h"
#include "flightpath/runtime/scalar.h"
#include "flightpath/runtime/span.h"
#include "flightpath/spectrum/estimator.h"
#include "flightpath/spectrum/fft_spectrum.h"
#include "flightpath/spectrum/fir_response.h"
#include "flightpath/spectrum/plan_cache.h"
#include "flightpath/spectrum/plan_lookup.h"
#include "flightpath/spectrum/planning_lock.h"
#include "flightpath/spectrum/steering.h"
#include "flightpath/spectrum/steering_spectrum.h"
#include "flightpath/toolbox/grids.h"
#include "flightpath/toolbox/peak_scan.h"
#include "flightpath/toolbox/peaks.h"
#include "flightpath/toolbox/reductions.h"
#include "flightpath/toolbox/run_merging.h"
#include "flightpath/toolbox/sets.h"
#include "flightpath/toolbox/sorting.h"
