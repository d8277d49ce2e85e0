#include "Tools/nimb/JobScripts.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <utility>

namespace Nimb::Tool {
namespace {

/// Slurm numbers the tasks of an array below MaxArraySize, which is 1001 unless a cluster's administrator changes it.
constexpr std::size_t c_ArrayTasks = 1000;

/// In all scripts for a shell. Left to themselves, schedulers would try again whatever the reason, or not at all, or
/// minutes later.
constexpr const char c_Encode[] =
    R"script(# encode LOG OPTION...: tries three times, unless the options (status 2) or the input (3) are at fault, or somebody
# ended it (129, 130, 143).
encode() {
  log=$folder/logs/$1.log
  shift
  mkdir -p "$folder/logs"
  for try in 1 2 3; do
    status=0
    "$NIMB" encode --job "$folder" "$@" -q >>"$log" 2>&1 || status=$?
    [ "$status" != 0 ] || return 0
    echo "try $try of 3 ended with status $status" >>"$log"
    case $status in 2 | 3 | 129 | 130 | 143) break ;; esac
    [ "$try" = 3 ] || sleep "${RETRY_SECONDS:-5}"
  done
  echo "status $status, see $log" >&2
  return "$status"
}
)script";

constexpr const char c_Slurm[] = R"script(#!/bin/sh
# Encodes all segments of a job as an array of tasks, and joins them when all are done.
#
#   sh job.slurm.sh [OPTION OF SBATCH]...    such as --partition=night --time=1:00:00 --cpus-per-task=4
#
# Set in the environment: NIMB, the program [nimb]; CLIP, the clip [clip.mp4 in the job's folder];
# RETRY_SECONDS, the pause before a segment is tried again [5]; SEGMENTS_PER_TASK [@PER_TASK@], since arrays have a limit
# (MaxArraySize, 1001 by default).
set -eu

folder=@FOLDER@
segments=@SEGMENTS@

@ENCODE@

case ${1-} in
  task)
    NIMB=$2
    first=$((SLURM_ARRAY_TASK_ID * $3))
    last=$((first + $3 - 1))
    [ "$last" -lt "$segments" ] || last=$((segments - 1))
    set -- -j "${SLURM_CPUS_PER_TASK:-1}"
    if [ "$first" = "$last" ]; then
      encode "$(printf '%05d' "$first")" "$@" --segment "$first"
    else
      encode "$(printf '%05d-%05d' "$first" "$last")" "$@" --segments "$first-$last"
    fi
    exit
    ;;
  join)
    exec "$2" join "$folder" -o "$3" -y >>"$folder/logs/join.log" 2>&1
    ;;
esac

per_task=${SEGMENTS_PER_TASK:-@PER_TASK@}
tasks=$(((segments + per_task - 1) / per_task))
mkdir -p "$folder/logs"

# submit OPTION...: what Slurm itself has to say, of memory or time that ran out, goes into slurm.log.
submit() {
  sbatch --parsable --requeue --open-mode=append --output=@SLURM_LOG@ "$@"
}

array=$(submit --job-name=nimb-segments --cpus-per-task=1 "$@" --array="0-$((tasks - 1))" \
  "$folder/job.slurm.sh" task "${NIMB:-nimb}" "$per_task")
array=${array%%;*}
join=$(submit --job-name=nimb-join "$@" --dependency="afterok:$array" --kill-on-invalid-dep=yes \
  "$folder/job.slurm.sh" join "${NIMB:-nimb}" "${CLIP:-$folder/clip.mp4}")
echo "segments: job $array, $tasks tasks; join: job ${join%%;*}; logs: $folder/logs"
)script";

constexpr const char c_Parallel[] = R"script(#!/bin/sh
# Encodes all segments of a job with GNU parallel, one on each core, and joins them when all are done.
#
#   sh job.parallel.sh [OPTION OF PARALLEL]...    such as --jobs 4, or --sshloginfile machines.txt
#
# Set in the environment: NIMB, the program [nimb]; CLIP, the clip [clip.mp4 in the job's folder];
# RETRY_SECONDS, the pause before a segment is tried again [5].
set -eu

folder=@FOLDER@
export NIMB="${NIMB:-nimb}" NIMB_JOB="$folder" RETRY_SECONDS="${RETRY_SECONDS:-5}"

@ENCODE@

if [ "${1-}" = segment ]; then
  encode "$(printf '%05d' "$2")" -j 1 --segment "$2"
  exit
fi

# The shell that runs a segment, perhaps on another machine, knows these variables from parallel.
# shellcheck disable=SC2016
seq 0 @LAST@ | parallel --env NIMB --env NIMB_JOB --env RETRY_SECONDS "$@" \
  'sh "$NIMB_JOB/job.parallel.sh" segment {}'
"$NIMB" join "$folder" -o "${CLIP:-$folder/clip.mp4}" -y
)script";

constexpr const char c_Make[] = R"script(# Encodes all segments of a job, and joins them when all are done.
#
#   make -k -j 8 -f Makefile [NIMB=...] [CLIP=...] [RETRY_SECONDS=...]
#
# NIMB: the program [nimb]; CLIP: the clip [clip.mp4 in the job's folder]; RETRY_SECONDS: the pause before a segment is
# tried again [5]. The program is asked about every segment each time, since it knows better than a file's time whether
# the segment is good.
define folder
@FOLDER@
endef
NIMB ?= nimb
CLIP ?= $(folder)/clip.mp4
RETRY_SECONDS ?= 5
segments := $(addprefix segment-,$(shell seq 0 @LAST@))

define encode
@ENCODE@
endef
export folder NIMB CLIP RETRY_SECONDS encode

.PHONY: clip $(segments)
clip: $(segments)
	@"$$NIMB" join "$$folder" -o "$$CLIP" -y

