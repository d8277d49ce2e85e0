#include "Clip/Read/MeshChecks.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace Nimb::Authoring {
namespace {

constexpr const char* c_Axes = "xyz";
/// Texture coordinates of temporal frames are rounded several times.
constexpr float c_TexCoordSlack = 0.001f;

std::string Number(double value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.9g", value);
    return text;
}

/// How far rounding to float may have moved a bound.
double Slack(double bound) {
    return std::abs(bound) * 1e-6 + 1e-30;
}

std::string Span(char axis, double min, double max) {
    return std::string(1, axis) + " from " + Number(min) + " to " + Number(max);
}

bool IsListWithOddCounts(const SubFrameLayout& sub) {
    return !sub.isDelta && !sub.isStrip && UINT64{3} * sub.header.m_numFaces != sub.header.m_numIndices;
}

void CheckBox(const CStreamingMeshHeader& header, const std::string& whose, const ReportProblem& report) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const float min = header.m_BBoxMin[axis];
        const float max = header.m_BBoxMax[axis];
        if (!std::isfinite(min) || !std::isfinite(max) || min > max) {
            report("box-invalid", whose + " bounding box is not valid: " + Span(c_Axes[axis], min, max));
        }
    }
}

template <class Bound>
void CheckBoxInside(const CStreamingMeshHeader& header, const Bound& min, const Bound& max, const char* kind,
                    const std::string& what, const ReportProblem& report) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double low = header.m_BBoxMin[axis];
        const double high = header.m_BBoxMax[axis];
        if (low < min[axis] - Slack(min[axis]) || high > max[axis] + Slack(max[axis])) {
            report(kind, what + " (" + Span(c_Axes[axis], low, high) + ", not within " +
                             Span(c_Axes[axis], min[axis], max[axis]) + ")");
            return;
        }
    }
}

void CheckSubFrames(const MeshFrameLayout& layout, const ReportProblem& report) {
    UINT64 vertices = 0;
    UINT64 indices = 0;
    for (const SubFrameLayout& sub : layout.subFrames) {
        vertices += sub.header.m_numVertices;
        indices += sub.header.m_numIndices;
        const std::string whose =
            layout.isTemporal ? "sub-mesh " + std::to_string(sub.header.m_SubMeshId) + "'s" : "the frame's";
        CheckBox(sub.header, whose, report);
        if (IsListWithOddCounts(sub)) {
            report("mesh-counts", whose + " " + std::to_string(sub.header.m_numFaces) + " faces do not match its " +
                                      std::to_string(sub.header.m_numIndices) + " indices");
        }
        if (layout.isTemporal) {
            CheckBoxInside(sub.header, layout.header.m_BBoxMin, layout.header.m_BBoxMax, "box-exceeded",
                           "the frame's box does not hold that of sub-mesh " + std::to_string(sub.header.m_SubMeshId),
                           report);
        }
    }
    if (layout.isTemporal) {
        CheckBox(layout.header, "the frame's", report);
        if (vertices != layout.header.m_numVertices || indices != layout.header.m_numIndices) {
            report("mesh-counts", "the frame says " + std::to_string(layout.header.m_numVertices) + " vertices and " +
                                      std::to_string(layout.header.m_numIndices) +
                                      " indices, but its sub-meshes have " + std::to_string(vertices) + " and " +
                                      std::to_string(indices));
        }
    }
}

/// They differ when a delta frame's indices are from an older key frame than its counts, and when the buffer's size
/// wraps.
void CheckIndexCount(const DecodedMesh& mesh, const CStreamingMeshHeader& header, const ReportProblem& report) {
    if (mesh.indexCount != header.m_numIndices) {
        report("mesh-counts", "the frame says " + std::to_string(header.m_numIndices) +
                                  " indices, but its buffer holds " + std::to_string(mesh.indexCount));
    }
}

