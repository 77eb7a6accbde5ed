#include "flightpath/rules/default_settings.h"

#include "flightpath/api/tof_parameters.h"

namespace flightpath {

void setDefaults(float numSubcarriers, float spacing_Hz, ToFEstimationParameters& parameters) {
  parameters.NumSubcarriers = numSubcarriers;
  parameters.SubcarrierSpacing = spacing_Hz;
  parameters.ForceClassic = 0;
  parameters.OptPhaseSlopeForOneSignalCase = 1;
  parameters.MeasurementContinual = 1;
}

}  // namespace flightpath
