#!/usr/bin/env bash
# What docs/lost.md tells, measured.
exec "$LAB" run -- timeout 300 "$BIN/lost"
