#!/usr/bin/env bash
# Builds and runs all tests: every stage but `web` is a preset of CMakePresets.json that is configured, built and tested.
# Ends with "N passed, M failed" over all stages; the status is zero when nothing failed.
set -euo pipefail
cd "$(dirname "$0")"
source scripts/packages.sh

readonly logs=out/test-logs

# Stage, and what it is for.
readonly stages=(
  "lint|format, scripts, includes, dead code, links"
  "release|g++, optimised; the player on real files"
  "asan|address and undefined-behaviour sanitizers"
  "tsan|thread sanitizer"
  "web|the web player in Node and in Chromium"
  "fuzz|every fuzz target for a short while"
  "headset|aarch64 under qemu, the headset's library"
  "headset-clang|the same with clang, libc++; the plug-in"
  "debug|g++, unoptimised, library checks; by name"
  "clang|clang++, optimised; by name"
  "tidy|clang-tidy, half an hour; by name"
)
# The first two check what others check too: asan and tsan are clang's, and asan has the library's checks.
readonly when_asked='debug|clang|tidy'

readonly bench_packages=(libbenchmark-dev libdraco-dev libmeshoptimizer-dev)
readonly further_packages=(googletest clang clang-format clang-tidy libclang-rt-14-dev llvm lld shellcheck
  g++-aarch64-linux-gnu qemu-user)

usage() {
  cat <<TEXT
Usage: ./test.sh [--quick | STAGE...]

Installs the Debian packages that are missing, then builds and runs the tests. Without arguments, all stages but
the last three:

$(for stage in "${stages[@]}"; do printf '  %-14s%s\n' "${stage%%|*}" "${stage#*|}"; done)

--quick is the stage release alone. Each stage builds in build/STAGE and logs to $logs/STAGE.log.

Environment:
  NIMB_FUZZ_SECONDS  how long each fuzz target runs (default 10)
TEXT
}

# Where the kernel spreads addresses widely, the sanitizers of Debian 12 may find their shadow's place taken.
with_fixed_addresses() {
  if setarch -R true 2>/dev/null; then
    setarch -R "$@"
  else
    "$@"
  fi
}

