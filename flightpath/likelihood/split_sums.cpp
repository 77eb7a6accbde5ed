#include "flightpath/likelihood/split_sums.h"

namespace flightpath {
namespace {

constexpr int lanes = 2;

/// Sums of `count` values per element, where term(k, add) calls add(which, value) for each of them.
template <int count>
class Sums {
 public:
  template <class Term>
  Sums(int n, Term term) {
    int k = 0;
    for (; k + lanes <= n; k += lanes) {
      for (int lane = 0; lane < lanes; ++lane) {
        term(k + lane, sums_[lane]);
      }
    }
    for (; k < n; ++k) {
      term(k, sums_[0]);
    }
  }

  double operator[](int which) const { return sums_[0][which] + sums_[1][which]; }
  Complex complex(int which) const { return {(*this)[which], (*this)[which + 1]}; }

 private:
  double sums_[lanes][count] = {};
};

double realPart(SplitVector a, SplitVector b, int k) {
  return a.re[k] * b.re[k] + a.im[k] * b.im[k];
}

double imaginaryPart(SplitVector a, SplitVector b, int k) {
  return a.re[k] * b.im[k] - a.im[k] * b.re[k];
}

}  // namespace

Complex conjugateDot(int n, SplitVector a, SplitVector b) {
  const Sums<2> sums(n, [=](int k, double* sum) {
    sum[0] += realPart(a, b, k);
    sum[1] += imaginaryPart(a, b, k);
  });
  return sums.complex(0);
}

Complex conjugateDot(int n, const double* c, SplitVector a, SplitVector b) {
  const Sums<2> sums(n, [=](int k, double* sum) {
    sum[0] += c[k] * realPart(a, b, k);
    sum[1] += c[k] * imaginaryPart(a, b, k);
  });
  return sums.complex(0);
}

Moments conjugateMoments(int n, const double* c, SplitVector a, SplitVector b) {
  const Sums<6> sums(n, [=](int k, double* sum) {
    const double re = realPart(a, b, k);
    const double im = imaginaryPart(a, b, k);
    sum[0] += re;
    sum[1] += im;
    sum[2] += c[k] * re;
    sum[3] += c[k] * im;
    sum[4] += c[k] * (c[k] * re);
    sum[5] += c[k] * (c[k] * im);
  });
  return {sums.complex(0), sums.complex(2), sums.complex(4)};
}

void subtractMultiple(int n, Complex x, SplitVector a, double* re, double* im) {
  for (int k = 0; k < n; ++k) {
    re[k] -= a.re[k] * x.real() - a.im[k] * x.imag();
    im[k] -= a.re[k] * x.imag() + a.im[k] * x.real();
  }
}

double energy(int n, SplitVector a) {
  const Sums<1> sums(n, [=](int k, double* sum) { sum[0] += realPart(a, a, k); });
  return sums[0];
}

}  // namespace flightpath
