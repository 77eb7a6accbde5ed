#pragma once

#include "flightpath/likelihood/split_rows.h"
#include "tests/support/slow_likelihood.h"

namespace support {

/// The weighted rows of a channel, as the fit takes them.
inline flightpath::SplitRows splitSamples(const SlowLikelihood& model) {
  flightpath::SplitRows rows(static_cast<int>(model.rows.size()),
                             static_cast<int>(model.tones.size()));
  std::size_t i = 0;
  for (const ComplexVector& row : model.rows) {
    for (const Complex z : model.weighted(row)) {
      rows.re[i] = z.real();
      rows.im[i] = z.imag();
      ++i;
    }
  }
  return rows;
}

}  // namespace support
