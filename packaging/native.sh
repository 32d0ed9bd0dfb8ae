# shellcheck shell=bash disable=SC2154  # what ./package says
# The packages of the native build: for Debian, and as an archive to be unpacked anywhere. Sourced by ./package, which says
# what is to be done in $out (where to), $staging (where things are put together), $name and $version.
#
#   pack_native TREE
#
# The tree is configured for the prefix /usr. Debian's packages are three, as its conventions want them: the tool with the
# components, the library that programs of others are linked with, and what these are built with.

architecture=$(dpkg --print-architecture 2>/dev/null || uname -m)
machine=$(uname -m)

# keep_symbols TOOL_PREFIX FILE WHAT: keeps a binary's symbols for debuggers, which find them by its build id, and notes
# which binary that is the id of.
keep_symbols() {
  local id
  id=$(build_id "$@")
  [ -n "$id" ] || { echo "$0: $2 has no build id" >&2; return 1; }
  mkdir -p "$staging/symbols/.build-id/${id:0:2}"
  "$1objcopy" --only-keep-debug "$2" "$staging/symbols/.build-id/${id:0:2}/${id:2}.debug"
  chmod 644 "$staging/symbols/.build-id/${id:0:2}/${id:2}.debug"
  echo "$id  $3" >>"$staging/symbols/BUILD-IDS"
}

build_id() {  # TOOL_PREFIX FILE
  case "$2" in
    *.ax | *.exe) "$1objdump" -p "$2" | sed -n 's/^(format RSDS signature \([0-9a-f]*\).*/\1/p' ;;
    *) readelf -n "$2" | sed -n 's/^ *Build ID: //p' ;;
  esac
}

# Everything that lies in the folders has the date of the sources, and rights that do not depend on who packs.
settle() {
  chmod -R u=rwX,go=rX "$@"
  find "$@" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
}

# archive FOLDER NAME.tar.xz: the folder's content, in an order of its own.
archive() {
  settle "$1"
  tar --create --directory "$(dirname "$1")" --sort=name --owner=0 --group=0 --numeric-owner --format=gnu \
    "--mtime=@$SOURCE_DATE_EPOCH" "$(basename "$1")" | xz --threads=1 -6 >"$2"
}

strip_installed() {  # FOLDER
  local file
  find "$1" -type f \( -name '*.so*' -o -path '*/bin/*' \) -print0 | while IFS= read -r -d '' file; do
    strip --strip-unneeded --remove-section=.comment "$file"
  done
}

native_symbols() {  # FOLDER: of what is installed there, before it is stripped
  local file
  find "$1" -type f \( -name '*.so*' -o -path '*/bin/*' \) | LC_ALL=C sort | while IFS= read -r file; do
    keep_symbols '' "$file" "$machine-linux ${file#"$1"/}" || return 1
  done
}

# ---- Debian's packages.

# What the package's programs and libraries are linked with, as the system's packages.
linked_with() {  # FOLDER
  local files=()
  mapfile -t files < <(find "$1/usr" -type f \( -name '*.so*' -o -path '*/bin/*' \) | LC_ALL=C sort)
  mkdir -p "$staging/shlibdeps/debian"
  : >"$staging/shlibdeps/debian/control"
  (cd "$staging/shlibdeps" && dpkg-shlibdeps -O "${files[@]}" 2>/dev/null) | sed -n 's/^shlibs:Depends=//p'
}

describe_package() {  # PACKAGE: its fields of the control file that are its own
  case "$1" in
    vantor-mkv)
      cat <<EOF
Section: video
Depends: $2
Description: demultiplexer for Matroska and WebM files, with its tool
 The Vantor MKV Demultiplexer splits Matroska and WebM files into their streams
 and gives every frame as a timed sample. This package holds the demultiplexer
 as two components that programs load, and vantor-mkv, which shows what is in a
 file, plays it, checks it and lists its samples.
EOF
      ;;
    libvantor-mkv-host1)
      cat <<EOF
