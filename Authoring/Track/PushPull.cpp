// Push-pull (Gortler, Grzeszczuk, Szeliski and Cohen, "The Lumigraph", 1996): known pixels are averaged into smaller
// and smaller pictures; on the way back, each unknown pixel is interpolated from the next smaller picture.
#include "Authoring/Track/PushPull.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace Nimb::Authoring {
namespace {

constexpr std::size_t c_Channels = 4;

/// So far, colours go on as they are: video with halved colour resolution mixes no charts then that are twice as far
/// apart, and coding errors of a neighbouring chart stay outside.
constexpr std::size_t c_Rings = 4;

/// Gives pixels beside known ones the mean colour of these, ring by ring.
class Rings {
public:
    Rings(Image& image, std::vector<BYTE>& known) : m_Image(image), m_Known(known) {}

    void Grow() {
        std::vector<std::size_t> ring;
        for (std::size_t i = 0; i < m_Known.size(); ++i) {
            if (m_Known[i] == 0 && SetMean(i)) {
                ring.push_back(i);
            }
        }
        for (std::size_t count = 1; count < c_Rings && !ring.empty(); ++count) {
            Keep(ring);
            std::vector<std::size_t> next;
            for (const std::size_t i : ring) {
                ForEachNeighbour(i, [&](std::size_t other) {
                    if (m_Known[other] == 0) {
                        next.push_back(other);
                    }
                });
            }
            std::sort(next.begin(), next.end());
            next.erase(std::unique(next.begin(), next.end()), next.end());
            for (const std::size_t i : next) {
                SetMean(i);
            }
            ring = std::move(next);
        }
        Keep(ring);
    }

private:
    template <class Visit>
    void ForEachNeighbour(std::size_t pixel, const Visit& visit) const {
        const std::size_t x = pixel % m_Image.width, y = pixel / m_Image.width;
        for (std::size_t ny = y == 0 ? 0 : y - 1; ny < std::min(y + 2, m_Image.height); ++ny) {
            for (std::size_t nx = x == 0 ? 0 : x - 1; nx < std::min(x + 2, m_Image.width); ++nx) {
                visit(ny * m_Image.width + nx);
            }
        }
    }

    bool SetMean(std::size_t pixel) {
        std::array<unsigned, c_Channels> sum{};
        unsigned count = 0;
        ForEachNeighbour(pixel, [&](std::size_t other) {
            if (m_Known[other] != 0) {
                for (std::size_t c = 0; c < c_Channels; ++c) {
                    sum[c] += m_Image.rgba[other * c_Channels + c];
                }
                ++count;
            }
        });
        for (std::size_t c = 0; c < c_Channels && count > 0; ++c) {
            m_Image.rgba[pixel * c_Channels + c] = static_cast<BYTE>((sum[c] + count / 2) / count);
        }
        return count > 0;
    }

    void Keep(const std::vector<std::size_t>& ring) {
        for (const std::size_t i : ring) {
            m_Known[i] = 1;
        }
    }

    Image& m_Image;
    std::vector<BYTE>& m_Known;
};

struct PyramidLevel {
    Image image;
    std::vector<BYTE> known;
};

/// The mean of the known ones among four pixels.
PyramidLevel HalfOf(const Image& image, const std::vector<BYTE>& known) {
    const std::size_t width = (image.width + 1) / 2, height = (image.height + 1) / 2;
    PyramidLevel half{Image(width, height), std::vector<BYTE>(width * height)};
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            std::array<unsigned, c_Channels> sum{};
            unsigned count = 0;
            for (std::size_t py = 2 * y; py < std::min(2 * y + 2, image.height); ++py) {
                for (std::size_t px = 2 * x; px < std::min(2 * x + 2, image.width); ++px) {
                    if (known[py * image.width + px] != 0) {
                        const BYTE* const pixel = image.Pixel(px, py);
                        for (std::size_t c = 0; c < c_Channels; ++c) {
                            sum[c] += pixel[c];
                        }
                        ++count;
                    }
                }
            }
            if (count > 0) {
                half.known[y * width + x] = 1;
                for (std::size_t c = 0; c < c_Channels; ++c) {
                    half.image.Pixel(x, y)[c] = static_cast<BYTE>((sum[c] + count / 2) / count);
                }
            }
        }
    }
    return half;
}

/// The two pixels of the half picture that a pixel lies between, along an axis; the nearer one counts three times.
struct Between {
    std::size_t near, far;

    Between(std::size_t place, std::size_t halfCount) : near(place / 2), far(near) {
        if (place % 2 == 0) {
            far = near == 0 ? 0 : near - 1;
        } else {
            far = std::min(near + 1, halfCount - 1);
        }
    }
};

void FillFromHalf(const Image& half, const std::vector<BYTE>& known, Image& image) {
    for (std::size_t y = 0; y < image.height; ++y) {
        const Between rows(y, half.height);
        for (std::size_t x = 0; x < image.width; ++x) {
            if (known[y * image.width + x] != 0) {
                continue;
            }
            const Between columns(x, half.width);
            const BYTE *const nn = half.Pixel(columns.near, rows.near), *const fn = half.Pixel(columns.far, rows.near);
            const BYTE *const nf = half.Pixel(columns.near, rows.far), *const ff = half.Pixel(columns.far, rows.far);
            BYTE* const pixel = image.Pixel(x, y);
            for (std::size_t c = 0; c < c_Channels; ++c) {
                pixel[c] = static_cast<BYTE>((9 * nn[c] + 3 * fn[c] + 3 * nf[c] + ff[c] + 8) / 16);
            }
        }
    }
}

}  // namespace

void FillUnknown(Image& image, std::vector<BYTE> known) {
    if (std::all_of(known.begin(), known.end(), [](BYTE k) { return k == 0; })) {
        return;
    }
    Rings(image, known).Grow();
    std::vector<PyramidLevel> levels;
    const Image* smallest = &image;
    const std::vector<BYTE>* smallestKnown = &known;
    while (std::find(smallestKnown->begin(), smallestKnown->end(), 0) != smallestKnown->end()) {
        PyramidLevel half = HalfOf(*smallest, *smallestKnown);
        levels.push_back(std::move(half));
        smallest = &levels.back().image;
        smallestKnown = &levels.back().known;
    }
    for (std::size_t i = levels.size(); i-- > 1;) {
        FillFromHalf(levels[i].image, levels[i - 1].known, levels[i - 1].image);
    }
    if (!levels.empty()) {
        FillFromHalf(levels.front().image, known, image);
    }
}

}  // namespace Nimb::Authoring
