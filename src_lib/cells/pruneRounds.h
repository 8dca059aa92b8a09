#pragma once

#include <vector>

namespace TARN_KEL {

/// Goes over a list of candidates in rounds, each from the back. Cells that are kept make the list of the next round, in the
/// order in which they were tried, so the direction alternates. Ends with the first round that removes nothing.
/// tryToDoom: tryToDoom(cell) removes the cell and returns true, or returns false.
/// Returns the cells that are kept, in the order of the last round.
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
