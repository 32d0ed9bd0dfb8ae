#!/usr/bin/env bash
# windows_player.sh TRIPLET BIN MEDIA WORK WINE...: builds the example player by that compiler for Windows and plays a file
# with it, by the component in BIN: first without any registration, then with it. In a Wine prefix where nothing of it is
# registered.
set -euo pipefail
triplet=$1 bin=$(realpath "$2") media=$(realpath "$3") work=$4
wine=("${@:5}")
source=$(realpath "$(dirname "$0")/../../examples/windows_player")
mkdir -p "$work"
player=$work/windows_player.exe
component="Z:${bin//\//\\}\\vantormkv.ax" file="Z:${media//\//\\}"

cmake -S "$source" -B "$work/build" -DCMAKE_SYSTEM_NAME=Windows "-DCMAKE_CXX_COMPILER=$triplet-g++" \
  "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror" "-DCMAKE_RUNTIME_OUTPUT_DIRECTORY=$(realpath "$work")"
cmake --build "$work/build"

# play WORDS...: what the player says, which must end with the end of the stream.
play() {
  local said
  said=$(timeout 120 "${wine[@]}" "$player" "$file" --null "$@" | tr -d '\r')
  echo "$said"
  [ "$(tail -n 1 <<<"$said")" = complete ]
  grep -q '^AVC video 1: rendered$' <<<"$said"
  grep -q '^AAC audio 1: rendered$' <<<"$said"
}

play --component "$component"
play --component "$component" --seek 1 | grep 'playing from 1.000 s'
if timeout 60 "${wine[@]}" "$player" "$file" --null; then
  echo "played without a component" >&2
  exit 1
fi
timeout 60 "${wine[@]}" regsvr32 /s "$component"
trap 'timeout 60 "${wine[@]}" regsvr32 /u /s "$component"' EXIT
play --seek 1
