// What an input has that its clip does not keep.
#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace Nimb::Authoring {

/// The same thing may be lost in many frames: it is reported once, with the number of places. Any thread may use it.
class Warnings {
public:
    /// `what` happened at `place`; the same twice counts once.
    void Add(const std::string& what, const std::string& place);

    bool HasNew() const;

    /// "PLACE: WHAT", or "PLACE and 11 more: WHAT", for each `what` that has not been taken yet, in the order in which
    /// they were first added. The place is the first in natural order.
    std::vector<std::string> TakeNew();

private:
    struct Kind {
        std::string what;
        std::vector<std::string> places;  // sorted, shorter ones first: 9 comes before 10
        bool isTaken = false;
    };

    mutable std::mutex m_Mutex;
    std::vector<Kind> m_Kinds;
};

}  // namespace Nimb::Authoring
