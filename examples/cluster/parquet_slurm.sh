#!/bin/bash
# Writes the traces that a list names as Parquet, on a cluster of Slurm: each task of the array takes every
# SLURM_ARRAY_TASK_COUNT-th line of the list. A task that is started again passes over what is there already.
#
#   find /archive -name '*.log' | sort > traces.txt
#   sbatch parquet_slurm.sh traces.txt /lake --definitions /archive/drive.dbc
#SBATCH --array=0-99
#SBATCH --cpus-per-task=1
#SBATCH --mem=1G
#SBATCH --requeue
set -euo pipefail
list=$1 lake=$2
shift 2

status=0
line=0
while IFS= read -r trace; do
    if ((line++ % SLURM_ARRAY_TASK_COUNT == SLURM_ARRAY_TASK_ID - SLURM_ARRAY_TASK_MIN)); then
        rksignal-parquet --quiet --skip-existing --output "$lake" --drive "${trace#/}" "$@" "$trace" || status=$?
    fi
done <"$list"
exit "$status"
