// Texels that show a surface's colours as nearly as linear filtering can.
#pragma once

#include "Authoring/Scene/Atlas.h"
#include "Authoring/Scene/Image.h"

#include <glm/vec2.hpp>
#include <glm/vec4.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Nimb::Authoring {

/// The places within a texel whose colours are fitted, from its middle, in texels: those of Gauss's quadrature between
/// the middles of texels, so that the places stand for all that lies between them.
constexpr double c_GaussPlace = 0.21132486540518713;  // (3 - sqrt(3)) / 6
constexpr std::array<glm::dvec2, 4> c_FittedPlaces = {
    {glm::dvec2(-c_GaussPlace, -c_GaussPlace), glm::dvec2(c_GaussPlace, -c_GaussPlace),
     glm::dvec2(-c_GaussPlace, c_GaussPlace), glm::dvec2(c_GaussPlace, c_GaussPlace)}};

/// A texel that takes the colour in its middle blurs what it is made from, since filtering blurs once more. These are
/// the texels for which the filtered picture is nearest to the colours asked for, by least squares. Takes 20 bytes a
/// texel of the picture.
class TexelFit {
public:
    explicit TexelFit(const PictureSize& size);

    using Colours = std::array<glm::vec4, c_FittedPlaces.size()>;  // 0 to 255, at c_FittedPlaces

    /// Once for a texel, by its number in the picture, row by row.
    void Add(std::size_t texel, const Colours& colours);

    /// The picture with the texels that were added.
    Image Solve();

    /// Of each texel: 1 where it was added.
    const std::vector<BYTE>& Known() const { return m_Known; }

private:
    static constexpr std::size_t c_Channels = 4;
    using Sums = std::array<std::uint16_t, c_Channels>;

    void Sum(std::size_t texel, const Colours& colours);
    void AddTo(std::ptrdiff_t x, std::ptrdiff_t y, const glm::vec4& colour);
    std::vector<BYTE> AddRim();
    bool IsInside(const std::vector<BYTE>& added, std::size_t x, std::size_t y) const;
    void Improve(std::size_t texel);

    const PictureSize m_Size;
    std::vector<BYTE> m_Known;
    std::vector<Sums> m_Sums;    // of the colours of places, as far as they take a texel, in 1/64
    std::vector<Sums> m_Texels;  // in 1/64
};

}  // namespace Nimb::Authoring
