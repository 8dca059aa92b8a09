#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Calc.h"
#include "CornerStore.h"
#include "GapField.h"
#include "Sheet.h"
#include "kel.h"

namespace TARN_KEL {

struct ConnectionStruct;

/// A sheet of cells with two coloured sides; or, as a master component, all sheets that are connected across gaps, with the
/// signed field that closes the gaps.
///
/// A Component is a Sheet, which is coloured by the constructor, and the votes of sheets that face each other across gaps,
/// which tell whether its sides must be exchanged. When all sheets are oriented, a master component takes over cells and
/// colours of its sheets. Its run() gives every lattice corner near the sheets a signed distance, grows this field outward
/// (GapField), and finds the cells of its zero crossings. A sheet has no field: what needs one fails (assertion).
///
/// The Filler owns all components. A component isn't copied or moved, and belongs to one thread.
class Component : public Sheet, public GrowthBox {
public:
    using VRCDPoint = Sheet::VRCDPoint;

    /// A sheet, coloured.
    /// cells: sorted, unique.
    /// border: the cells at the rim, sorted.
    /// vRCDPoint: all cells of the run with their points, sorted; not copied.
    /// pGrid: not owned.
    /// Cost: O(n log n).
    Component(const VRCD& cells, const VRCD& border, const VRCDPoint& vRCDPoint, Calc* pGrid);
    /// A master component of oriented sheets. growSteps: the largest number of steps that the field grows.
    /// Cost: O(n log n).
    Component(const std::vector<Component*>& vGroup, int growSteps, const VRCDPoint& vRCDPoint, Calc* pGrid);
    Component(const Component&) = delete;
    Component& operator=(const Component&) = delete;

    // ---- Orientation of a sheet

    void registerConnectionStruct(ConnectionStruct* pConnection) { vConnectionStructs.push_back(pConnection); }
    /// How well the related sheets agree with this one's colours, summed up in the order of registration; 0.0 without votes.
    double getScore() const;
    /// Appends the other sheet of each vote.
    void getRelatedComponents(std::vector<Component*>& vOut) const;
    void setOriented() { bOriented = true; }
    bool isOriented() const { return bOriented; }
    /// Exchanges the two sides, and with them the sign of every vote.
    void flip();

    // ---- The field of a master component

    /// Makes a GapField in a box of 30 cells around the own ones, grows it and keeps its corners; then getZeroRCD(). To be
    /// called once. Always returns true. Throws (assertion) unless numGrowSteps is above 0.
    /// Cost: O(n log n) for n cells, and O(c) for c corners in each step of growth.
    bool run(VRCDPoint& vOut);

    // Its steps one by one, on cornerStore.

    /// boxAround() the cells.
    void defineBounds(int margin);
    /// seedFromSheet() for the cells and facets of this component.
    void assignFirstDistances();
    /// seedStrip() with the points of this component. O(n log n).
    void assignDistancesToSideStrip(std::vector<Facet*>& vStrip, double sign);
    /// growField(), growOneStep(), createFront(), smoothField().
    void inflateCtrl2();
    bool inflateOneStep2();
    void infl_createFront(std::vector<Corner*>& vOut);
    void lowPass2(int numIter, bool bUseWeights);
    /// Appends the cells of zerosOf(), except the component's own ones, with the points moved into their cells.
    void getZeroRCD(VRCDPoint& vOut);

    int numGrowSteps = 0;                      ///< the largest number of steps that the field grows; 0 for a sheet
    std::unique_ptr<CornerStore> cornerStore;  ///< the field; null for a sheet, and after Filler::run()
    float sideLen = 0.0F, halfSideLen = 0.0F;  ///< the edge of a cell, and half of it; 0 for a sheet

    int label;         ///< a running number, separate for sheets and master components
    std::string name;  ///< for names of debug files; only written
    bool bOriented;
    std::vector<ConnectionStruct*> vConnectionStructs;  ///< the votes in which this sheet takes part, not owned

    // The next labels. They name components in debug output and decide nothing.
    static std::atomic<int> seqNum;
    static std::atomic<int> seqNumMaster;

private:
    CornerStore& getStore() const;
};

}  // namespace TARN_KEL
