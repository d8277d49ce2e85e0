#!/usr/bin/env bash
# Looks into a built libNimbUnityPluginML.so and says whether the headset could load it: prints one line for every
# property, "ok" or "FAILED" with what was found. The status is the number of properties that failed.
#
# Usage: CheckLibrary.sh LIBRARY, with these variables:
#   NM, READELF, STRIP   for the library's processor
#   COMPILER             command that finds the runtime's libraries with -print-file-name,
#   RUNTIME_FOLDER       unless they are in here
#   EXPORTS_MAP          what the linker was told to show
#   FUNCTION_HEADER      the interface, functions marked NIMB_API
#   OBJECT_HEADER        the ids, objects marked NIMB_EXPORTED_OBJECT
#   PLATFORM_LIBRARIES   files of the platform's libraries, separated by ':'
#   BUILD_FOLDERS        folders that the library may not name, separated by ':'
#   SIZE_BUDGET          most bytes of the stripped library
set -euo pipefail
export LC_ALL=C

readonly library=$1
readonly runtime='libstdc++.so.6 libc++.so.1 libc++abi.so.1 libunwind.so.1 libgcc_s.so.1 libm.so.6 libc.so.6 ld-linux-aarch64.so.1'
IFS=: read -r -a platform_files <<<"$PLATFORM_LIBRARIES"
IFS=: read -r -a folders <<<"$BUILD_FOLDERS"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

failed=0

# report PROPERTY PROBLEMS FOUND: ok when there are no problems.
report() {
  local property=$1 problems=$2 found=$3
  if [[ -z $problems ]]; then
    printf 'ok      %-11s %s\n' "$property" "$found"
  else
    printf 'FAILED  %-11s %s\n' "$property" "$(tr '\n' ' ' <<<"$problems")"
    ((++failed))
  fi
}

lines() { wc -l <"$1"; }

# Names that only one of two sorted lists has, with what that means.
differences() {
  comm -23 "$1" "$2" | sed 's/^/missing: /'
  comm -13 "$1" "$2" | sed 's/^/unexpected: /'
}

# Names without their versions, sorted.
symbols() { "$NM" --dynamic --format=posix "$@" | awk '{ sub(/@.*/, "", $1); print $1 }' | sort -u; }

needed_by() { "$READELF" -dW "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'; }

check_kind() {
  local found
  found=$("$READELF" -hW "$library" | awk -F: '/^ *(Class|Type|Machine):/ { gsub(/^ +/, "", $2); printf "%s, ", $2 }')
  local problem=$found
  [[ $found != *ELF64*DYN*AArch64* ]] || problem=
  report kind "$problem" "${found%, }"
}

check_exports() {
  sed -n 's/^NIMB_API .*[ *]\([A-Za-z0-9_]\+\)(.*/\1/p' "$FUNCTION_HEADER" >"$work/functions"
  sed -n 's/^NIMB_EXPORTED_OBJECT .* \([A-Za-z0-9_]\+\);.*/\1/p' "$OBJECT_HEADER" >"$work/objects"
  sort "$work/functions" "$work/objects" >"$work/interface"
  symbols --defined-only "$library" >"$work/exported"
  report exports "$(differences "$work/interface" "$work/exported")" \
    "$(lines "$work/functions") functions and $(lines "$work/objects") ids, as declared"

  sort "$work/functions" >"$work/declared"
  sed -n 's/^ *\([A-Za-z0-9_]\+\);$/\1/p' "$EXPORTS_MAP" | sort >"$work/listed"
  report export-map "$(differences "$work/declared" "$work/listed")" "lists the $(lines "$work/listed") functions"
}

check_needed() {
  local name problems='' allowed=" $runtime "
  for file in "${platform_files[@]}"; do
    allowed+="$(basename "$file") "
  done
  for name in $(needed_by "$library"); do
    [[ $allowed == *" $name "* ]] || problems+="$name "
  done
  report needed "$problems" "$(needed_by "$library" | tr '\n' ' ')"
}

runtime_file() {
  local file=$RUNTIME_FOLDER/$1
  [[ -e $file ]] || file=$($COMPILER -print-file-name="$1")
  echo "$file"
}

# Every undefined name must be the platform's or come from the runtime's libraries that are named as needed.
check_undefined() {
  local name missing
  symbols --defined-only "${platform_files[@]}" >"$work/platform"
  : >"$work/runtime-unsorted"
  for name in $(needed_by "$library"); do
    if [[ " $runtime " == *" $name "* ]]; then
      symbols --defined-only "$(runtime_file "$name")" >>"$work/runtime-unsorted"
    fi
  done
  # The loader is the C library's other half; the last three are weak, and absent everywhere.
  symbols --defined-only "$(runtime_file ld-linux-aarch64.so.1)" >>"$work/runtime-unsorted"
  printf '%s\n' __gmon_start__ _ITM_deregisterTMCloneTable _ITM_registerTMCloneTable >>"$work/runtime-unsorted"
  sort -u "$work/runtime-unsorted" >"$work/runtime"

  symbols --undefined-only "$library" >"$work/undefined"
  missing=$(comm -23 "$work/undefined" <(sort -u "$work/platform" "$work/runtime"))
  report undefined "$missing" "$(comm -12 "$work/undefined" "$work/platform" | wc -l) of the platform, $(
    comm -12 "$work/undefined" "$work/runtime" | wc -l) of the runtime"
}

