# What the configuration says to each answer of openblas_get_parallel.
include(${CMAKE_CURRENT_LIST_DIR}/../../cmake/openblas_build.cmake)

function(expect answer pattern)
  flightpath_judge_openblas(${answer} problem)
  if(NOT problem MATCHES "${pattern}")
    message(FATAL_ERROR "answer ${answer}: expected ${pattern}, got \"${problem}\"")
  endif()
endfunction()

expect(1 "^$")
expect(0 "^OpenBLAS is the serial build.*libopenblas-pthread-dev.*FLIGHTPATH_ALLOW_ANY_OPENBLAS=ON$")
expect(2 "^OpenBLAS is the OpenMP build.*libopenblas-pthread-dev.*FLIGHTPATH_ALLOW_ANY_OPENBLAS=ON$")
expect(3 "^OpenBLAS is a build of an unknown kind \\(openblas_get_parallel gives 3\\)")
expect(-1 "^OpenBLAS is a build of an unknown kind \\(openblas_get_parallel gives -1\\)")
