#pragma once

namespace TARN_OCTREE {

/// A curve that fills a box: points that are near on the curve are near in space. Used to sort elements by locality.
///
/// The box is halved along all axes again and again; each time the curve goes through the eight octants in one of twelve
/// orders (its state), from octant to adjacent octant, so consecutive keys belong to cells with a common side.
class GSS_HC3 {
public:
    /// xmin to zmax: the box.
    /// bits: the length of a key, three bits for each halving. Ends the process with exit status 1 when it isn't divisible
    /// by 3 or is above 32.
    GSS_HC3(double xmin, double ymin, double zmin, double xmax, double ymax, double zmax, unsigned bits);

    /// The key of a point of the box, below 2^bits.
    unsigned iReset(double x, double y, double z) const;

private:
    double xmin, ymin, zmin;
    int bits;
    double xLength, yLength, zLength;  // of the box
};

}  // namespace TARN_OCTREE
