#pragma once

#include <climits>
#include <memory>
#include <utility>
#include <vector>

#include "Calc.h"
#include "CornerStore.h"
#include "Facet.h"
#include "kel.h"

namespace TARN_KEL {

struct Sheet;

/// The box in which a field grows, in cells, ends included; empty by default.
struct GrowthBox {
    int minX = INT_MAX, minY = INT_MAX, minZ = INT_MAX;
    int maxX = 0, maxY = 0, maxZ = 0;

    bool contains(RCC rcc) const;
};
/// The box of the cells, and margin cells more on each side, but not below 0.
GrowthBox boxAround(const VRCD& vCells, int margin);

/// The signed field around the rims of sheets: values on lattice corners, signed distances in the cloud's unit, negative on
/// the lower side. It starts at the strips of facets near the seam and grows outward step by step, each step smoothed. Where
/// its sign changes, surface is missing.
///
/// A field has its first values from its construction on, so there is none to grow without them. The steps are functions on
/// a store of corners, below. Corners of sheet cells are fixed, except some of rim cells. Failed conditions throw
/// KelBugException. Results don't depend on the number of processors.
class GapField {
public:
    /// seedFromSheet(). box: where the field may grow. The grid of the sheet must outlive the corners.
    GapField(Sheet& sheet, const GrowthBox& box);
    /// growField() in the box.
    void grow(int numGrowSteps);
    /// Ends the field: its corners go to the caller.
    std::unique_ptr<CornerStore> takeCorners() && { return std::move(pStore); }

private:
    GrowthBox growthBox;
    std::unique_ptr<CornerStore> pStore;
};

// ---- First values

/// Creates the corners of all facets of a sheet and gives them their first values: signed distances in the strips, which are
/// the facets near the seam; 0 where the strips meet and outside them. Corners of rim cells that are in one strip only are
/// free. Appends the cells that have a facet without colour to vOpenCells of the sheet.
/// Cost: O(n log n).
void seedFromSheet(Sheet& sheet, CornerStore& store);
/// Gives each corner of the strip's facets a signed distance: to the nearest of the points of the cells whose facets in the
/// strip have this corner.
/// sign: factor of the distances: -1.0 for the lower strip, 1.0 for the upper one.
/// vRCDPoint: sorted.
/// store: must have the corners (assertion).
/// Cost: O(n log n).
void seedStrip(const std::vector<Facet*>& vStrip, double sign, const std::vector<std::pair<RCD, Point3>>& vRCDPoint,
               CornerStore& store);

// ---- Growth

/// Grows the field and smooths it after each step: seven steps, and more as long as the two sides meet somewhere, but at
/// most numGrowSteps.
void growField(CornerStore& store, const GrowthBox& box, int numGrowSteps);
/// Grows the field by one layer of corners. A new corner is one cell farther from the surface than the nearest of its
/// neighbours; where its neighbours have both signs it gets their mean.
/// Returns true when no new corner had neighbours of both signs, so that the sides met nowhere.
bool growOneStep(CornerStore& store, const GrowthBox& box);
/// Creates the missing neighbours of all corners nearer than four cells and not 0, inside the box or one step outside it.
/// Returns the new corners by ascending code, without values.
/// Cost: linear in all corners, and O(m log m) for m new ones.
std::vector<Corner*> createFront(CornerStore& store, const GrowthBox& box);
/// Smooths the free corners in numIter rounds (CornerLowPass); below 1 none.
/// bUseWeights: weighted means.
void smoothField(CornerStore& store, int numIter, bool bUseWeights);

// ---- Zeros

/// The cells around all edges between free corners of opposite signs, by ascending code, each once, with the mean of the
/// zeros on its edges. A value of 0 is replaced by a positive one first. Cost: O(c log c) for c corners.
std::vector<std::pair<RCD, Point3>> zerosOf(CornerStore& store, const Calc& calc);

}  // namespace TARN_KEL
