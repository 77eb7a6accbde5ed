#include <flightpath/flightpath.h>

#include <complex>
#include <cstdio>

int main() {
  creal32_T samples[64];  // one path of 100 ns over 20 MHz
  for (int k = 0; k < 64; ++k) {
    const std::complex<float> h = std::polar(1.0F, -6.2831853F * 0.03125F * static_cast<float>(k));
    samples[k] = {h.real(), h.imag()};
  }
  const ToFEstimate paths = MUSIC::estimateToF({312500, 64, samples});
  for (const double distance : paths.Distances) {
    std::printf("%.3f m\n", distance);
  }
}
