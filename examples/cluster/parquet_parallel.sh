#!/bin/bash
# Writes all traces below a folder as Parquet, one process a processor (GNU parallel): what is there already is passed
# over, so that it can be run again after a failure. What failed is listed in LAKE.jobs.
#
#   parquet_parallel.sh ARCHIVE LAKE [OPTION OF rksignal-parquet...]
set -euo pipefail
archive=$(realpath "$1") lake=$2
shift 2

one() { # ARCHIVE LAKE TRACE [OPTION...]
    local name=${3#"$1"/}
    rksignal-parquet --quiet --skip-existing --output "$2" --drive "$name" "${@:4}" "$3"
}
export -f one
find "$archive" -type f -print0 | sort -z |
    SHELL=/bin/bash parallel --null --resume-failed --joblog "$lake.jobs" \
        one "$(printf %q "$archive")" "$(printf %q "$lake")" {} "$(printf '%q ' "$@")"
