#!/usr/bin/env bash
# 1,000 lives of the runtime under traffic, each with objects that are built and destroyed in it. VORN35_SEED: the same again.
set -euo pipefail

if [[ ${1:-} != inside ]]; then
    exec "$LAB" run --hosts 1 -- bash "$0" inside
fi
VORN35_ROUNDS=1000 timeout 600 "$BIN/vorn_net_tests" --gtest_filter='LifeUnderTraffic.*' --gtest_brief=1
