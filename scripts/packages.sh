# shellcheck shell=bash disable=SC2034
# Debian packages that building takes, and their installation. Sourced by the scripts in the root.

readonly native_packages=(cmake ninja-build g++ libglm-dev libgtest-dev)
readonly player_packages=(pkgconf libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libswresample-dev
  libsdl2-dev libimgui-dev libegl-dev libgles-dev libegl-mesa0 libgl1-mesa-dri ffmpeg binutils
  libcli11-dev nlohmann-json3-dev libtinygltf-dev libassimp-dev libstb-dev zlib1g-dev libxxhash-dev
  libeigen3-dev)
readonly csharp_packages=(mono-mcs mono-runtime libmono-system4.0-cil libmono-system-core4.0-cil python3
  glslang-tools)
readonly windows_packages=(g++-mingw-w64-x86-64-posix wine64)
readonly farm_packages=(slurm-wlm parallel make)
web_packages=(emscripten node-acorn python3) # and Node, below

# Debian's Node would get in the way of one from elsewhere, which brings its npm along.
if ! node -e 'process.exit(parseInt(process.versions.node) < 18 ? 1 : 0)' 2>/dev/null; then
  web_packages+=(nodejs)
fi
command -v npm >/dev/null || web_packages+=(npm)
readonly web_packages

die() {
  echo "${0##*/}: $*" >&2
  exit 1
}

# The end of a log without the lines of what went well.
show_tail() {
  echo "    ... $1:"
  grep -vE '^\[[0-9]+/[0-9]+\] |^ +Start +[0-9]+: | Passed +[0-9.]+ sec$' "$1" | tail -n 40 | sed 's/^/    /' || true
}

is_installed() {
  [[ $(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

# install_packages LOG PACKAGE...: those that are missing.
install_packages() {
  local log=$1 package missing=() as_root=()
  shift
  for package in "$@"; do
    is_installed "$package" || missing+=("$package")
  done
  ((${#missing[@]})) || return 0

  if ((EUID != 0)); then
    as_root=(sudo)
    [[ -t 0 ]] || as_root+=(--non-interactive)
  fi
  if ! command -v apt-get >/dev/null || ! "${as_root[@]}" true 2>/dev/null; then
    die "Debian packages are missing and cannot be installed from here; as root: apt-get install ${missing[*]}"
  fi

  echo "Installing ${missing[*]}"
  local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y
    -o DPkg::Lock::Timeout=300 -o Acquire::Retries=3)
  if ! { "${apt[@]}" update && "${apt[@]}" install --no-install-recommends "${missing[@]}"; } \
    </dev/null >"$log" 2>&1; then
    show_tail "$log"
    die "the packages could not be installed"
  fi
}
