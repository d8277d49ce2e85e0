#include "Tools/nimb/Compare/Conditions.h"

#include "Tools/nimb/ExitStatus.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace Nimb::Tool {
namespace {

constexpr char c_Sound[] = "sound";
constexpr char c_Average[] = "average-";

struct UnitName {
    const char* name;
    double factor;
};

const std::vector<UnitName> c_Lengths = {{"mm", 1e-3}, {"cm", 1e-2}, {"m", 1}};
const std::vector<UnitName> c_Decibels = {{"", 1}, {"dB", 1}};
const std::vector<UnitName> c_Shares = {{"%", 1e-2}};
const std::vector<UnitName> c_Numbers = {{"", 1}};
const std::vector<UnitName> c_Times = {{"ms", 1e-3}, {"s", 1}};

const std::vector<UnitName>& UnitsOf(const Figure* figure) {
    if (figure == nullptr) {
        return c_Times;
    }
    switch (figure->unit) {
        case Figure::Unit::Metres:
            return c_Lengths;
        case Figure::Unit::Decibels:
            return c_Decibels;
        case Figure::Unit::Share:
            return c_Shares;
        case Figure::Unit::Index:
        case Figure::Unit::Levels:
            break;
    }
    return c_Numbers;
}

std::string NamesOf(const std::vector<UnitName>& units) {
    std::string names;
    for (const UnitName& unit : units) {
        names += (names.empty() ? "" : " or ") + std::string(unit.name);
    }
    return names;
}

[[noreturn]] void Refuse(const std::string& part, const std::string& why) {
    throw UsageError("--fail-if: '" + part + "': " + why);
}

std::string Trimmed(const std::string& text) {
    const auto isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    const auto begin = std::find_if_not(text.begin(), text.end(), isSpace);
    const auto end = std::find_if_not(text.rbegin(), text.rend(), isSpace).base();
    return begin < end ? std::string(begin, end) : "";
}

const Figure* FigureOf(const std::string& part, const std::string& name) {
    if (name == c_Sound) {
        return nullptr;
    }
    const Figure* const figure = FindFigure(name);
    if (figure == nullptr) {
        std::string names = c_Sound;
        for (const Figure& known : Figures()) {
            names += std::string(", ") + known.name;
        }
        Refuse(part, "'" + name + "' is not a figure; there are " + names);
    }
    return figure;
}

double LimitOf(const std::string& part, const std::string& text, const Figure* figure) {
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    if (end == text.c_str() || !std::isfinite(number)) {
        Refuse(part, "'" + text + "' is not a number");
    }
    const std::string unit = Trimmed(end);
    const std::vector<UnitName>& units = UnitsOf(figure);
    const auto found = std::find_if(units.begin(), units.end(), [&](const UnitName& u) { return unit == u.name; });
    if (found == units.end()) {
        const std::string names = NamesOf(units);
        Refuse(part, unit.empty()    ? "the unit is missing: " + names
                     : names.empty() ? "the number has no unit"
                                     : "the unit is " + names + ", not '" + unit + "'");
    }
    return number * found->factor;
}

Condition ParseOne(const std::string& part) {
    const std::size_t at = part.find_first_of("<>");
    if (at == std::string::npos || at == 0) {
        Refuse(part, "is not of the form p99>2mm");
    }
    Condition condition;
    condition.text = part;
    condition.isAbove = part[at] == '>';
    condition.includesLimit = at + 1 < part.size() && part[at + 1] == '=';
    std::string name = Trimmed(part.substr(0, at));
    condition.isAverage = name.rfind(c_Average, 0) == 0;
    if (condition.isAverage) {
        name.erase(0, sizeof c_Average - 1);
    }
    condition.figure = FigureOf(part, name);
    condition.limit = LimitOf(part, Trimmed(part.substr(at + (condition.includesLimit ? 2 : 1))), condition.figure);
    return condition;
}

std::string InFrame(const Condition& condition, const FigureSummary& summary, double value) {
    return condition.text + ": " + FigureText(summary.figure->unit, value) +
           (condition.isAverage ? " on average" : " in frame " + std::to_string(summary.worstFrame));
}

}  // namespace

bool Condition::Holds(double value) const {
    return (isAbove ? value > limit : value < limit) || (includesLimit && value == limit);
}

std::vector<Condition> ParseConditions(const std::string& text) {
    std::vector<Condition> conditions;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        conditions.push_back(ParseOne(Trimmed(text.substr(begin, end - begin))));
        begin = end + 1;
    }
    return conditions;
}

std::optional<std::string> Check(const Condition& condition, const std::vector<FigureSummary>& summaries,
                                 const std::optional<SoundFigures>& sound) {
    if (condition.figure == nullptr) {
        if (!sound || !condition.Holds(std::fabs(sound->offset))) {
            return std::nullopt;
        }
        char text[64];
        std::snprintf(text, sizeof text, ": %+.1f ms", sound->offset * 1000);
        return condition.text + text;
    }
    for (const FigureSummary& summary : summaries) {
        if (summary.figure == condition.figure) {
            const double value = condition.isAverage ? summary.average : summary.worst;
            return condition.Holds(value) ? std::optional(InFrame(condition, summary, value)) : std::nullopt;
        }
    }
    return std::nullopt;
}

}  // namespace Nimb::Tool
