#!/usr/bin/env bash
# Every packet of the test media, and of copies that are wrong as files in the wild are, through the complete component.
#
#   tests/complete/every_packet.sh TOOL FOLDER    the copies are made in the folder
set -eu
here=$(dirname "$0")
"$here/wild_copies.py" "$2"
"$here/compare_packets.py" "$1" "$here"/../media/*.mk[vas] "$here"/../media/*.webm "$2"/*.mk[va]
