#!/usr/bin/env bash
# One peer of twenty-one that stands still for ten seconds.
LEAST=90 STILL=10 OTHERS=20 SIZE=20000 exec bash "$(dirname "$0")/../scenarios/fault_stopped.sh"
