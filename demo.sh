#!/usr/bin/env bash
# From a fresh machine to a clip that plays: installs, builds, makes a clip, looks into it, plays it, takes pictures,
# puts it into a web page.
set -euo pipefail
readonly called_from=$PWD
cd "$(dirname "$0")"
source scripts/packages.sh

readonly out=out/demo
readonly build=build/release
readonly nimb=$build/Tools/nimb/nimb

usage() {
  cat <<TEXT
Usage: ./demo.sh [INPUT [OPTION...]]

Installs the Debian packages that are missing, builds nimb, makes a clip, and plays it through the plug-in: in a window
where there is a display, otherwise offscreen. Everything made is in $out, with a snapshot, a contact sheet, a plot of
the frames' sizes and pages that show the clip in a browser.

Without INPUT the clip is the built-in one. INPUT is anything that nimb encode takes (a .glb scene, an .obj or .ply
sequence, a folder of them); the options are those of nimb encode.

Examples:
  ./demo.sh
  ./demo.sh dancer.glb
  ./demo.sh 'scan/frame_%04d.obj' --texture 'scan/tex_%04d.png' --fps 25
TEXT
}

# What runs as root through sudo still belongs to who called.
give_back() {
  if ((EUID == 0)) && [[ -n ${SUDO_UID:-} ]]; then
    chown -R "$SUDO_UID:${SUDO_GID:-$SUDO_UID}" out build Web/dist Web/node_modules 2>/dev/null || true
  fi
}

build_nimb() {
  local log=$out/build.log start=$SECONDS
  if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
  fi
  [[ -x $nimb ]] || echo "Building nimb; the first time takes a few minutes ($log)"
  if ! { cmake --preset release && cmake --build --preset release --target nimb web; } </dev/null >"$log" 2>&1; then
    show_tail "$log"
    die "nimb could not be built"
  fi
  echo "Built in $((SECONDS - start)) s: $nimb"
}

# The built-in clip comes out the same every time: it is made anew only by a newer nimb.
make_demo() {
  if [[ $clip -nt $nimb ]]; then
    echo "$clip is there already"
  else
    "$nimb" demo -y -o "$clip"
  fi
}

# A name for the clip of an input that may be a path, a folder or a pattern.
clip_name() {
  local name=${1%/}
  name=${name##*/}
  [[ $name != *.* ]] || name=${name%.*}
  name=$(tr -cs 'A-Za-z0-9_-' '_' <<<"$name")
  name=${name%%_}
  echo "${name:-clip}"
}

has_display() {
  [[ -t 1 && -n ${DISPLAY:-}${WAYLAND_DISPLAY:-} ]]
}

step() {
  printf '\n== %s\n' "$*"
}

case ${1:-} in
  -h | --help) usage; exit ;;
  -*) die "options come after an INPUT; see ./demo.sh -h" ;;
esac
trap give_back EXIT
mkdir -p "$out"

step "Packages and build"
install_packages "$out/packages.log" "${native_packages[@]}" "${player_packages[@]}" "${web_packages[@]}"
build_nimb

step "Clip"
if (($#)); then
  input=$1
  shift
  clip=$out/$(clip_name "$input").mp4
  # Paths are meant from where the script was called.
  (root=$PWD && cd "$called_from" && "$root/$nimb" encode "$input" -y -o "$root/$clip" "$@")
else
  clip=$out/demo.mp4
  make_demo
fi
readonly pictures=${clip%.mp4}

step "What is in it"
"$nimb" info -y --plot "$pictures-sizes.png" "$clip"

step "Is it whole?"
"$nimb" verify "$clip"

step "Pictures of it, drawn as the plug-in plays it"
"$nimb" play "$clip" --headless --no-audio -y --snapshot "$pictures-snapshot.png" \
  --contact-sheet "$pictures-sheet.png" --views front,left,back

step "Pages that show it in a browser"
"$nimb" web "$clip" -y -o "$out/site"
"$nimb" web "$clip" -y --single "$pictures.html"

step "Playing"
if has_display; then
  echo "H shows the keys; Esc closes the window."
  "$nimb" play "$clip"
else
  echo "There is no display here, so it plays offscreen."
  "$nimb" play "$clip" --headless
fi

cat <<TEXT

Clip           $clip
Snapshot       $pictures-snapshot.png
Contact sheet  $pictures-sheet.png
Sizes          $pictures-sizes.png
Page           $pictures.html opens by double click
Web site       $out/site, for a web server; to look at it here: npx serve $out/site
TEXT
