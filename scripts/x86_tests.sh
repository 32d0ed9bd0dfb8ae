# shellcheck shell=bash disable=SC2154  # sourced by ./test, whose names these are
# The x86 build at work, under Wine in a root of 32 bits (scripts/i386_root). Sourced by ./test, run by nobody.
#
#   start_i386_root      begins to make the root, beside whatever comes next: it mostly waits for the network
#   i386_root_made       waits for it; false, with a line, where there is none
#   x86_tests            runs everything there is for that build
#
# The root is kept for the next run; it goes with the folder build/, as everything there.

i386_root=build/i386
x86_wine=/usr/lib/wine/wine

start_i386_root() {
  # In the foreground: apt does one thing at a time.
  [ "$(id -u)" -ne 0 ] || need_packages debootstrap >/dev/null
  scripts/i386_root "$i386_root" >"$logs/i386-root.log" 2>&1 </dev/null &
  i386_root_maker=$!
}

# COMMAND...: with what it takes for the Wine in the root; "enter COMMAND..." inside that runs one in it.
for_wine_x86() {
  in_wine env WINEPREFIX="$PWD/$builds/wine-x86" WINEARCH=win32 "$@"
}
enter=(scripts/i386_root "$i386_root" --run)

x86_program() {  # PROGRAM [GTEST OPTION...]
  for_wine_x86 timeout 300 "${enter[@]}" "$x86_wine" "$@"
}

# As ready_wine.
ready_wine_x86() {
  x86_program reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f &&
    for_wine_x86 timeout 60 "${enter[@]}" /usr/lib/wine/wineserver32 -w
}

# The installer for 32-bit Windows in the root, then, with a word, that for 64-bit Windows where both kinds of programs run;
# beside other tests, since most of the time one program waits for another.
x86_installer_tests() {  # [WORD]
  timeout 600 tests/installer/installer_test.py --x86 "$i386_root" "$builds"/windows-x64 "$builds"/windows-x86 \
    "$builds"/installer-x86 "$builds"/installer-x86.xml "${words[@]}"
  local status=$?
  [ -n "$1" ] || return "$status"
  timeout 600 tests/installer/installer_test.py --both "$i386_root" --packages "$builds"/installer-x86/packages \
    "$builds"/windows-x64 "$builds"/windows-x86 "$builds"/installer-both "$builds"/installer-both.xml "${words[@]}" || status=1
  return "$status"
}

i386_root_made() {
  wait "$i386_root_maker" && return
  echo "   $(tail -n 1 "$logs/i386-root.log"): programs and installers for x86 were built but not run."
  return 1
}

x86_tests() {
  local start=$SECONDS both='' installers='' outcomes=("$builds/installer-x86.xml")
  suite "Windows programs and installers of 32 bits, under Wine"
  check "Wine of 32 bits" ready_wine_x86 || return
  if [ "${x64_built-no}" = yes ] && [ -z "$(missing_packages wine64 "${package_packages[@]}")" ]; then
    rm -f "$builds"/installer-{x86,both}.xml
    if scripts/i386_root "$i386_root" --both true 2>"$logs/i386-both.log"; then
      both=yes
      outcomes+=("$builds/installer-both.xml")
    else
      echo "   $(tail -n 1 "$logs/i386-both.log"): the x64 installer was not tried with programs of 32 bits."
    fi
    x86_installer_tests "$both" >"$logs/installer-x86.log" 2>&1 </dev/null &
    installers=$!
  fi
  wine_tests windows-x86 x86_program
  check "vantor-mkv.exe for x86 lists what the native tool lists" for_wine_x86 scripts/compare_listings \
    "$builds/release/bin/vantor-mkv" tests/media/*.mk[vas] tests/media/*.webm -- \
    "${enter[@]}" "$x86_wine" "$builds/windows-x86/bin/vantor-mkv.exe"
  [ -n "$filter" ] || check "example player for x86 under Wine" for_wine_x86 tests/examples/windows_player.sh \
    i686-w64-mingw32 "$builds/windows-x86/bin" tests/media/avc_aac.mkv "$builds/windows_player-x86" "${enter[@]}" "$x86_wine"
  for_wine_x86 timeout 30 "${enter[@]}" /usr/lib/wine/wineserver32 -k
  if [ -z "$installers" ]; then
    echo "   The x64 build, its Wine or NSIS is not to be had here: the installers were not tried with programs of 32 bits."
    return
  fi
  wait "$installers" || { echo "   the end of $logs/installer-x86.log:"; tail -n 60 "$logs/installer-x86.log" | sed 's/^/   | /'; }
  tally "installer tests with programs of 32 bits" $((SECONDS - start)) "${outcomes[@]}"
}