check_segments() {
  "$READELF" -lW "$library" >"$work/segments"
  report pages "$(awk '$1 == "LOAD" && $NF != "0x4000" { print "LOAD aligned to", $NF }' "$work/segments")" \
    "$(grep -c '^ *LOAD' "$work/segments") segments, aligned to 16 KiB"
  local stack
  stack=$(awk '$1 == "GNU_STACK" { print $7 }' "$work/segments")
  local problem="GNU_STACK is '${stack:-missing}'"
  [[ $stack != RW ]] || problem=
  report stack "$problem" "not executable"
  local writable
  writable=$(awk '$1 == "LOAD" && /RWE/ { print "a segment is writable and executable" }' "$work/segments")
  report segments "$writable" "none is writable and executable"
}

check_dynamic_section() {
  "$READELF" -dW "$library" >"$work/dynamic"
  local problems=''
  grep -q GNU_RELRO "$work/segments" || problems+='no GNU_RELRO '
  grep -Eq 'BIND_NOW|Flags:.* NOW' "$work/dynamic" || problems+='no BIND_NOW '
  report relro "$problems" "RELRO, BIND_NOW"
  report text "$(grep -ow TEXTREL "$work/dynamic" || true)" "no relocation in the code"
  report rpath "$(grep -E '\((RPATH|RUNPATH)\)' "$work/dynamic" || true)" "no RPATH, no RUNPATH"
  local soname
  soname=$(sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p' "$work/dynamic")
  local problem="'$soname'"
  [[ $soname != libNimbUnityPluginML.so ]] || problem=
  report soname "$problem" "$soname"
}

check_paths() {
  local folder problems=''
  for folder in "${folders[@]}"; do
    if grep -aqF -e "$folder" "$library"; then
      problems+="names $folder "
    fi
  done
  report paths "$problems" "names no folder of the build"
}

check_size() {
  "$STRIP" -o "$work/stripped" "$library"
  local size
  size=$(stat -c %s "$work/stripped")
  if ((size <= SIZE_BUDGET)); then
    report size "" "$size bytes stripped, of at most $SIZE_BUDGET"
  else
    report size "$size bytes stripped, more than $SIZE_BUDGET" ""
  fi
}

# The newest version of each of the runtime's interfaces: what the system that loads the library must have at least.
show_versions() {
  local versions
  versions=$("$NM" --dynamic --undefined-only "$library" | grep -oE '(GLIBC|GLIBCXX|CXXABI|GCC)_[0-9.]+$' | sort -Vu |
    awk -F_ '{ newest[$1] = $2 } END { for (name in newest) printf "%s %s, ", name, newest[name] }' || true)
  echo "        versions    ${versions%, }"
}

echo "$library"
check_kind
check_exports
check_needed
check_undefined
check_segments
check_dynamic_section
check_paths
check_size
show_versions
exit "$failed"
