#include "flightpath/api/distance.h"

#include <algorithm>

#include "flightpath/api/detail/distance.h"
#include "flightpath/api/detail/speed_of_light.h"
#include "flightpath/runtime/detail/view.h"

namespace {

using flightpath::asRow;
using flightpath::setRow;
using flightpath::speedOfLight_mps;
using flightpath::toDistance;

}  // namespace

float distance2NF(float d, float df) { return (d * df) / speedOfLight_mps; }

void distance2NF(const coder::array<float, 2>& d, float df, coder::array<float, 2>& nf) {
  setRow(nf, asRow(d));
  std::ranges::transform(nf, nf.begin(), [df](float v) { return distance2NF(v, df); });
}

void nf2Distance(const coder::array<float, 2>& nf, float df, coder::array<float, 2>& d) {
  setRow(d, asRow(nf));
  std::ranges::transform(d, d.begin(), [df](float v) { return toDistance(v, df); });
}

void b_nf2Distance(const coder::array<float, 2>& nf, float df, coder::array<float, 2>& d) {
  d.set_size(nf.size[0], nf.size[1]);
  std::transform(nf.begin(), nf.end(), d.data, [df](float v) { return toDistance(v, df); });
}
