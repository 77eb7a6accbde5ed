#pragma once

/// One complex single-precision value, real part first.
///
/// Arrays of it are interleaved (re, im) pairs, the layout that FFT and BLAS libraries take as it
/// stands. The type stays trivial, so that `new creal32_T[n]` is exactly the allocator's block: its
/// 16-byte alignment is part of what the FFT's bits depend on.
struct creal32_T {
  float re;
  float im;
};
