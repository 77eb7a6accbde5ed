# Which builds of OpenBLAS flightpath is made for.

# flightpath_judge_openblas(<answer> <out>): what is wrong with the build whose openblas_get_parallel
# gives this answer; empty for the one that is supported.
function(flightpath_judge_openblas answer out)
  if(answer EQUAL 1)
    set(${out} "" PARENT_SCOPE)
    return()
  elseif(answer EQUAL 0)
    set(kind "the serial build, whose calls give wrong numbers where threads meet in it")
  elseif(answer EQUAL 2)
    set(kind "the OpenMP build, whose thread count and work space are not safe where threads meet in it")
  else()
    set(kind "a build of an unknown kind (openblas_get_parallel gives ${answer})")
  endif()
  string(CONCAT problem
    "OpenBLAS is ${kind}. flightpath is made for the build with threads of its own.\n"
    "On Debian or Ubuntu: apt-get install libopenblas-pthread-dev, and choose it with "
    "update-alternatives or -DFLIGHTPATH_OpenBLAS_LIBRARY=<path of its libopenblas.so>\n"
    "To build all the same, with calls into it that take turns: -DFLIGHTPATH_ALLOW_ANY_OPENBLAS=ON")
  set(${out} "${problem}" PARENT_SCOPE)
endfunction()

# flightpath_ask_openblas(<library> <out>): runs a program that asks the library; empty where it cannot
# be asked.
function(flightpath_ask_openblas library out)
  set(${out} "" PARENT_SCOPE)
  if(CMAKE_CROSSCOMPILING)
    return()
  endif()
  set(source ${PROJECT_BINARY_DIR}/CMakeFiles/ask_openblas.cpp)
  file(WRITE ${source}
    "#include <cstdio>\n"
    "extern \"C\" int openblas_get_parallel();\n"
    "int main() { return std::printf(\"parallel:%d\", openblas_get_parallel()) < 0; }\n")
  # Asked each time: the library behind the name may have been exchanged since.
  unset(flightpath_openblas_exit CACHE)
  unset(flightpath_openblas_compiles CACHE)
  try_run(flightpath_openblas_exit flightpath_openblas_compiles
    ${PROJECT_BINARY_DIR}/CMakeFiles/ask_openblas ${source}
    LINK_LIBRARIES ${library} RUN_OUTPUT_VARIABLE printed)
  # Whatever else the library prints while it is loaded stands around the answer.
  if(flightpath_openblas_compiles AND printed MATCHES "parallel:(-?[0-9]+)")
    set(${out} ${CMAKE_MATCH_1} PARENT_SCOPE)
  endif()
endfunction()

# flightpath_check_openblas(<library>): stops where the library is of a build that is not supported.
function(flightpath_check_openblas library)
  flightpath_ask_openblas(${library} answer)
  if(answer STREQUAL "")
    message(STATUS "OpenBLAS: could not be asked how it was built")
    return()
  endif()
  flightpath_judge_openblas(${answer} problem)
  if(NOT problem)
    message(STATUS "OpenBLAS: the build with threads of its own")
  elseif(FLIGHTPATH_ALLOW_ANY_OPENBLAS)
    message(WARNING "${problem}")
  else()
    message(FATAL_ERROR "${problem}")
  endif()
endfunction()