$(segments): segment-%:
	@set -eu; eval "$$encode"; encode "$$(printf '%05d' $*)" -j 1 --segment $*
)script";

constexpr const char c_Snakemake[] = R"script(# Encodes all segments of a job, and joins them when all are done.
#
#   snakemake --keep-going --cores all --snakefile Snakefile [--config nimb=... clip=...]
#
# nimb: the program [the environment's NIMB, or nimb]; clip: the clip [CLIP, or clip.mp4 in the job's folder].
# RETRY_SECONDS in the environment: the pause before a segment is tried again [5].
import os

folder = os.fsdecode(@FOLDER@)
nimb = config.get("nimb", os.environ.get("NIMB", "nimb"))
clip = config.get("clip", os.environ.get("CLIP", f"{folder}/clip.mp4"))
os.environ["folder"] = folder
os.environ["NIMB"] = os.path.abspath(nimb) if "/" in nimb else nimb
os.environ["CLIP"] = os.path.abspath(clip)
os.environ["encode"] = r"""
@ENCODE@
"""


# Names of files below are relative to it, since its path may hold what means something in a pattern.
workdir: folder


rule clip:
    input:
        [f"segments/{number:05d}.segment" for number in range(@SEGMENTS@)]
    shell:
        '"$NIMB" join "$folder" -o "$CLIP" -y'


rule segment:
    output:
        "segments/{segment,[0-9]+}.segment"
    log:
        "logs/{segment}.log"
    params:
        number=lambda wildcards: int(wildcards.segment)
    shell:
        'eval "$encode"; encode {wildcards.segment} -j {threads} --segment {params.number}'
)script";

struct Kind {
    const char* scriptName;
    const char* text;
    const char* run;  ///< what stands before the script's path to run it
};

const Kind& KindOf(Scheduler scheduler) {
    static const std::map<Scheduler, Kind> kinds = {
        {Scheduler::Slurm, {"job.slurm.sh", c_Slurm, "sh "}},
        {Scheduler::Make, {"Makefile", c_Make, "make -k -j \"$(nproc)\" -f "}},
        {Scheduler::Parallel, {"job.parallel.sh", c_Parallel, "sh "}},
        {Scheduler::Snakemake, {"Snakefile", c_Snakemake, "snakemake --keep-going --cores all --snakefile "}}};
    return kinds.at(scheduler);
}

std::string Replaced(std::string text, std::string_view what, std::string_view by) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
        text.replace(at, what.size(), by);
    }
    return text;
}

std::string ForShell(const std::string& text) {
    return "'" + Replaced(text, "'", R"('\'')") + "'";
}

std::string ForMake(const std::string& text) {
    return Replaced(text, "$", "$$");
}

std::string ForPython(const std::string& text) {
    std::string literal = "b\"";
    for (const char character : text) {
        if (character >= ' ' && character <= '~' && character != '"' && character != '\\') {
            literal += character;
        } else {
            std::array<char, 8> escaped;
            std::snprintf(escaped.data(), escaped.size(), "\\x%02x", static_cast<unsigned char>(character));
            literal += escaped.data();
        }
    }
    return literal + '"';
}

std::string ForItsLanguage(Scheduler scheduler, const std::string& text) {
    switch (scheduler) {
        case Scheduler::Make:
            return ForMake(text);
        case Scheduler::Snakemake:
            return ForPython(text);
        default:
            return ForShell(text);
    }
}

/// Slurm replaces what begins with % in the names of its logs, unless there is a backslash; that it takes away.
std::string SlurmLog(const std::string& folder) {
    const bool hasBackslash = folder.find('\\') != std::string::npos;
    return ForShell(hasBackslash ? "/dev/null" : Replaced(folder, "%", "%%") + "/logs/slurm.log");
}

}  // namespace

const std::map<std::string, Scheduler>& SchedulersByName() {
    static const std::map<std::string, Scheduler> schedulers = {{"make", Scheduler::Make},
                                                                {"parallel", Scheduler::Parallel},
                                                                {"slurm", Scheduler::Slurm},
                                                                {"snakemake", Scheduler::Snakemake}};
    return schedulers;
}

std::string ScriptName(Scheduler scheduler) {
    return KindOf(scheduler).scriptName;
}

std::string JobScript(Scheduler scheduler, const std::string& folder, std::size_t segments) {
    const std::string encode = scheduler == Scheduler::Make ? ForMake(c_Encode) : c_Encode;
    const std::pair<std::string_view, std::string> values[] = {
        {"@ENCODE@\n", encode},
        {"@FOLDER@", ForItsLanguage(scheduler, folder)},
        {"@SLURM_LOG@", SlurmLog(folder)},
        {"@SEGMENTS@", std::to_string(segments)},
        {"@LAST@", std::to_string(segments - 1)},
        {"@PER_TASK@", std::to_string((segments + c_ArrayTasks - 1) / c_ArrayTasks)}};
    std::string script;
    std::string_view text = KindOf(scheduler).text;
    while (!text.empty()) {
        std::size_t length = 1;
        std::string_view by = text.substr(0, 1);
        for (const auto& [name, value] : values) {
            if (text.substr(0, name.size()) == name) {
                length = name.size();
                by = value;
            }
        }
        script += by;
        text.remove_prefix(length);
    }
    return script;
}

std::string HowToRun(Scheduler scheduler, const std::string& folder) {
    constexpr std::string_view harmless = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=.,:@%/";
    const std::string script = (std::filesystem::path(folder) / ScriptName(scheduler)).string();
    const bool isHarmless = script.find_first_not_of(harmless) == std::string::npos;
    return KindOf(scheduler).run + (isHarmless ? script : ForShell(script));
}

}  // namespace Nimb::Tool