Section: libs
Multi-Arch: same
Depends: vantor-mkv (= $debian_version), $2
Description: library that plays through the Vantor MKV Demultiplexer
 It loads the demultiplexer, gives it bytes from wherever a program has them,
 and hands the samples of its streams to the program.
EOF
      ;;
    libvantor-mkv-dev)
      cat <<EOF
Section: libdevel
Depends: libvantor-mkv-host1 (= $debian_version), libwine-dev
Suggests: cmake, pkgconf
Description: headers and examples of the Vantor MKV Demultiplexer
 What programs are built with that play through the demultiplexer: headers,
 files for CMake (find_package) and pkg-config, and two examples.
EOF
      ;;
  esac
}

debian_package() {  # PACKAGE PART TREE
  local package=$1 folder=$staging/debian/$1 documents
  documents=$folder/usr/share/doc/$package
  DESTDIR=$folder cmake --install "$3" --component "$2" >/dev/null
  if [ "$package" != vantor-mkv ] && [ -d "$folder/usr/share/doc/vantor-mkv" ]; then
    mv "$folder/usr/share/doc/vantor-mkv" "$documents"
  fi
  strip_installed "$folder"
  mkdir -p "$documents" "$folder/DEBIAN" "$folder/usr/share/lintian/overrides"
  sed "s/@YEAR@/$(date -u +%Y -d "@$SOURCE_DATE_EPOCH")/" packaging/debian/copyright >"$documents/copyright"
  if [ -f "$documents/CHANGELOG.md" ]; then
    mv "$documents/CHANGELOG.md" "$documents/changelog"
    gzip -9n "$documents/changelog"
  fi
  sed "s/@VERSION@/$debian_version/; s/@DATE@/$(date -u -R -d "@$SOURCE_DATE_EPOCH")/" packaging/debian/changelog |
    gzip -9n >"$documents/changelog.Debian.gz"
  if [ -f "$folder/usr/share/man/man1/vantor-mkv.1" ]; then gzip -9n "$folder/usr/share/man/man1/vantor-mkv.1"; fi
  sed "s/@PACKAGE@/$package/" packaging/debian/lintian-overrides >"$folder/usr/share/lintian/overrides/$package"
  if [ "$package" = libvantor-mkv-host1 ]; then
    echo "libvantor-mkv-host 1 libvantor-mkv-host1 (>= $version)" >"$folder/DEBIAN/shlibs"
    echo "activate-noawait ldconfig" >"$folder/DEBIAN/triggers"
  fi
  {
    printf 'Package: %s\nSource: vantor-mkv\nVersion: %s\nArchitecture: %s\n' "$package" "$debian_version" "$architecture"
    printf 'Maintainer: Vantor <maintainers@vantor.invalid>\nInstalled-Size: %s\nPriority: optional\n' \
      "$(find "$folder/usr" -printf '%y %s\n' | awk '{ sum += $1 == "f" ? int(($2 + 1023) / 1024) : 1 } END { print sum }')"
    describe_package "$package" "$(linked_with "$folder")"
  } >"$folder/DEBIAN/control"
  (cd "$folder" && find usr -type f -print0 | LC_ALL=C sort -z | xargs -0 md5sum) >"$folder/DEBIAN/md5sums"
  settle "$folder"
  dpkg-deb --root-owner-group -Zxz --build "$folder" "$out/${package}_${debian_version}_$architecture.deb" >/dev/null
}

# ---- All of them.

pack_native() {  # TREE
  local tree=$1 whole=$staging/$name-linux-$machine
  debian_version=$version-1
  cmake --install "$tree" --prefix "$whole" >/dev/null
  native_symbols "$whole"
  strip_installed "$whole"
  archive "$whole" "$out/$name-linux-$machine.tar.xz"
  if command -v dpkg-deb >/dev/null && command -v dpkg-shlibdeps >/dev/null; then
    debian_package vantor-mkv tool "$tree"
    debian_package libvantor-mkv-host1 host "$tree"
    debian_package libvantor-mkv-dev dev "$tree"
  else
    echo "dpkg-deb or dpkg-shlibdeps is missing: no packages for Debian were made."
  fi
}
