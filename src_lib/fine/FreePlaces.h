#pragma once

#include <cstdint>
#include <vector>

#include "countCrossings.h"

namespace TARN_KEL {

/// Moves the vertices of a mesh in rounds, and keeps all pairs of triangles from crossing but those that cross at the start.
class FreePlaces {
public:
    using Index = std::uint32_t;

    /// vStart: of each vertex. vTriangles: three positions in it each. Cost: that of countCrossings().
    FreePlaces(std::vector<Point3> vStart, std::vector<IndexTriple> vTriangles);

    /// Where the vertices are.
    const std::vector<Point3>& places() const { return vPlace; }
    /// Puts vertices back to where they are, until no new pair crosses: of each new pair all corners.
    /// vTo: a place for each vertex. Returns those that were put back.
    /// Cost: that of countCrossings(), times the number of times that new pairs are found; mostly once or twice.
    std::vector<Index> putBack(std::vector<Point3>& vTo);
    /// Begins the next round. vTo: as putBack() left it at last.
    void accept(std::vector<Point3> vTo);

private:
    bool putBackNewPairs(std::vector<Point3>& vTo, std::vector<Index>& vPutBack);

    std::vector<Point3> vPlace;
    const std::vector<IndexTriple> vTriangle;
    std::vector<CrossingPair> vBefore;  // this round
    std::vector<CrossingPair> vNow;     // of what putBack() looked at last
};

}  // namespace TARN_KEL
