// Computes keys along the space-filling curve, from two tables.
#include "curve/GSS_HC3.h"

#include <cstdlib>

#include "messages.h"

namespace TARN_OCTREE {

namespace {

// Row: the octant, 4 for the upper half in x, 2 in y, 1 in z. Column: the state, the order in which the curve goes through
// the octants of the current box.

// The state inside the octant.
constexpr unsigned char nextS[8][12] = {
    {1, 2, 0, 6, 11, 4, 5, 6, 10, 4, 7, 10}, {2, 6, 9, 0, 11, 4, 7, 1, 3, 4, 2, 3},   {3, 0, 10, 6, 0, 8, 5, 6, 1, 8, 11, 2},
    {2, 7, 9, 11, 7, 8, 3, 10, 1, 8, 2, 6},  {4, 8, 1, 9, 5, 0, 1, 9, 10, 2, 7, 10},  {5, 8, 1, 0, 9, 6, 1, 4, 3, 7, 5, 3},
    {3, 0, 11, 9, 0, 10, 11, 9, 5, 2, 8, 4}, {5, 7, 11, 8, 7, 6, 11, 10, 9, 3, 5, 4},
};

// The octant's place on the curve, 0 to 7.
constexpr unsigned char addVls[8][12] = {
    {0, 0, 0, 2, 4, 6, 4, 6, 2, 2, 4, 6}, {1, 7, 3, 3, 3, 5, 7, 7, 5, 1, 5, 1}, {3, 1, 7, 1, 5, 1, 3, 5, 3, 5, 7, 7},
    {2, 6, 4, 0, 2, 2, 0, 4, 4, 6, 6, 0}, {7, 3, 1, 5, 7, 7, 5, 1, 1, 3, 3, 5}, {6, 4, 2, 4, 0, 4, 6, 0, 6, 0, 2, 2},
    {4, 2, 6, 6, 6, 0, 2, 2, 0, 4, 0, 4}, {5, 5, 5, 7, 1, 3, 1, 3, 7, 7, 1, 3},
};

}  // namespace

GSS_HC3::GSS_HC3(double xmin_, double ymin_, double zmin_, double xmax, double ymax, double zmax, unsigned bits_)
    : xmin(xmin_),
      ymin(ymin_),
      zmin(zmin_),
      bits(static_cast<int>(bits_)),
      xLength(xmax - xmin_),
      yLength(ymax - ymin_),
      zLength(zmax - zmin_) {
    if (bits_ <= 32 && bits_ % 3 == 0) return;
    TARN_KEL::out() << "GSS_HC3::GSS_HC3(..): invalid bitlength" << std::endl;
    std::exit(1);
}

unsigned GSS_HC3::iReset(double x, double y, double z) const {
    double d[3] = {x - xmin, y - ymin, z - zmin};
    double half[3] = {xLength, yLength, zLength};
    unsigned state = 0;
    unsigned key = 0;
    for (int shift = bits - 3; shift >= 0; shift -= 3) {
        unsigned octant = 0;
        for (int axis = 0; axis < 3; ++axis) {
            half[axis] /= 2.0;
            const bool bUpper = d[axis] >= half[axis];
            if (bUpper) d[axis] -= half[axis];
            octant = 2 * octant + (bUpper ? 1U : 0U);
        }
        key += static_cast<unsigned>(addVls[octant][state]) << shift;
        state = nextS[octant][state];
    }
    return key;
}

}  // namespace TARN_OCTREE