void CheckIndices(const DecodedMesh& mesh, const ReportProblem& report) {
    std::size_t count = 0;
    std::size_t first = 0;
    for (std::size_t i = 0; i < mesh.indexCount; ++i) {
        if (mesh.indices[i] >= mesh.vertexCount && count++ == 0) {
            first = i;
        }
    }
    if (count != 0) {
        report(c_IndexRange, std::to_string(count) + " of " + std::to_string(mesh.indexCount) +
                                 " indices are out of range; index " + std::to_string(first) + " is " +
                                 std::to_string(mesh.indices[first]) + " where there are " +
                                 std::to_string(mesh.vertexCount) + " vertices");
    }
}

/// Reports once for all vertices that fail `test`.
template <class Test>
void CheckVertices(const DecodedMesh& mesh, const char* kind, const std::string& what, Test&& test,
                   const ReportProblem& report) {
    std::size_t count = 0;
    std::size_t first = 0;
    for (std::size_t i = 0; i < mesh.vertexCount; ++i) {
        if (!test(mesh.vertices[i]) && count++ == 0) {
            first = i;
        }
    }
    if (count != 0) {
        const float* const p = mesh.vertices[first].position;
        report(kind, std::to_string(count) + " of " + std::to_string(mesh.vertexCount) + " vertices have " + what +
                         "; the first is vertex " + std::to_string(first) + " at (" + Number(p[0]) + ", " +
                         Number(p[1]) + ", " + Number(p[2]) + ")");
    }
}

template <std::size_t N>
bool AreNumbers(const float (&values)[N]) {
    return std::all_of(std::begin(values), std::end(values), [](float value) { return std::isfinite(value); });
}

bool IsInside(const DecodedVertex& vertex, const CStreamingMeshHeader& header) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double value = vertex.position[axis];
        const double min = header.m_BBoxMin[axis];
        const double max = header.m_BBoxMax[axis];
        const double slack = std::max(Slack(min), Slack(max));
        if (min > max) {
            continue;  // not a box: reported already
        }
        if (value < min - slack || value > max + slack) {  // NaN is reported elsewhere
            return false;
        }
    }
    return true;
}

}  // namespace

void CheckHeaders(const MeshFrameLayout& layout, const std::optional<FileAttributes>& attributes,
                  const ReportProblem& report) {
    CheckSubFrames(layout, report);
    if (!attributes) {
        return;
    }
    const CStreamingMeshHeader& header = layout.header;
    if (header.m_numVertices > attributes->maxVertexCount) {
        report("attributes-maximum", "the frame has " + std::to_string(header.m_numVertices) +
                                         " vertices, but the attribute atom says at most " +
                                         std::to_string(attributes->maxVertexCount));
    }
    if (header.m_numIndices > attributes->maxIndexCount) {
        report("attributes-maximum", "the frame has " + std::to_string(header.m_numIndices) +
                                         " indices, but the attribute atom says at most " +
                                         std::to_string(attributes->maxIndexCount));
    }
    if (header.m_numVertices != 0) {  // a frame that shows nothing has no place
        CheckBoxInside(header, attributes->bboxMin, attributes->bboxMax, "attributes-box",
                       "the attribute atom's box does not hold the frame's", report);
    }
}

void CheckMesh(const DecodedMesh& mesh, const MeshFrameLayout& layout, const ReportProblem& report) {
    CheckIndexCount(mesh, layout.header, report);
    CheckIndices(mesh, report);
    CheckVertices(
        mesh, c_NotANumber, "positions that are not numbers",
        [](const DecodedVertex& v) { return AreNumbers(v.position); }, report);
    CheckVertices(
        mesh, "box-exceeded", "positions outside the frame's box",
        [&](const DecodedVertex& v) { return IsInside(v, layout.header); }, report);
    CheckVertices(
        mesh, c_NotANumber, "texture coordinates that are not numbers",
        [](const DecodedVertex& v) { return AreNumbers(v.texCoord); }, report);
    CheckVertices(
        mesh, "texture-coordinates", "texture coordinates outside the picture",
        [](const DecodedVertex& v) {
            return std::none_of(std::begin(v.texCoord), std::end(v.texCoord),
                                [](float c) { return c < -c_TexCoordSlack || c > 1 + c_TexCoordSlack; });
        },
        report);
}

}  // namespace Nimb::Authoring
