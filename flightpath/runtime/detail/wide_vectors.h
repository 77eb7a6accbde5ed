#pragma once

/// Before a function whose loops treat every element alike: compiled a second time, for registers of 256
/// bits, and chosen when the library is loaded. The bits stay the same, since operations keep their order and
/// none are fused. At N = 242 the Ranger takes a fifth less time.
///
/// The choice is made before a sanitizer has started, which ends the program.
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__) && defined(__gnu_linux__) && \
    !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define FLIGHTPATH_WIDE_VECTORS __attribute__((target_clones("avx2", "default")))
#else
#define FLIGHTPATH_WIDE_VECTORS
#endif
