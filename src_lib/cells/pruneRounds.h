#pragma once

#include <vector>

namespace TARN_KEL {

/// Rounds over a list of candidates, each from the back: tryToDoom(cell) takes the cell away and gives true, or gives false.
/// What is kept goes into the list of the next round in the order in which it was tried, so the direction alternates. Ends
/// with the first round that takes nothing; returns what is kept, in the order of that round.
template <typename Code, typename TryToDoom>
std::vector<Code> pruneRounds(std::vector<Code> vWork, const TryToDoom& tryToDoom) {
    std::vector<Code> vKept;
    for (bool bChanged = true; bChanged;) {
        vKept.clear();
        for (auto it = vWork.rbegin(); it != vWork.rend(); ++it)
            if (!tryToDoom(*it)) vKept.push_back(*it);
        bChanged = vKept.size() != vWork.size();
        vWork.swap(vKept);
    }
    return vWork;
}

}  // namespace TARN_KEL
