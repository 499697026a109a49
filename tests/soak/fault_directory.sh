#!/usr/bin/env bash
# The directory of names in trouble, and a cable that is out for longer than a name lives.
OUT=1 exec bash "$(dirname "$0")/../scenarios/fault_directory.sh"
