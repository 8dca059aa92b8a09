#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Calc.h"
#include "Component.h"
#include "connections.h"
#include "octree/Octree.h"

namespace TARN_KEL {

/// Finds for a rim cell its partner: the nearest rim cell of another sheet. Distances are measured in cells.
///
/// It builds a tree of boxes over the rim cells, in the order of the index. A node knows whether it has cells of one sheet
/// or of several. So nodes of the asking cell's own sheet alone are skipped as a whole, however many rim cells of it are
/// near. Small sheets, of at most 4 cells, are found only within a smaller distance, so a node notes them separately.
class PartnerSearch {
public:
    /// octree: finished; its objects are AffiData.
    /// smallReach: the distance below which a small sheet is found.
    /// Cost: O(n).
    PartnerSearch(const TARN_OCTREE::Octree& octree, double smallReach);

    /// The partner of a, at most maxRadius away; of equally near ones the last in the order of the index.
    /// Returns null when there is none. Cost: O(log n) where sheets lie apart.
    AffiData* find(const AffiData& a, int maxRadius) const;

    /// The squared distance of two rim cells.
    static std::int64_t getSqDist(const AffiData& a, const AffiData& b);

private:
    struct Cell {
        std::int32_t x, y, z;
    };
    /// The sheets that have a rim cell in a node: none, one, or several.
    class Owners {
    public:
        void add(const Component* pSheet) {
            bSeveral = bSeveral || (pOne != nullptr && pSheet != nullptr && pOne != pSheet);
            if (pOne == nullptr) pOne = pSheet;
        }
        void add(const Owners& other) {
            add(other.pOne);
            bSeveral = bSeveral || other.bSeveral;
        }
        bool hasOtherThan(const Component* pSheet) const { return bSeveral || (pOne != nullptr && pOne != pSheet); }

    private:
        const Component* pOne = nullptr;
        bool bSeveral = false;
    };
    struct Node {
        Cell low, high;
        Owners large, small;
    };
    struct Best {
        std::int64_t sqDist;
        std::size_t item;
    };

    static Cell cellOf(const AffiData& affi);
    static bool isSmall(const Component& sheet) { return sheet.getSize() <= MAX_SMALL; }
    static std::int64_t getSqDist(const Node& node, const Cell& cell);
    Node makeLeaf(std::size_t leaf) const;
    static Node join(const Node& a, const Node& b);
    bool mayHold(const Node& node, const AffiData& a, const Cell& cell, const Best& best) const;
    void searchLeaf(std::size_t leaf, const AffiData& a, const Cell& cell, Best& best) const;

    static constexpr std::size_t MAX_SMALL = 4;  // cells of a small sheet
    static constexpr std::size_t LEAF_SIZE = 8;
    static constexpr std::size_t NONE = SIZE_MAX;

    double smallReach;
    std::vector<AffiData*> vItem;           // in the order of the index
    std::vector<Cell> vCell;                // of the items
    std::vector<std::vector<Node>> vLevel;  // the leaves first; a node of a level joins two of the level before
};

}  // namespace TARN_KEL
