#!/bin/sh
# run_gtest.sh COMMAND...   runs a GoogleTest program; fails unless its status is 0 and it says that tests have passed. A
# program can crash with status 0.
output=$(mktemp) || exit 1
trap 'rm -f "$output"' EXIT
{
  status=0
  "$@" 2>&1 || status=$?
  echo "status: $status"
} | tee "$output"
tail -n 1 "$output" | grep -q 'status: 0$' && grep -q '^\[  PASSED  \] [1-9]' "$output"
