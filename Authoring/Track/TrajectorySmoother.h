// Takes noise out of a run: what a vertex's way through the frames has that no motion has.
#pragma once

#include "Authoring/Track/TrackedSurface.h"

#include <array>
#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

/// Whittaker's smoother with third differences ("On a New Method of Graduation", 1923), which leaves constant
/// acceleration as it is. Belongs to one thread.
class TrajectorySmoother {
public:
    /// Of ways through so many frames. Those through fewer than 4 stay as they are.
    explicit TrajectorySmoother(std::size_t frames);

    /// `way`: where a vertex is in each frame; `normals`: of unit length or zero, likewise. The result stays within
    /// about `most` metres of it along the normal, and within three times that across it: fast limbs are followed, only
    /// less smoothly. Valid until the next call.
    const Points& Smooth(const Points& way, const Points& normals, double most);

private:
    static constexpr std::size_t c_Order = 3;
    using Row = std::array<double, c_Order + 1>;  // of a symmetric band matrix: an entry and those to its left

    void Solve(const Points& way);
    bool Reweight(const Points& way, const Points& normals, double most);

    std::vector<Row> m_Penalty, m_Factor;
    std::vector<double> m_Weights;
    Points m_Smooth;
};

}  // namespace Nimb::Authoring
