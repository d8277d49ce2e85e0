// What comparing one frame yields: figures, and what tells faults apart.
#pragma once

#include "Authoring/Surface/SurfaceComparison.h"
#include "Tools/nimb/Compare/SurfaceEvidence.h"
#include "Tools/nimb/Compare/TextureShift.h"
#include "Tools/nimb/Compare/ViewFigures.h"

#include <optional>
#include <string>
#include <vector>

namespace Nimb::Tool {

struct FrameResult {
    std::size_t number = 0;
    std::string problem;  ///< why there is nothing else; empty: there is

    Authoring::DistanceFigures fromSource, fromClip, distance;
    double pointPsnr = 0;
    double planePsnr = 0;
    double peak = 0;          ///< metres
    double flippedShare = 0;  ///< of the clip's area
    ViewFigures views;
    std::optional<double> flicker;  ///< none when the frame before was not compared

    SurfaceShift shift;
    LoneParts parts;
    TextureShift texture;
    std::vector<float> sourceSignature, clipSignature;  ///< SignatureOf
};

/// The figures that results have, in the order in which they are shown.
struct Figure {
    enum class Unit { Metres, Decibels, Share, Index, Levels };

    const char* name;   ///< as conditions and JSON have it
    const char* title;  ///< for people
    Unit unit;
    bool isWorseAbove;
    std::optional<double> (*of)(const FrameResult&);
};

const std::vector<Figure>& Figures();
/// Null when there is no figure of the name.
const Figure* FindFigure(const std::string& name);

/// "0.125 mm", "41.20 dB", "1.5 %".
std::string FigureText(Figure::Unit unit, double value);
/// As it is shown and in JSON: distances in millimetres, shares in percent.
double ShownValue(Figure::Unit unit, double value);

/// One figure over a clip. The average PSNR is that of the average mean square, so that frames without an error count.
struct FigureSummary {
    const Figure* figure;
    double average = 0;
    double worst = 0;
    std::size_t worstFrame = 0;
};

/// Of the frames that were compared; figures that no frame has are left out.
std::vector<FigureSummary> Summarise(const std::vector<FrameResult>& results);

}  // namespace Nimb::Tool
