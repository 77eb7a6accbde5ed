# shellcheck shell=bash
# The builds of CMakePresets.json, which the checks share: what one of them has built, the next finds
# there. Sourced from the root of the tree.

# build_preset <preset> [-D<option>=<value> ...] [target ...]: configures build/<preset> and builds the
# targets, or all of them. Its log is printed where that fails.
build_preset() {
  local preset=$1 log=build/$1.log options=() targets=()
  shift
  while [[ ${1:-} == -D* ]]; do
    options+=("$1")
    shift
  done
  if [ $# -gt 0 ]; then
    targets=(--target "$@")
  fi
  mkdir -p build
  {
    cmake --preset "$preset" "${options[@]}" && cmake --build --preset "$preset" "${targets[@]}"
  } >"$log" 2>&1 || {
    cat "$log"
    return 1
  }
}
