#pragma once

namespace flightpath {

/// Whether the closed form answers: for exactly one signal, where it is allowed. A NaN count is
/// never 1.
inline bool takesClosedForm(float numSignals, bool allowed) {
  return numSignals == 1.0F && allowed;
}

}  // namespace flightpath
