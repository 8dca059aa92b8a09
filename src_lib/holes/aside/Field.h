// The dense field of a hole. No public function reaches it: it belongs to Hole.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "Box.h"

namespace TARN_KEL {

/// The value of a lattice point that has none: the largest float.
constexpr float FLT_UNDEF = 3.40282346638528859811704183484516925e+38F;
// Weights of seeded values. They are compared exactly: an entry with one of them is fixed.
constexpr float WEIGHT_REL = 1.002F;    ///< by a triangle on smooth surface
constexpr float WEIGHT_REL_LOW = 0.3F;  ///< by a triangle at a crease or without a normal

/// A lattice point of the field.
struct MatrixEntry {
    float val = FLT_UNDEF;  ///< signed distance to the surface, in the cloud's unit; negative behind the triangles
    float weight = 1.0F;    ///< confidence of the value in averages, and the mark of seeded entries
};

/// Lattice points by address.
class Matrix {
public:
    Matrix() = default;
    explicit Matrix(int size) : pEntries(std::make_unique<MatrixEntry[]>(static_cast<std::size_t>(size))) {}
    bool empty() const { return pEntries == nullptr; }
    MatrixEntry& operator[](int address) { return pEntries[static_cast<std::size_t>(address)]; }
    const MatrixEntry& operator[](int address) const { return pEntries[static_cast<std::size_t>(address)]; }

private:
    std::unique_ptr<MatrixEntry[]> pEntries;
};

/// Signed distances on the points of a box: seeded around a hole, grown across it, smoothed.
///
/// Takes 8 bytes for each point of the box, whether or not it has a value. Uses one thread, except for sorting. Failed
/// conditions throw KelBugException.
struct Field : Box {
    /// Whether there is a matrix, and a value at the address.
    bool hasValue(int address) const { return !pArray.empty() && pArray[address].val != FLT_UNDEF; }
    /// Gives a point a distance to the surface. Of several seeds the smallest distance and the first weight count.
    void seed(int address, double distance, bool bReliable);

    /// numGrowSteps rings, each smoothed, then a long smoothing. vAddr becomes sorted, each address once.
    void inflate();
    /// Grows one ring: gives a value to each free neighbour of the points of vAddrIn whose value isn't 0 and wasn't seeded
    /// at a crease. A new point is one cell edge farther from the surface than the nearest of the points that it grows from;
    /// of equally near ones the first in vAddrIn counts. The new addresses are appended to vAddr.
    /// step: not used.
    /// vNextAddr: gets the new addresses, ascending; must be empty (assertion).
    /// Cost: O(n log n).
    void inflateOneStep(int step, std::vector<int>& vAddrIn, std::vector<int>& vNextAddr);
    /// Sorts the list, then smooths: in each round every point of the list that isn't fixed becomes the mean of itself and
    /// its neighbours with a value, as they were after the round before. A mean of 0 becomes the smallest normal float, so
    /// that every point that isn't fixed has a sign.
    /// numIter: number of rounds.
    /// bUseWeights: weighted means; else plain means, after which the weights are 1.
    void lowPassFor(std::vector<int>& vAddresses, int numIter, bool bUseWeights);
    /// Gives values of exactly 0 the smallest normal float, since 0 has no sign.
    void liftZeros();

    /// Prints, and all values at addresses in use must be numbers (assertion).
    void checkIntegrity(const std::string& text) const;

    float sideLen = 0.0F;    ///< cell edge
    int numGrowSteps = 0;    ///< rings
    Matrix pArray;           ///< x runs fastest, then y, then z
    std::vector<int> vAddr;  ///< the addresses with a value, except carried ones; in order of seeding until inflate()
};

}  // namespace TARN_KEL
