#pragma once

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "Calc.h"
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
/// colours of its sheets. It also has a GapField: it gives every lattice corner near the sheets a signed distance, grows
/// this field outward, and finds the cells of its zero crossings.
///
/// The Filler owns all components. A component isn't copied or moved, and belongs to one thread.
class Component : public Sheet, public GapField {
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

    // ---- The field of a master component; its growth is that of GapField

    /// Runs defineBounds(), assignFirstDistances(), inflateCtrl2() and getZeroRCD(), once. vOut: gets what the last one
    /// appends. Always returns true. Throws (assertion) unless numGrowSteps is above 0.
    /// Cost: O(n log n) for n cells, and O(c) for c corners in each step of growth.
    bool run(VRCDPoint& vOut);
    /// Sets the box in which the field may grow: that of the cells, and margin cells more on each side, but not below 0.
    void defineBounds(int margin);
    /// seedFromSheet() for the cells and facets of this component.
    void assignFirstDistances();
    /// seedStrip() with the points of this component. O(n log n).
    void assignDistancesToSideStrip(std::vector<Facet*>& vStrip, double sign);
    /// Appends the cells of zerosOf(), except the component's own ones, with the points moved into their cells.
    void getZeroRCD(VRCDPoint& vOut);

    int label;         ///< a running number, separate for sheets and master components
    std::string name;  ///< for names of debug files; only written
    bool bOriented;
    std::vector<ConnectionStruct*> vConnectionStructs;  ///< the votes in which this sheet takes part, not owned

    // The next labels. They name components in debug output and decide nothing.
    static std::atomic<int> seqNum;
    static std::atomic<int> seqNumMaster;
};

}  // namespace TARN_KEL
