#!/usr/bin/env bash
# The scenario of its name, for as long as wanted.
SECONDS_LONG=$((${SOAK_MINUTES:-30} * 60)) RATE=200 exec bash "$(dirname "$0")/../scenarios/six_kinds.sh"
