#include <gtest/gtest.h>

#include "flightpath/toolbox/detail/blas.h"

/// BLAS results depend on its thread count: tests compare bits with the one thread that the entry
/// point sets.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  flightpath::blas::useOneThread();
  return RUN_ALL_TESTS();
}
