#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "CornerStore.h"
#include "signedField.h"

namespace TARN_KEL {

/// Smooths the values of the free corners of a field: each becomes the mean of itself and its neighbours, in rounds that
/// work from the values of the round before (Jacobi).
///
/// Free corners are those of the states ST_LOWER_BORDER, ST_UPPER_BORDER and ST_INFLATED. All others keep their values,
/// which count in the means of their free neighbours. A border corner keeps its sign, and its distance is at most half a
/// cell. A mean of 0 becomes the smallest normal number, so that every free corner has a sign.
///
/// Gap closing spends most of its time here, so the rounds run on arrays of their own, see the source file. All arithmetic
/// is in single precision in the order of the slots: the same bits on any number of processors.
class CornerLowPass {
public:
    /// Reads the values of all corners; no corner may be added before store().
    /// vCorners: in the order of their indexes.
    /// halfSideLen: half the edge of a cell.
    /// bUseWeights: weighted means; else plain means, after which all weights are 1.
    /// Throws KelBugException when a free corner or a neighbour of one has no value, or a border corner has the wrong sign.
    /// Cost: linear in all corners.
    CornerLowPass(const std::vector<Corner*>& vCorners, float halfSideLen, bool bUseWeights);
    /// One round over the free corners, on the pool.
    void runRound();
    /// Writes the values and weights back.
    void store() const;

    // ---- The lattice for smoothRound()

    using Real = float;
    static constexpr std::size_t MIN_PARALLEL = 20000;  ///< free corners; fewer are done before a worker wakes up

    std::size_t size() const { return vFree.size(); }
    int numTerms(std::size_t i) const { return vFree[i].numTerms; }
    template <typename Add>
    void forEachTerm(std::size_t i, const Add& add) const {
        const NeigStruct& corner = vFree[i];
        add(vTerm[corner.own].weighted, vTerm[corner.own].weight);
        for (const std::uint32_t neig : corner.neigs)
            add(vTerm[neig].weighted, vTerm[neig].weight);
    }
    void settle(std::size_t i, const FieldValue& mean);
    void endRound() { vTerm.swap(vNextTerm); }

private:
    /// What a corner adds to a mean. A free slot adds nothing: two zeros.
    struct Term {
        float weighted = 0.0F;
        float weight = 0.0F;
    };
    /// A free corner: its place and those of its neighbours among the terms. Free slots refer to the empty term.
    struct NeigStruct {
        std::uint32_t own;
        std::array<std::uint32_t, 6> neigs;
        std::int16_t numTerms;  // with its own
        std::int16_t state;
    };

    Term makeTerm(const Corner& corner) const;
    NeigStruct makeNeigStruct(std::uint32_t idx) const;
    float keepSide(int state, float newVal) const;

    const std::vector<Corner*>& corners;
    float halfSideLen;
    bool bUseWeights;
    std::vector<Term> vTerm, vNextTerm;  // by index, then one empty term; fixed corners are the same in both
    std::vector<NeigStruct> vFree;
    std::vector<float> vVal;  // of the free corners, in their order
};

}  // namespace TARN_KEL
