#!/usr/bin/env bash
# Twenty clients, each on a host of its own, of a service that is killed ten times.
KILLS=10 CLIENTS=20 exec bash "$(dirname "$0")/../scenarios/fault_restart.sh"
