#!/usr/bin/env bash
# What docs/lost.md tells, measured.
set -euo pipefail

exec "$LAB" run --hosts 1 -- timeout 300 "$BIN/lost"
