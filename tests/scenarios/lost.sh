#!/usr/bin/env bash
# 5,000 blocking calls one behind the other: all are answered but few whose waits ran to their limits, and none where it
# counts (examples/sure_call.h).
exec "$LAB" run -- "$BIN/lost" waits
