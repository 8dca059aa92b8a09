#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "FlatSurface.h"
#include "Quadric.h"
#include "listsByNumber.h"

namespace TARN_KEL {

/// The vertices of an original surface, and the centres of its triangles, as samples for a reduced one: each stands above
/// the nearest triangle, at a height that falls or rises with the three corners of that.
///
/// So how well a vertex fits is a sum of squares in its place, as long as samples stay above their triangles. Heights are
/// kept up to date while vertices move.
class FitSamples {
public:
    using Index = FlatSurface::Index;

    /// Both are only referred to during the call. Uses the pool. Cost: O(n log n).
    FitSamples(const FlatSurface& surface, const FlatSurface& original);

    /// The sum of the squared heights around a vertex at that place, as a function of its place.
    Quadric around(Index vertex, const Vector3& place) const;
    /// To be called when the vertex has moved.
    void move(Index vertex, const Vector3& way);

private:
    struct Sample {
        std::array<Index, 3> aVertex;   // the corners of its triangle
        std::array<double, 3> aWeight;  // barycentric coordinates of its foot
        Vector3 normal;                 // of length 1
        double height;
        double weight;
    };
    struct Share {
        Index sample;
        Index corner;
    };

    void findFeet(const FlatSurface& surface, const FlatSurface& original);
    void listShares(std::size_t numVertices);

    std::vector<Sample> vSample;
    ListsByNumber<Share> shares;  // of each vertex
};

}  // namespace TARN_KEL
