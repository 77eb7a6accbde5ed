#include "flightpath/ranging/detail/formed_signals.h"

#include "flightpath/ranging/detail/real_covariance.h"
#include "flightpath/ranging/detail/real_gram.h"

namespace flightpath {
namespace {

/// One row's covariance has rank 2K, so its Gram matrix is smaller; that of several has rank L.
std::unique_ptr<RealForm> makeForm(int N, int L, int numRows) {
  if (numRows == 1) {
    return std::make_unique<RealGram>(N, L);
  }
  return std::make_unique<RealCovariance>(N, L);
}

}  // namespace

FormedSignals::FormedSignals(int N, int L, int numRows)
    : form_(makeForm(N, L, numRows)), space_(form_->order(), L, numRows) {}

int FormedSignals::count(const SampleBlock& samples) {
  form_->form(samples);
  return space_.count(form_->matrix());
}

int FormedSignals::take(const SampleBlock& samples, int wanted) {
  form_->form(samples);
  return space_.take(form_->matrix(), wanted);
}

void FormedSignals::eigenvector(int k, std::span<double> re, std::span<double> im) {
  form_->eigenvector(space_.vector(k), space_.value(k), re, im);
}

}  // namespace flightpath
