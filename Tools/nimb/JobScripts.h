// Scripts that run a job, all of its segments and then the join, on the schedulers that farms have.
#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace Nimb::Tool {

/// The schedulers that `nimb plan --emit` writes scripts for.
enum class Scheduler { Slurm, Make, Parallel, Snakemake };

/// By their names on the command line, in the order that help shows.
const std::map<std::string, Scheduler>& SchedulersByName();

/// Name of the script in the job's folder.
std::string ScriptName(Scheduler scheduler);

/// The script, ready to be written. `folder`: absolute path of the job's folder, with whatever characters; `segments`:
/// at least 1.
std::string JobScript(Scheduler scheduler, const std::string& folder, std::size_t segments);

/// What to type to run it. `folder` as the user writes it.
std::string HowToRun(Scheduler scheduler, const std::string& folder);

}  // namespace Nimb::Tool
