# shellcheck shell=bash
# Sourced by tests.

# eventually COMMAND...: repeats the command until it succeeds; false after ten seconds.
eventually() {
  local i
  for ((i = 0; i < 500; i++)); do
    ! "$@" || return 0
    sleep 0.02
  done
  return 1
}
