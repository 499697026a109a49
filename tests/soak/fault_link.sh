#!/usr/bin/env bash
# A cable that is out for ten seconds.
OUT=10 exec bash "$(dirname "$0")/../scenarios/fault_link.sh"
