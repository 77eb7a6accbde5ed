#include "flightpath/toolbox/detail/plain_matrices.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <utility>

#include "flightpath/runtime/detail/wide_vectors.h"

namespace flightpath::plain {
namespace {

constexpr int mostSweeps = 30;

std::size_t at(int row, int column, int rows) {
  return static_cast<std::size_t>(column) * static_cast<std::size_t>(rows) +
         static_cast<std::size_t>(row);
}

// A function of its own would be compiled for the narrow registers alone.
#define FLIGHTPATH_INLINE __attribute__((always_inline)) inline

using FourRows = double __attribute__((vector_size(32)));

template <class Rows>
FLIGHTPATH_INLINE void load(Rows& rows, const double* from) {
  std::memcpy(&rows, from, sizeof(Rows));
}

/// `count` Rows, of `lanes` rows each, of C := A B for `columns` columns of B, four columns of A at a time. The sums stay in
/// registers, and what is read of A serves all columns.
template <class Rows, int lanes, int count, int columns>
FLIGHTPATH_INLINE void multiplyStrip(int m, int k, const double* A, const double* B, double* C) {
  Rows sums[columns][count] = {};
  int l = 0;
  for (; l + 4 <= k; l += 4) {
    for (int r = 0; r < count; ++r) {
      const double* const a = A + at(r * lanes, l, m);
      Rows a0;
      Rows a1;
      Rows a2;
      Rows a3;
      load(a0, a);
      load(a1, a + m);
      load(a2, a + at(0, 2, m));
      load(a3, a + at(0, 3, m));
      for (int j = 0; j < columns; ++j) {
        const double* const b = B + at(l, j, k);
        sums[j][r] += (a0 * b[0] + a1 * b[1]) + (a2 * b[2] + a3 * b[3]);
      }
    }
  }
  for (; l < k; ++l) {
    for (int r = 0; r < count; ++r) {
      Rows a;
      load(a, A + at(r * lanes, l, m));
      for (int j = 0; j < columns; ++j) {
        sums[j][r] += a * B[at(l, j, k)];
      }
    }
  }
  for (int j = 0; j < columns; ++j) {
    std::memcpy(C + at(0, j, m), sums[j], sizeof(sums[j]));
  }
}

/// These rows of all columns.
template <class Rows, int lanes, int count>
FLIGHTPATH_INLINE void multiplyRows(int m, int n, int k, const double* A, const double* B,
                                    double* C) {
  int j = 0;
  for (; j + 3 <= n; j += 3) {
    multiplyStrip<Rows, lanes, count, 3>(m, k, A, B + at(0, j, k), C + at(0, j, m));
  }
  for (; j < n; ++j) {
    multiplyStrip<Rows, lanes, count, 1>(m, k, A, B + at(0, j, k), C + at(0, j, m));
  }
}

/// The rotation that makes the off-diagonal element of [a, b; b, d] zero.
struct Rotation {
  double c;
  double s;
};

Rotation rotationFor(double a, double b, double d) {
  const double half = 0.5 * (d - a) / b;
  const double t = std::copysign(1.0, half) / (std::fabs(half) + std::sqrt(1.0 + half * half));
  const double c = 1.0 / std::sqrt(1.0 + t * t);
  return {c, t * c};
}

void rotate(Rotation r, double* p, double* q, int count, int stride) {
  for (int i = 0; i < count; ++i) {
    const std::size_t k = at(0, i, stride);
    const double before = p[k];
    p[k] = r.c * before - r.s * q[k];
    q[k] = r.s * before + r.c * q[k];
  }
}

/// One sweep of Jacobi's rotations over all pairs. False: nothing was left to rotate.
bool sweep(int n, double* A, double* V) {
  bool rotated = false;
  for (int q = 1; q < n; ++q) {
    for (int p = 0; p < q; ++p) {
      const double b = A[at(p, q, n)];
      const double a = A[at(p, p, n)];
      const double d = A[at(q, q, n)];
      if (std::fabs(b) <= std::numeric_limits<double>::epsilon() * std::sqrt(std::fabs(a * d))) {
        continue;
      }
      rotated = true;
      const Rotation r = rotationFor(a, b, d);
      rotate(r, A + at(0, p, n), A + at(0, q, n), n, 1);
      rotate(r, A + p, A + q, n, n);
      rotate(r, V + at(0, p, n), V + at(0, q, n), n, 1);
      A[at(p, q, n)] = A[at(q, p, n)] = 0.0;
    }
  }
  return rotated;
}

}  // namespace

double dot(const double* a, const double* b, int n) {
  // Four sums side by side: one alone would wait for itself at every addition.
  double s0 = 0.0;
  double s1 = 0.0;
  double s2 = 0.0;
  double s3 = 0.0;
  int i = 0;
  for (; i + 3 < n; i += 4) {
    s0 += a[i] * b[i];
    s1 += a[i + 1] * b[i + 1];
    s2 += a[i + 2] * b[i + 2];
    s3 += a[i + 3] * b[i + 3];
  }
  for (; i < n; ++i) {
    s0 += a[i] * b[i];
  }
  return (s0 + s1) + (s2 + s3);
}

FLIGHTPATH_WIDE_VECTORS void multiply(int m, int n, int k, const double* A, const double* B,
                                      double* C) {
  int i = 0;
  for (; i + 8 <= m; i += 8) {
    multiplyRows<FourRows, 4, 2>(m, n, k, A + i, B, C + i);
  }
  for (; i < m; ++i) {
    multiplyRows<double, 1, 1>(m, n, k, A + i, B, C + i);
  }
}

bool choleskyFactor(int n, double* A) {
  for (int j = 0; j < n; ++j) {
    double* const column = A + at(0, j, n);
    for (int l = 0; l < j; ++l) {
      const double* const finished = A + at(0, l, n);
      const double factor = finished[j];
      for (int i = j; i < n; ++i) {
        column[i] -= factor * finished[i];
      }
    }
    if (!(column[j] > 0.0)) {
      return false;
    }
    const double scale = 1.0 / std::sqrt(column[j]);
    for (int i = j; i < n; ++i) {
      column[i] *= scale;
    }
  }
  return true;
}

void symmetricEigen(int n, double* A, double* eigenvalues) {
  double V[mostEigen * mostEigen] = {};
  for (int k = 0; k < n; ++k) {
    V[at(k, k, n)] = 1.0;
  }
  for (int i = 0; i < mostSweeps && sweep(n, A, V); ++i) {
  }
  for (int k = 0; k < n; ++k) {
    eigenvalues[k] = A[at(k, k, n)];
  }
  std::copy_n(V, at(0, n, n), A);
  for (int k = 0; k < n; ++k) {
    double* const least = std::min_element(eigenvalues + k, eigenvalues + n);
    std::swap(eigenvalues[k], *least);
    double* const column = A + at(0, k, n);
    std::swap_ranges(column, column + n, A + at(0, static_cast<int>(least - eigenvalues), n));
  }
}

}  // namespace flightpath::plain
