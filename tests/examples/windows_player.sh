#!/usr/bin/env bash
# windows_player.sh TRIPLET BIN MEDIA WORK WINE...: builds the example player by that compiler for Windows and plays a file
# with it, by the component in BIN: first without any registration, then with it, at last by a graph that finds everything
# by itself. In a Wine prefix where nothing of it is registered.
#
# Wine has no decoder for what the file holds, and there is no screen here and no sound card. For a graph of its own making
# the platform's null renderer is therefore entered before all other filters: it takes the frames as they come, at their
# times. What is not tried is what comes behind the component on a real system, decoding and showing.
set -euo pipefail
triplet=$1 bin=$(realpath "$2") media=$(realpath "$3") work=$4
wine=("${@:5}")
tests=$(realpath "$(dirname "$0")")
source=$(realpath "$tests/../../examples/windows_player")
mkdir -p "$work"
player=$work/windows_player.exe renderer=$work/preferred_null_renderer.exe
on_windows() { echo "Z:${1//\//\\}"; }
component=$(on_windows "$bin/vantormkv.ax") file=$(on_windows "$media")
subtitles=$(on_windows "$(dirname "$media")/subtitles.mks")

cmake -S "$source" -B "$work/build" -DCMAKE_SYSTEM_NAME=Windows "-DCMAKE_CXX_COMPILER=$triplet-g++" \
  "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror" "-DCMAKE_RUNTIME_OUTPUT_DIRECTORY=$(realpath "$work")"
cmake --build "$work/build"
"$triplet-g++" -std=c++17 -Wall -Wextra -Werror "$tests/preferred_null_renderer.cpp" -o "$renderer" -static \
  -lstrmiids -lole32 -luuid

fail() { echo "$*" >&2; exit 1; }

# play FROM WORDS...: what the player says, from that second on: every line of it in its order, the state in each, positions
# that never fall and reach the end of the 2 seconds.
play() {
  local from=$1 said
  shift
  said=$(timeout 120 "${wine[@]}" "$player" "$file" "$@" | tr -d '\r')
  echo "$said"
  awk -v from="$from" '
    function wanted(text) { if ($0 != text) { print "instead of " text ": " $0; exit failed = 1 } }
    NR == 1 { wanted("AVC video 1: rendered") }
    NR == 2 { wanted("AAC audio 1: rendered") }
    NR == 3 { wanted("duration: 2.080 s") }
    NR == 4 && from { wanted("playing from " from ".000 s"); next }
    NR > 3 && !complete && /^running at [0-9.]+ s$/ { running++; falling += $3 < at; at = $3; early += at < from; next }
    NR > 3 && !complete { wanted("complete"); complete = NR; next }
    NR > 3 && NR == complete + 1 { falling += $3 < at; at = $3; wanted("running at " at " s") }
    NR > 3 && NR == complete + 2 && /^stopped at [0-9.]+ s$/ { stopped = NR }
    END { exit failed || !running || falling || early || at < 1.9 || stopped != NR }' <<<"$said" ||
    fail "that is not what playing from $from s looks like"
}

# refused TEXT FILE WORDS...: the player ends with an error that begins so.
refused() {
  local text=$1 said status=0
  shift
  said=$(timeout 60 "${wine[@]}" "$player" "$@" 2>&1 >/dev/null) || status=$?
  if [ "$status" -ne 1 ] || ! grep "^windows_player: $text" <<<"$said"; then fail "refused $* with $status: $said"; fi
}

take_back() {
  timeout 60 "${wine[@]}" "$renderer" remove || true
  timeout 60 "${wine[@]}" regsvr32 /u /s "$component"
}

play 0 --null --component "$component"
play 1 --null --component "$component" --seek 1
refused "the component is not registered" "$file" --null
trap take_back EXIT
timeout 60 "${wine[@]}" "$renderer" enter
refused "the graph cannot render the file" "$file"

timeout 60 "${wine[@]}" regsvr32 /s "$component"
play 1 --null --seek 1
play 0
play 1 --seek 1
# Their pins wait for somebody who connects them by hand.
refused "nothing to play" "$subtitles"
