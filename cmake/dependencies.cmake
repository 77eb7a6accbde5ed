# The foreign libraries. Each is found here, and named by its Debian and Ubuntu package when it is
# missing.

# flightpath_require(<target> HEADER <name> LIBRARY <name> PACKAGE <package> [SUFFIXES <dir>...])
#
# Makes the imported target flightpath_deps::<target>, or stops with the package to install.
function(flightpath_require target)
  cmake_parse_arguments(arg "" "HEADER;LIBRARY;PACKAGE" "SUFFIXES" ${ARGN})
  find_path(FLIGHTPATH_${target}_INCLUDE_DIR ${arg_HEADER} PATH_SUFFIXES ${arg_SUFFIXES})
  find_library(FLIGHTPATH_${target}_LIBRARY ${arg_LIBRARY} PATH_SUFFIXES ${arg_SUFFIXES})
  if(NOT FLIGHTPATH_${target}_INCLUDE_DIR OR NOT FLIGHTPATH_${target}_LIBRARY)
    message(FATAL_ERROR
      "flightpath needs ${target} (${arg_HEADER} and lib${arg_LIBRARY}), which was not found.\n"
      "On Debian or Ubuntu: apt-get install ${arg_PACKAGE}")
  endif()
  mark_as_advanced(FLIGHTPATH_${target}_INCLUDE_DIR FLIGHTPATH_${target}_LIBRARY)
  add_library(flightpath_deps::${target} UNKNOWN IMPORTED)
  set_target_properties(flightpath_deps::${target} PROPERTIES
    IMPORTED_LOCATION "${FLIGHTPATH_${target}_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${FLIGHTPATH_${target}_INCLUDE_DIR}")
endfunction()

flightpath_require(FFTW HEADER fftw3.h LIBRARY fftw3f PACKAGE libfftw3-dev)
flightpath_require(FFTWDouble HEADER fftw3.h LIBRARY fftw3 PACKAGE libfftw3-dev)
# OpenBLAS keeps its own cblas.h beside those of other BLAS libraries: only its own declares
# openblas_set_num_threads.
flightpath_require(OpenBLAS HEADER cblas.h LIBRARY openblas PACKAGE libopenblas-dev
  SUFFIXES openblas-pthread openblas-openmp openblas-serial openblas)
include(${CMAKE_CURRENT_LIST_DIR}/openblas_build.cmake)
flightpath_check_openblas(${FLIGHTPATH_OpenBLAS_LIBRARY})
flightpath_require(LAPACKE HEADER lapacke.h LIBRARY lapacke PACKAGE liblapacke-dev)
# Its complex type must be C++'s std::complex, not the _Complex of C.
target_compile_definitions(flightpath_deps::LAPACKE INTERFACE LAPACK_COMPLEX_CPP)

if(FLIGHTPATH_BUILD_TESTS)
  find_package(GTest QUIET)
  if(NOT GTest_FOUND)
    message(FATAL_ERROR
      "flightpath's tests need GoogleTest, which was not found.\n"
      "On Debian or Ubuntu: apt-get install libgtest-dev\n"
      "Without tests: -DFLIGHTPATH_BUILD_TESTS=OFF")
  endif()
endif()
