#!/bin/sh
# Stands in for the archiver in the unit tests: tells its arguments, one a line, and fails.
printf '%s\n' "$@" >&2
exit 1
