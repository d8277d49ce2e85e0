#include "Tools/nimb/SizePlot.h"

#include "Tools/nimb/RoundUp.h"
#include "Tools/nimb/Viewer/Text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace Nimb::Tool {
namespace {

using Authoring::FrameKind;
using Authoring::Image;

constexpr Colour c_Paper = {255, 255, 255, 255};
constexpr Colour c_Ink = {40, 40, 40, 255};
constexpr Colour c_Grid = {225, 225, 225, 255};
constexpr Colour c_Video = {170, 190, 210, 255};

struct KindStyle {
    FrameKind kind;
    Colour colour;
    const char* label;
};
constexpr KindStyle c_Kinds[] = {{FrameKind::Key, {204, 85, 0, 255}, "mesh, key"},
                                 {FrameKind::Delta, {0, 110, 190, 255}, "mesh, delta"},
                                 {FrameKind::Temporal, {90, 150, 60, 255}, "mesh, temporal"},
                                 {FrameKind::Damaged, {220, 0, 60, 255}, "mesh, damaged"},
                                 {FrameKind::Empty, {220, 0, 60, 255}, "no mesh"}};

constexpr std::size_t c_Width = 1280;
constexpr std::size_t c_Left = 110;
constexpr std::size_t c_Right = 20;
constexpr std::size_t c_Head = 84;  // title and legend
constexpr std::size_t c_PanelHeight = 320;
constexpr std::size_t c_PanelFoot = 70;  // times below a panel
constexpr std::size_t c_PlotWidth = c_Width - c_Left - c_Right;
/// A second panel shows the small frames when the largest frame is this many times larger than the largest delta frame.
constexpr double c_ZoomFrom = 3;
constexpr std::size_t c_DotSize = 2;
constexpr std::size_t c_MarkSize = 14;   // of the legend: as high as its capitals
constexpr std::size_t c_TextMiddle = 8;  // from a text's top to the middle of its capitals

const KindStyle& StyleOf(FrameKind kind) {
    return *std::find_if(std::begin(c_Kinds), std::end(c_Kinds),
                         [kind](const KindStyle& style) { return style.kind == kind; });
}

std::size_t TextWidth(const std::string& text) {
    return MeasureText(text, c_DotSize).width;
}

void Write(Image& image, std::size_t x, std::size_t y, const std::string& text) {
    DrawText(image, x, y, text, c_DotSize, c_Ink);
}

/// The start of a text, as much as fits.
std::string Shortened(std::string text, std::size_t width) {
    while (!text.empty() && TextWidth(text) > width) {
        text.pop_back();
    }
    return text;
}

std::string NumberText(double value, double step) {
    const int decimals = std::max(0, static_cast<int>(std::ceil(-std::log10(step) - 1e-9)));
    char text[32];
    std::snprintf(text, sizeof(text), "%.*f", decimals, value);
    return text;
}

double TotalBytes(const PlotFrame& frame) {
    return frame.meshBytes + frame.videoBytes;
}

/// Axes and bars. Bars of more than `largest` bytes end at the top.
class Panel {
public:
    Panel(Image& image, std::size_t top, double largest, const std::vector<PlotFrame>& frames)
        : m_Image(image), m_Top(top), m_Baseline(top + c_PanelHeight), m_Largest(largest), m_Frames(frames) {
        DrawBytesAxis();
        DrawTimeAxis();
        DrawBars();
        FillRectangle(m_Image, c_Left - 2, m_Top, 2, c_PanelHeight + 2, c_Ink);
        FillRectangle(m_Image, c_Left, m_Baseline, c_PlotWidth, 2, c_Ink);
    }

private:
    void DrawBytesAxis() {
        const double step = RoundUp(std::max(m_Largest, 1.0) / 6);
        const bool isKilobytes = m_Largest >= 10000;
        const double unit = isKilobytes ? 1000 : 1;
        m_TopBytes = std::ceil(std::max(m_Largest, 1.0) / step) * step;
        for (double bytes = 0; bytes <= m_TopBytes * (1 + 1e-9); bytes += step) {
            const std::size_t y = m_Baseline - Height(bytes);
            FillRectangle(m_Image, c_Left, y, c_PlotWidth, 1, c_Grid);
            const std::string label = NumberText(bytes / unit, step / unit);
            Write(m_Image, c_Left - 10 - std::min(TextWidth(label), c_Left - 10), y - c_TextMiddle, label);
        }
        Write(m_Image, 8, m_Top - 30, isKilobytes ? "kB" : "bytes");
    }

