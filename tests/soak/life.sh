#!/usr/bin/env bash
# 1,000 (ROUNDS) lives of the runtime under traffic, each with objects that are built and destroyed in it.
# VORN35_SEED: the same again.
VORN35_ROUNDS=${ROUNDS:-1000} exec "$LAB" run -- timeout 600 \
    "$BIN/vorn_net_tests" --gtest_filter='LifeUnderTraffic.*' --gtest_brief=1
