// With W for linear filtering and t for the colours asked for, W' W x = W' t. Within a chart W' W is the same for all
// texels: on an axis 4/3 for a texel itself and 1/3 for either neighbour, and products of these in the plane. What a
// texel needs fades by a factor of almost four from texel to texel, so a few sweeps of the method of Gauss and Seidel
// solve that.
#include "Authoring/Track/TexelFit.h"

#include <algorithm>

namespace Nimb::Authoring {
namespace {

constexpr int c_White = 255;
constexpr int c_One = 64;  // of what sums and texels are kept in: the largest sum, 4 c_White, has room in 16 bits
constexpr int c_Sweeps = 3;

// In W: a place and the four texels around it.
constexpr auto c_Share = static_cast<float>(c_GaussPlace);  // of the next texel on an axis
constexpr float c_Own = (1 - c_Share) * (1 - c_Share), c_Beside = (1 - c_Share) * c_Share, c_Across = c_Share * c_Share;

// In W' W, in 1/9: a texel and the eight around it.
constexpr int c_Squares = 9, c_OwnSquare = 16, c_BesideSquare = 4, c_AcrossSquare = 1;

}  // namespace

TexelFit::TexelFit(const PictureSize& size)
    : m_Size(size),
      m_Known(size.width * size.height),
      m_Sums(size.width * size.height),
      m_Texels(size.width * size.height) {}

void TexelFit::Add(std::size_t texel, const Colours& colours) {
    Sum(texel, colours);
    m_Known[texel] = 1;
}

void TexelFit::Sum(std::size_t texel, const Colours& colours) {
    const auto& [topLeft, topRight, bottomLeft, bottomRight] = colours;
    const glm::vec4 all = topLeft + topRight + bottomLeft + bottomRight;
    const auto x = static_cast<std::ptrdiff_t>(texel % m_Size.width);
    const auto y = static_cast<std::ptrdiff_t>(texel / m_Size.width);
    AddTo(x - 1, y - 1, c_Across * topLeft);
    AddTo(x, y - 1, c_Beside * (topLeft + topRight));
    AddTo(x + 1, y - 1, c_Across * topRight);
    AddTo(x - 1, y, c_Beside * (topLeft + bottomLeft));
    AddTo(x, y, c_Own * all);
    AddTo(x + 1, y, c_Beside * (topRight + bottomRight));
    AddTo(x - 1, y + 1, c_Across * bottomLeft);
    AddTo(x, y + 1, c_Beside * (bottomLeft + bottomRight));
    AddTo(x + 1, y + 1, c_Across * bottomRight);
    const glm::vec4 mean = all * (0.25F * c_One) + 0.5F;
    for (std::size_t c = 0; c < c_Channels; ++c) {
        m_Texels[texel][c] = static_cast<std::uint16_t>(mean[static_cast<int>(c)]);
    }
}

void TexelFit::AddTo(std::ptrdiff_t x, std::ptrdiff_t y, const glm::vec4& colour) {
    const auto column = static_cast<std::size_t>(x), row = static_cast<std::size_t>(y);
    if (column < m_Size.width && row < m_Size.height) {  // what is below 0 wraps
        Sums& sums = m_Sums[row * m_Size.width + column];
        const glm::vec4 rounded = colour * static_cast<float>(c_One) + 0.5F;
        for (std::size_t c = 0; c < c_Channels; ++c) {
            sums[c] = static_cast<std::uint16_t>(sums[c] + static_cast<int>(rounded[static_cast<int>(c)]));
        }
    }
}

bool TexelFit::IsInside(const std::vector<BYTE>& added, std::size_t x, std::size_t y) const {
    if (x == 0 || y == 0 || x + 1 == m_Size.width || y + 1 == m_Size.height) {
        return false;
    }
    const auto areAdded = [&](std::size_t row) {
        const BYTE* const here = &added[row * m_Size.width + x];
        return (here[-1] & here[0] & here[1]) != 0;
    };
    return areAdded(y - 1) && areAdded(y) && areAdded(y + 1);
}

/// The next texels go on from the outermost ones with the mean of their colours, so that these have all neighbours.
/// Returns which texels were added then.
std::vector<BYTE> TexelFit::AddRim() {
    std::vector<BYTE> added = m_Known;
    for (std::size_t i = 0; i < m_Known.size(); ++i) {
        const std::size_t x = i % m_Size.width, y = i / m_Size.width;
        if (m_Known[i] != 0) {
            continue;
        }
        glm::vec4 sum(0);
        float count = 0;
        for (std::size_t v = y == 0 ? 0 : y - 1; v < std::min(y + 2, m_Size.height); ++v) {
            for (std::size_t u = x == 0 ? 0 : x - 1; u < std::min(x + 2, m_Size.width); ++u) {
                if (m_Known[v * m_Size.width + u] != 0) {
                    const Sums& texel = m_Texels[v * m_Size.width + u];
                    sum += glm::vec4(texel[0], texel[1], texel[2], texel[3]);
                    ++count;
                }
            }
        }
        if (count > 0) {
            Colours colours;
            colours.fill(sum / (count * c_One));
            Sum(i, colours);
            added[i] = 1;
        }
    }
    return added;
}

/// `texel`: one that IsInside.
void TexelFit::Improve(std::size_t texel) {
    const Sums *const above = &m_Texels[texel - m_Size.width], *const below = &m_Texels[texel + m_Size.width];
    Sums* const here = &m_Texels[texel];
    for (std::size_t c = 0; c < c_Channels; ++c) {
        const int beside = above[0][c] + below[0][c] + here[-1][c] + here[1][c];
        const int across = above[-1][c] + above[1][c] + below[-1][c] + below[1][c];
        const int own = c_Squares * m_Sums[texel][c] - c_BesideSquare * beside - c_AcrossSquare * across;
        here[0][c] = static_cast<std::uint16_t>(std::clamp((own + c_OwnSquare / 2) / c_OwnSquare, 0, c_White * c_One));
    }
}

Image TexelFit::Solve() {
    const std::vector<BYTE> added = AddRim();
    std::vector<UINT32> inside;
    for (std::size_t y = 0; y < m_Size.height; ++y) {
        for (std::size_t x = 0; x < m_Size.width; ++x) {
            if (IsInside(added, x, y)) {
                inside.push_back(static_cast<UINT32>(y * m_Size.width + x));
            }
        }
    }
    for (int i = 0; i < c_Sweeps; ++i) {
        for (const UINT32 texel : inside) {
            Improve(texel);
        }
        std::reverse(inside.begin(), inside.end());
    }
    Image picture(m_Size.width, m_Size.height);
    for (std::size_t i = 0; i < m_Texels.size(); ++i) {
        for (std::size_t c = 0; c < c_Channels; ++c) {
            picture.rgba[i * c_Channels + c] = static_cast<BYTE>((m_Texels[i][c] + c_One / 2) / c_One);
        }
    }
    return picture;
}

}  // namespace Nimb::Authoring
