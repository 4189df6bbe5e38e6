# shellcheck shell=bash
# Sourced by the other scripts: where the tree is, how to fail, and how checks are counted.

set -euo pipefail

# shellcheck disable=SC2034
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# How many compilers run at once.
# shellcheck disable=SC2034
JOBS=${JOBS:-$(nproc)}

# One sentence on standard error, and the end. Status 2 is for wrong use.
die() {
  printf '%s: %s\n' "${0##*/}" "$1" >&2
  exit "${2:-1}"
}

# Prints the script's own opening comment when help is asked for, and ends.
help_if_asked() {
  case "${1:-}" in
    -h | --help)
      sed -n '2,/^$/s/^# \{0,1\}//p' "$0"
      exit 0
      ;;
  esac
}

passed=0
failed=0
skipped=0

# check NAME COMMAND...: runs a check, counts it, and shows what it printed only when it failed.
check() {
  local name=$1 output
  shift
  if output=$("$@" 2>&1 </dev/null); then
    printf 'ok      %s\n' "$name"
    passed=$((passed + 1))
  else
    printf 'FAILED  %s\n%s\n' "$name" "$output"
    failed=$((failed + 1))
  fi
}

# Prints the closing line; false when something failed or nothing ran.
report_counts() {
  printf '%d passed, %d failed, %d skipped\n' "$passed" "$failed" "$skipped"
  ((failed == 0 && passed > 0))
}
