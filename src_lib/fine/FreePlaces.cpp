// Chooses of many moves those that don't make a mesh cross itself.
//
// A pair that crosses after all moves and didn't before loses the moves of its six corners, after which it is as it was.
// That may put others in its way, so the pairs are looked for again. Each time some moves are dropped, so it ends: at the
// latest with no move, and no new pair.
#include "FreePlaces.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace TARN_KEL {

FreePlaces::FreePlaces(std::vector<Point3> vStart, std::vector<IndexTriple> vTriangles)
    : vPlace(std::move(vStart)), vTriangle(std::move(vTriangles)) {
    countCrossings(vPlace, vTriangle, &vBefore);
}

std::vector<FreePlaces::Index> FreePlaces::putBack(std::vector<Point3>& vTo) {
    std::vector<Index> vPutBack;
    while (putBackNewPairs(vTo, vPutBack)) {
    }
    return vPutBack;
}

/// False when there was none to put back.
bool FreePlaces::putBackNewPairs(std::vector<Point3>& vTo, std::vector<Index>& vPutBack) {
    const std::size_t numBefore = vPutBack.size();
    std::vector<CrossingPair> vNew;
    countCrossings(vTo, vTriangle, &vNow);
    std::set_difference(vNow.begin(), vNow.end(), vBefore.begin(), vBefore.end(), std::back_inserter(vNew));
    for (const CrossingPair& pair : vNew)
        for (const std::uint32_t triangle : {pair.first, pair.second})
            for (const Index vertex : vTriangle[triangle])
                if (!(vTo[vertex] == vPlace[vertex])) {
                    vTo[vertex] = vPlace[vertex];
                    vPutBack.push_back(vertex);
                }
    return vPutBack.size() > numBefore;
}

void FreePlaces::accept(std::vector<Point3> vTo) {
    vPlace = std::move(vTo);
    vBefore.swap(vNow);
}

}  // namespace TARN_KEL
