#include "flightpath/likelihood/hermitian_factor.h"

#include <algorithm>
#include <cmath>

namespace flightpath {

bool HermitianFactor::factor(int n, double leastPivot) {
  HermitianFactor& L = *this;
  for (int j = 0; j < n; ++j) {
    double pivot = L(j, j).real();
    for (int l = 0; l < j; ++l) {
      pivot -= std::norm(L(j, l));
    }
    if (!(pivot > leastPivot)) {
      return false;
    }
    const double root = std::sqrt(pivot);
    L(j, j) = root;
    for (int i = j + 1; i < n; ++i) {
      Complex sum = L(i, j);
      for (int l = 0; l < j; ++l) {
        sum -= conjugateTimes(L(j, l), L(i, l));
      }
      L(i, j) = sum / root;
    }
  }
  return true;
}

void HermitianFactor::solveLower(int n, Complex* b) const {
  const HermitianFactor& L = *this;
  for (int i = 0; i < n; ++i) {
    for (int l = 0; l < i; ++l) {
      b[i] -= times(L(i, l), b[l]);
    }
    b[i] /= L(i, i).real();
  }
}

void HermitianFactor::solveUpper(int n, Complex* b) const {
  const HermitianFactor& L = *this;
  for (int i = n - 1; i >= 0; --i) {
    for (int l = i + 1; l < n; ++l) {
      b[i] -= conjugateTimes(L(l, i), b[l]);
    }
    b[i] /= L(i, i).real();
  }
}

double HermitianFactor::inverseDiagonal(int n, int p, Complex* work) const {
  std::fill_n(work, n, Complex());
  work[p] = 1.0;
  solveLower(n, work);
  double sum = 0.0;
  for (int i = p; i < n; ++i) {
    sum += std::norm(work[i]);
  }
  return sum;
}

}  // namespace flightpath