    void DrawTimeAxis() {
        const char* const caption = "seconds";
        Write(m_Image, c_Left + (c_PlotWidth - TextWidth(caption)) / 2, m_Baseline + c_PanelFoot - 28, caption);
        if (m_Frames.size() < 2) {
            return;
        }
        const double first = m_Frames.front().seconds;
        const auto count = static_cast<double>(m_Frames.size());
        const double span = (m_Frames.back().seconds - first) * count / (count - 1);
        if (!(span > 0)) {
            return;
        }
        const double step = RoundUp(span / 12);
        for (double seconds = std::ceil(first / step) * step; seconds <= (first + span) * (1 + 1e-9); seconds += step) {
            const auto x = c_Left + static_cast<std::size_t>((seconds - first) / span * c_PlotWidth);
            FillRectangle(m_Image, x, m_Baseline, 2, 8, c_Ink);
            const std::string label = NumberText(seconds, step);
            const std::size_t left = x - std::min(x, TextWidth(label) / 2);
            Write(m_Image, std::min(left, c_Width - TextWidth(label)), m_Baseline + 14, label);
        }
    }

    void DrawBars() {
        const std::size_t count = m_Frames.size();
        const std::size_t columns = std::min(count, c_PlotWidth);
        for (std::size_t column = 0; column < columns; ++column) {
            const auto begin = m_Frames.begin() + static_cast<std::ptrdiff_t>(column * count / columns);
            const auto end = m_Frames.begin() + static_cast<std::ptrdiff_t>((column + 1) * count / columns);
            const auto largest = std::max_element(
                begin, end, [](const PlotFrame& a, const PlotFrame& b) { return TotalBytes(a) < TotalBytes(b); });
            const std::size_t left = column * c_PlotWidth / columns;
            const std::size_t width = (column + 1) * c_PlotWidth / columns - left;
            DrawBar(*largest, c_Left + left, width >= 4 ? width - 1 : width);
        }
    }

    void DrawBar(const PlotFrame& frame, std::size_t x, std::size_t width) {
        const std::size_t mesh = Height(frame.meshBytes);
        const std::size_t total = Height(TotalBytes(frame));
        const Colour colour = StyleOf(frame.kind).colour;
        FillRectangle(m_Image, x, m_Baseline - total, width, total - mesh, c_Video);
        FillRectangle(m_Image, x, m_Baseline - mesh, width, mesh, colour);
        if (TotalBytes(frame) > m_TopBytes) {
            FillRectangle(m_Image, x, m_Top + 10, width, 4, c_Paper);  // the bar is broken off
        }
        if (frame.kind == FrameKind::Empty || frame.kind == FrameKind::Damaged) {
            FillRectangle(m_Image, x, m_Baseline + 3, std::max<std::size_t>(width, 3), 8, colour);
        }
    }

    std::size_t Height(double bytes) const {
        return static_cast<std::size_t>(std::lround(std::min(bytes / m_TopBytes, 1.0) * c_PanelHeight));
    }

    Image& m_Image;
    const std::size_t m_Top;
    const std::size_t m_Baseline;
    const double m_Largest;
    const std::vector<PlotFrame>& m_Frames;
    double m_TopBytes = 1;
};

/// Kinds that occur, and the video.
void DrawLegend(Image& image, const std::vector<PlotFrame>& frames) {
    constexpr std::size_t y = 46;
    std::size_t x = c_Left;
    const auto entry = [&](Colour colour, const char* label) {
        FillRectangle(image, x, y, c_MarkSize, c_MarkSize, colour);
        Write(image, x + c_MarkSize + 8, y - c_DotSize, label);
        x += c_MarkSize + 8 + TextWidth(label) + 28;
    };
    for (const KindStyle& style : c_Kinds) {
        if (std::any_of(frames.begin(), frames.end(),
                        [&](const PlotFrame& frame) { return frame.kind == style.kind; })) {
            entry(style.colour, style.label);
        }
    }
    entry(c_Video, "video");
    const std::size_t perColumn = (frames.size() + c_PlotWidth - 1) / c_PlotWidth;
    if (perColumn > 1) {
        Write(image, x, y, "(the largest of " + std::to_string(perColumn) + " frames each)");
    }
}

}  // namespace

Image PlotFrameSizes(const std::string& title, const std::vector<PlotFrame>& frames) {
    double largest = 0;
    double largestSmall = 0;  // of the frames that have neither a key frame nor a key picture
    for (const PlotFrame& frame : frames) {
        largest = std::max(largest, TotalBytes(frame));
        if (frame.kind != FrameKind::Key && !frame.isKeyPicture) {
            largestSmall = std::max(largestSmall, TotalBytes(frame));
        }
    }
    const bool isZoomed = largestSmall > 0 && largest >= c_ZoomFrom * largestSmall;

    constexpr std::size_t panel = c_PanelHeight + c_PanelFoot;
    constexpr std::size_t zoomHead = 40;
    Image image(c_Width, c_Head + panel + (isZoomed ? zoomHead + panel : 0));
    FillRectangle(image, 0, 0, image.width, image.height, c_Paper);
    Write(image, c_Left, 16, Shortened(title, c_PlotWidth));
    DrawLegend(image, frames);
    Panel(image, c_Head, largest, frames);
    if (isZoomed) {
        Write(image, c_Left, c_Head + panel,
              "the same, up to the largest frame that has neither a key frame nor a key picture");
        Panel(image, c_Head + panel + zoomHead, largestSmall, frames);
    }
    return image;
}

}  // namespace Nimb::Tool
