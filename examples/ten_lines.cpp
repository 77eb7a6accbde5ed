#include <flightpath/flightpath.h>

#include <complex>
#include <cstdio>
#include <vector>

int main() {
  std::vector<std::complex<float>> csi(64);  // one path of 100 ns over 20 MHz
  for (std::size_t k = 0; k < csi.size(); ++k) {
    csi[k] = std::polar(1.0F, -6.2831853F * 0.03125F * static_cast<float>(k));
  }
  flightpath::RangingOptions options;
  options.SubcarrierSpacing = 312500;      // hertz
  flightpath::Ranger ranger(64, options);  // keep it: it keeps its plans and work space
  const flightpath::PathSet found = ranger.estimate(csi);
  for (const flightpath::Path path : found[0]) {
    std::printf("%.3f m\n", path.Distance_m);
  }
}
