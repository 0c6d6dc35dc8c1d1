#!/bin/sh
# many_writers.sh WINE_RUN PROGRAM   lets many processes report into one pair of folders and parses every file
set -eu
reports=$(mktemp -d)
trap 'rm -rf "$reports"' EXIT
trap 'exit 1' HUP INT TERM
mkdir "$reports/AgentEvents"
VARNEL_REPORTS="Z:$reports" "$1" "$2" --gtest_filter='ManyWriters.*'
xmllint --noout "$reports"/*/*.xml
