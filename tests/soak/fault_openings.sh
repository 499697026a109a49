#!/usr/bin/env bash
# Strangers at a service's port; the slow one sends a byte a second.
LEAST=90 DRIP=1 exec bash "$(dirname "$0")/../scenarios/fault_openings.sh"
