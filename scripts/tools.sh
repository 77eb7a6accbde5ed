# shellcheck shell=bash
# Which tools of LLVM the scripts call. Sourced from the root of the tree.

# llvm_tool <name>: prints the command of clang++, clang-format, clang-tidy, llvm-cov, llvm-profdata.
#
# What the distribution calls so comes first, as all of its tools are of one version; where there is
# none, the newest that is installed under a versioned name. LLVM_VERSION=<number> asks for a version.
llvm_tool() {
  local found
  if [ -n "${LLVM_VERSION:-}" ]; then
    found=$(command -v "$1-$LLVM_VERSION" || true)
  elif ! found=$(command -v "$1"); then
    found=$(compgen -c "$1-" | grep -E -- '-[0-9]+$' | sort -V | tail -n 1 || true)
  fi
  if [ -z "$found" ]; then
    echo "-- $1${LLVM_VERSION:+-$LLVM_VERSION} is not installed: scripts/install-packages check" >&2
    return 1
  fi
  echo "$found"
}