# The types, then every test, with Node's report of them.
test_web() {
  cmake --preset release && cmake --build --preset release --target nimb web &&
    cd Web && npm run check &&
    node --test --test-reporter=spec --test-reporter-destination=stdout --test-reporter=junit \
      --test-reporter-destination="../$logs/web.xml" test/*.test.mjs
}

build_and_test() {
  local stage=$1 options=() which=()
  if [[ $stage == web ]]; then
    (test_web)
    return
  fi
  if [[ $stage == fuzz ]]; then
    options=("-DNIMB_FUZZ_SECONDS=${NIMB_FUZZ_SECONDS:-10}")
  elif [[ $stage == debug ]]; then
    options=(-DNIMB_BUILD_PLAYER=OFF) # the player's tests run in release, asan and tsan
  elif [[ $stage == release ]]; then
    # The benchmarks are built, not run.
    options=(-DNIMB_REQUIRE_MONO=ON -DNIMB_BUILD_BENCH=ON -DNIMB_TESTS_TOGETHER=ON)
  elif [[ $stage == headset* ]]; then
    options=(-DNIMB_TESTS_TOGETHER=ON)
    # The plug-in's tests play in real time, one after another: once, with the compiler of the headset's kind.
    [[ $stage == headset-clang ]] || which=(-LE real_time)
  fi
  cmake --preset "$stage" "${options[@]}" &&
    cmake --build --preset "$stage" -- -k 0 &&
    with_fixed_addresses ctest --preset "$stage" "${which[@]}" --output-junit "$PWD/$logs/$stage.xml"
}

# A count in a stage's report: tests, failures or skipped in the head of CTest's; pass, fail, cancelled or skipped at the
# end of Node's. Zero when the stage did not get as far.
reported() {
  local count=
  count=$(grep -m1 -oP "^\s*(?:$2=\"|<!-- $2 )\K[0-9]+" "$logs/$1.xml" 2>/dev/null) || true
  echo "${count:-0}"
}

show_fuzz_executions() {
  awk '/Testing: /               { target = $NF }
       /number_of_executed_units/ { printf "    %-32s%12d executions\n", target, $2 }' \
    build/fuzz/Testing/Temporary/LastTest.log
}

passed=0
failed=0

declare -A beside=()

# Starts a stage with what others leave it of the processors, in a process group of its own. run_stage then waits for it.
start_beside() {
  rm -f "$logs/$1.xml"
  set -m
  (renice -n 19 -p "$BASHPID" && build_and_test "$1") </dev/null >"$logs/$1.log" 2>&1 &
  set +m
  beside[$1]=$!
}

# What the shell starts beside itself, Ctrl-C does not reach.
stop_beside() {
  local group
  for group in "${beside[@]}"; do
    kill -- "-$group" 2>/dev/null || true
  done
}
trap stop_beside EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# Runs one stage, adds its counts to the sums and prints its line. A stage that stops without a failed test, because it
# does not build for instance, counts as one failure.
run_stage() {
  local stage=$1 about=$2 log=$logs/$1.log start=$SECONDS complete=true
  printf '%-14s%-46s' "$stage" "$about"
  if [[ -n ${beside[$stage]:-} ]]; then
    wait "${beside[$stage]}" || complete=false
    unset "beside[$stage]"
  else
    rm -f "$logs/$stage.xml"
    build_and_test "$stage" </dev/null >"$log" 2>&1 || complete=false
  fi

  local failures skipped successes
  skipped=$(reported "$stage" skipped)
  if [[ $stage == web ]]; then
    failures=$(($(reported web fail) + $(reported web cancelled)))
    successes=$(reported web pass)
  else
    failures=$(reported "$stage" failures)
    successes=$(($(reported "$stage" tests) - failures - skipped))
  fi
  if [[ $complete == false ]] && ((failures == 0)); then
    failures=1
  fi
  ((passed += successes, failed += failures)) || true

  local notes=
  ((skipped == 0)) || notes+=", $skipped skipped"
  ((failures == 0)) || notes+=", $failures FAILED"
  printf '%5d passed%s  (%d:%02d)\n' "$successes" "$notes" $(((SECONDS - start) / 60)) $(((SECONDS - start) % 60))
  if ((failures)); then
    show_tail "$log"
  elif [[ $stage == fuzz ]]; then
    show_fuzz_executions
  fi
}

is_chosen() {
  local name
  for name in "${chosen[@]}"; do
    [[ $name == "$1" ]] && return
  done
  return 1
}

chosen=()
for argument in "$@"; do
  case $argument in
    -h | --help) usage; exit ;;
    --quick) chosen+=(release) ;;
    *) printf '%s\n' "${stages[@]%%|*}" | grep -qx -e "$argument" || die "no stage '$argument'; see ./test.sh -h"
       chosen+=("$argument") ;;
  esac
done
if ((${#chosen[@]} == 0)); then
  mapfile -t chosen < <(printf '%s\n' "${stages[@]%%|*}" | grep -vxE "$when_asked")
fi

mkdir -p "$logs"
packages=("${native_packages[@]}" "${player_packages[@]}" "${csharp_packages[@]}" "${windows_packages[@]}"
  "${bench_packages[@]}" "${farm_packages[@]}")
if [[ ${chosen[*]} != release ]]; then
  packages+=("${further_packages[@]}")
fi
if is_chosen web; then
  packages+=("${web_packages[@]}")
  is_installed chromium || packages+=(chromium-headless-shell)
fi
install_packages "$logs/packages.log" "${packages[@]}"
if command -v ccache >/dev/null; then
  export CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi
ulimit -c 0 # the death tests mean to die
export CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
# One more for every two processors, since a test that plays in real time mostly waits.
export CTEST_PARALLEL_LEVEL=${CTEST_PARALLEL_LEVEL:-$(($(nproc) * 3 / 2))}

for stage in "${stages[@]}"; do
  if is_chosen "${stage%%|*}"; then
    if [[ $stage == web* ]] && is_chosen fuzz; then
      start_beside fuzz # the web player's tests mostly wait
    fi
    run_stage "${stage%%|*}" "${stage#*|}"
  fi
done

echo "All stages took $((SECONDS / 60)) min $((SECONDS % 60)) s; logs are in $logs."
echo "$passed passed, $failed failed"
((failed == 0))
