// Scripts that run jobs, on the schedulers that they are for, with a stand-in for `nimb` that fails when told to.
#include "Tests/Tools/ToolTest.h"
#include "Tools/nimb/JobScripts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace ToolTest {
namespace {

using Nimb::Tool::JobScript;
using Nimb::Tool::Scheduler;
using Lines = std::vector<std::string>;

/// Takes the options in the order in which scripts give them, and writes down each call. A file fail-N has the statuses
/// with which segment N fails, one a line.
const char* const c_Stub = R"script(#!/bin/sh
here=${0%/*}
if [ "$1" = join ]; then
  echo "join of $(ls "$2/segments" | wc -l) segments" >>"$here/calls"
  : >"$4"
  exit
fi
echo "$1 $4 $5 $6 $7 $8" >>"$here/calls"
for n in $(seq "${7%-*}" "${7#*-}"); do
  status=$(sed -n 1p "$here/fail-$n" 2>/dev/null)
  if [ -n "$status" ]; then
    sed -i 1d "$here/fail-$n"
    [ "$status" != 137 ] || kill -9 $$
    exit "$status"
  fi
  : >"$3/segments/$(printf '%05d' "$n").segment"
done
)script";

std::string Quoted(const std::string& text) {
    std::string quoted;
    for (const char character : text) {
        quoted += character == '\'' ? "'\\''" : std::string(1, character);
    }
    return "'" + quoted + "'";
}

/// None when there is no such file.
Lines LinesOf(const std::string& path) {
    std::ifstream file(path);
    Lines lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

class JobScripts : public testing::Test {
protected:
    const TemporaryFolder m_Folder;
    /// With everything that the shell, make, Slurm's names of files, Snakemake's patterns or the scripts' own
    /// placeholders could stumble over.
    const std::string m_Job = m_Folder / "it's \"odd\": $HOME $(x) %a {} #1 & @FOLDER@ ü\nline";

    JobScripts() {
        std::filesystem::create_directories(m_Job + "/segments");
        WriteText(m_Folder / "nimb", c_Stub);
        std::filesystem::permissions(m_Folder / "nimb", std::filesystem::perms::owner_all);
    }

    void Write(Scheduler scheduler, std::size_t segments) const {
        WriteText(m_Job + "/" + ScriptName(scheduler), JobScript(scheduler, m_Job, segments));
    }
    ClipTest::CommandResult Run(const std::string& command) const {
        return RunCommand("cd " + Quoted(m_Folder / "") + "; export NIMB=" + Quoted(m_Folder / "nimb") +
                          " RETRY_SECONDS=0; " + command);
    }
    /// The calls since the last time.
    Lines Calls() const {
        Lines calls = LinesOf(m_Folder / "calls");
        std::filesystem::remove(m_Folder / "calls");
        return calls;
    }
};

class OnScheduler : public JobScripts, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(JobScripts, OnScheduler, testing::Values("slurm", "make", "parallel", "snakemake"),
                         [](const auto& scheduler) { return std::string(scheduler.param); });

TEST_P(OnScheduler, SegmentsAreTriedAgainAndTheJoinFollowsThemAll) {
    const Scheduler scheduler = Nimb::Tool::SchedulersByName().at(GetParam());
    const bool isSlurm = scheduler == Scheduler::Slurm;
    const std::string program = isSlurm ? "slurmctld" : GetParam();
    if (RunCommand("PATH=$PATH:/usr/sbin command -v " + program).status != 0) {
        GTEST_SKIP() << program << " is not installed";
    }
    const std::string command = (isSlurm ? "python3 " NIMB_WITH_SLURM " " : "") + HowToRun(scheduler, m_Job);
    Write(scheduler, 7);

    // An input that is at fault, tries that all fail, and a segment that succeeds at last.
    WriteText(m_Folder / "fail-2", "3\n");
    WriteText(m_Folder / "fail-4", "1\n1\n1\n");
    WriteText(m_Folder / "fail-6", "4\n137\n");
    const ClipTest::CommandResult failed = Run(command);
    EXPECT_EQ(failed.status == 0, isSlurm) << failed.output;  // whose command does not wait for the result
    Lines calls = Calls();
    std::sort(calls.begin(), calls.end());
    Lines expected;
    for (const char* const segment : {"0", "1", "2", "3", "4", "4", "4", "5", "6", "6", "6"}) {
        expected.push_back(std::string("encode -j 1 --segment ") + segment + " -q");
    }
    EXPECT_EQ(calls, expected) << failed.output;
    const std::string log = m_Job + "/logs/";
    EXPECT_EQ(LinesOf(log + "00002.log"), Lines{"try 1 of 3 ended with status 3"});
    EXPECT_EQ(LinesOf(log + "00004.log"), (Lines{"try 1 of 3 ended with status 1", "try 2 of 3 ended with status 1",
                                                 "try 3 of 3 ended with status 1"}));
    const Lines last = LinesOf(log + "00006.log");
    EXPECT_EQ(std::count(last.begin(), last.end(), "try 2 of 3 ended with status 137"), 1);
    EXPECT_EQ(std::filesystem::exists(log + "slurm.log"), isSlurm);

    // What made them fail is gone. No segment is there, so that the join sees which were done before it.
    std::filesystem::remove_all(m_Job + "/segments");
    std::filesystem::create_directory(m_Job + "/segments");
    const ClipTest::CommandResult complete = Run("export CLIP=" + Quoted(m_Job + "/other.mp4") + "; " + command);
    EXPECT_EQ(complete.status, 0) << complete.output;
    calls = Calls();
    ASSERT_EQ(calls.size(), 8u) << complete.output;
    EXPECT_EQ(calls.back(), "join of 7 segments");
    EXPECT_TRUE(std::filesystem::exists(m_Job + "/other.mp4"));
    EXPECT_FALSE(std::filesystem::exists(m_Job + "/clip.mp4"));
}

TEST_F(JobScripts, WhatThePlanSaysToTypeMakesTheClipOfASingleRun) {
    for (const char frame : {'0', '1', '2', '3', '4', '5'}) {
        const std::string text = std::string("v 0 0.") + frame + " 0 1 0 0\nv 1 0 0 0 1 0\nv 0 0 1 0 0 1\nf 1 3 2\n";
        WriteText(m_Folder / "frame_" + frame + ".obj", text);
    }
    const std::string nimb = "export NIMB=" NIMB_TOOL_FILE "; ",
                      options = " frame_%d.obj --key-interval 2 --segment-frames 2";
    const auto whole = Run(nimb + "$NIMB encode -q -o whole.mp4" + options);
    ASSERT_EQ(whole.status, 0) << whole.output;
    const auto plan = Run(nimb + "$NIMB plan --emit make -o " + Quoted(m_Job) + options);
    const std::size_t at = plan.output.find("make: ");
    ASSERT_TRUE(plan.status == 0 && at != std::string::npos) << plan.output;
    const auto made = Run("cd /; " + nimb + plan.output.substr(at + 6));
    EXPECT_EQ(made.status, 0) << made.output;
    EXPECT_EQ(FilesIn(m_Job + "/segments").size(), 3u);
    EXPECT_TRUE(ReadFile(m_Job + "/clip.mp4") == ReadFile(m_Folder / "whole.mp4"));
    EXPECT_FALSE(ReadFile(m_Folder / "whole.mp4").empty());
}

TEST_F(JobScripts, SlurmsArraysStayBelowItsLimit) {
    WriteText(m_Folder / "sbatch", "#!/bin/sh\nprintf '%s\\n' \"$@\" >>\"${0%/*}/options\"\necho '7;cluster'\n");
    std::filesystem::permissions(m_Folder / "sbatch", std::filesystem::perms::owner_all);
    Write(Scheduler::Slurm, 2500);
    const std::string script = "sh " + Quoted(m_Job + "/job.slurm.sh");
    const auto submit = [&](const std::string& before) {
        EXPECT_EQ(Run("PATH=" + Quoted(m_Folder / "") + ":$PATH; " + before + script + " --partition=night").status, 0);
        Lines options = LinesOf(m_Folder / "options");
        std::filesystem::remove(m_Folder / "options");
        EXPECT_EQ(std::count(options.begin(), options.end(), "--partition=night"), 2);
        EXPECT_EQ(std::count(options.begin(), options.end(), "--dependency=afterok:7"), 1);
        return options;
    };
    const Lines byItself = submit(""), asTold = submit("SEGMENTS_PER_TASK=100 ");
    EXPECT_EQ(std::count(byItself.begin(), byItself.end(), "--array=0-833"), 1);
    EXPECT_EQ(std::count(asTold.begin(), asTold.end(), "--array=0-24"), 1);

    for (const char* const task : {"832", "833"}) {
        const std::string environment = std::string("SLURM_CPUS_PER_TASK=4 SLURM_ARRAY_TASK_ID=") + task + " ";
        EXPECT_EQ(Run(environment + script + " task \"$NIMB\" 3").status, 0);
    }
    EXPECT_EQ(Calls(), (Lines{"encode -j 4 --segments 2496-2498 -q", "encode -j 4 --segment 2499 -q"}));
    EXPECT_TRUE(std::filesystem::exists(m_Job + "/logs/02496-02498.log"));
    // Slurm takes backslashes out of the names of logs.
    EXPECT_NE(JobScript(Scheduler::Slurm, "/a\\b", 1).find("--output='/dev/null'"), std::string::npos);
}

TEST_F(JobScripts, ScriptsForAShellSatisfyShellcheck) {
    if (RunCommand("command -v shellcheck").status != 0) {
        GTEST_SKIP() << "shellcheck is not installed";
    }
    for (const Scheduler scheduler : {Scheduler::Slurm, Scheduler::Parallel}) {
        WriteText(m_Folder / ScriptName(scheduler), JobScript(scheduler, "/srv/it's a job", 3));
    }
    const ClipTest::CommandResult result = Run("shellcheck *.sh");
    EXPECT_EQ(result.status, 0) << result.output;
}

}  // namespace
}  // namespace ToolTest
