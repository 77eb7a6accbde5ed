# shellcheck shell=bash
# Checks one after another, and a table of them at the end. Sourced from the root of the tree.
#
#   stage <command> ...   runs a check; its last line says what it measured
#   report_stages         prints the table; fails where a stage failed
#
# With stop_at_failure=1 the first failure ends the run. Seconds are those of the clock, and those of
# all processors in sum: where other programs share the machine, only the latter mean anything.

stage_rows=()
stages_failed=0
stage_log=build/stage.log

# Sets `processor_seconds` to what the finished commands have taken so far. Not in a subshell, whose
# own would be counted.
read_processor_seconds() {
  times >"$stage_log.times"
  processor_seconds=$(tail -n 1 "$stage_log.times" |
    awk '{ n = split($0, part, /[ms ]+/); printf "%d", 60 * part[1] + part[2] + 60 * part[3] + part[4] }')
}

stage() {
  local start=$SECONDS before result=passed
  mkdir -p build
  read_processor_seconds
  before=$processor_seconds
  echo
  echo "=== $*"
  "$@" 2>&1 | tee "$stage_log" || result=FAILED
  read_processor_seconds
  local seconds=$((SECONDS - start)) processor=$((processor_seconds - before))
  echo "=== $*: $result in $seconds s, $processor s of processor time"
  stage_rows+=("$(printf '%-6s  %6d  %9d  %s: %s' \
    "$result" "$seconds" "$processor" "$*" "$(tail -n 1 "$stage_log")")")
  if [ "$result" = FAILED ]; then
    stages_failed=$((stages_failed + 1))
    if [ "${stop_at_failure:-0}" -eq 1 ]; then
      report_stages
      exit 1
    fi
  fi
}

report_stages() {
  echo
  echo "result      time  processor  stage: what it measured"
  printf '%s\n' "${stage_rows[@]}"
  echo "=== ${#stage_rows[@]} stages in $SECONDS s, $stages_failed failed"
  [ "$stages_failed" -eq 0 ]
}
