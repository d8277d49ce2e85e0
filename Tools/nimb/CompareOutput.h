// What `nimb compare` prints: a table and the faults, or all of it as JSON.
#pragma once

#include "Tools/nimb/CompareRun.h"

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace Nimb::Tool {

/// What was compared, and what was asked of it.
struct CompareReport {
    std::string source;
    std::string clip;
    ComparisonResult result;
    std::vector<std::string> failed;  ///< conditions that hold, with where
};

void PrintReport(const CompareReport& report);

/// Docs/comparing.md lists the keys.
nlohmann::ordered_json ToJson(const CompareReport& report);

}  // namespace Nimb::Tool
