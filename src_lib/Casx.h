#pragma once

#include <memory>
#include <vector>

#include "Calc.h"

namespace TARN_KEL {

/// Which triangle table a Casx uses.
enum TRIMODE : int { TM_THIN = 0, TM_FAT = 1 };

/// The class of a triangle in a row. As a filter, TUU selects all triangles, the others only those of that class.
enum TriUse : int { TUU = 0, TUT = 1, TUF = 2, TUI = 3 };

/// The case tables of the extraction: which triangles connect the occupied cells of a dual cube.
///
/// A configuration is a byte: bit i is set when cell i of Calc::completeArraySym is occupied. Each of the 256 has a row of
/// ROW_SIZE slots. A slot holds a triangle, as a byte with exactly three bits set (its cells), or END, after which nothing
/// follows. The class of a slot is at the same index of a second table. All rows are rotations of 23 base rows. A pair of
/// triangles that fills a face of the cube always has that face's fixed diagonal, so that two cubes that share a face agree.
/// The class table belongs to the fat rows; it also filters the thin ones, slot by slot.
///
/// The tables are read-only once constructed; several threads may read one Casx.
class Casx {
public:
    static constexpr int ROW_SIZE = 12;
    static constexpr int END = 512;

    /// bExperimental: false: copy the tables of initAllCases(). True: print a line and build them from the base rows again;
    /// the result is the same.
    Casx(TRIMODE mode, bool bExperimental);

    /// Appends three cells for each triangle of the row that the filter selects, in the order of the slots, each triangle
    /// from its lowest bit up. None for configurations with fewer than 3 or all 8 cells. Cost: O(1).
    /// config: 0 to 255.
    /// cells: eight codes in the order of Calc::completeArraySym; those of bits that aren't set in config aren't read.
    void getTriangles(int config, CCD* cells, std::vector<CCD>& vOut, TriUse use) const;

    /// Returns the cells that a cube lacks, as a mask, when it lacks one or two; else 0.
    int getExtraCbs(int config) const;
    /// Returns the cells diagonally opposite, through the cube's centre, to the cells that it lacks, as a mask, when it
    /// lacks one, or two that are neighbours along an edge of the cube; else 0.
    int getRemoveCbs(int config) const;

    // ---- Filling the tables; the constructor calls these

    /// Fills both tables with all 256 rows. They are built once per process and copied from then on. With an unknown mode
    /// there are no triangles.
    void initAllCases();
    /// Writes the base rows of the mode and their classes.
    void initBaseCases();
    /// Writes one row; unused slots are END.
    void addTriConfig(int config, int t0, int t1, int t2, int t3, int t4, int t5, int t6, int t7, int t8, int t9, int t10,
                      int t11);
    /// Writes the classes of one row.
    void addTriUse(int config, TriUse u0, TriUse u1, TriUse u2, TriUse u3, TriUse u4, TriUse u5, TriUse u6, TriUse u7,
                   TriUse u8, TriUse u9, TriUse u10, TriUse u11);
    /// Makes the rows of all configurations from the base rows.
    void expandBaseCases();
    /// Replaces two triangles that fill a face of the cube along the wrong diagonal by the two along the fixed one, the one
    /// with the lower remaining cell first. Returns false, and changes nothing, for other triangles.
    static bool samePlaneUnify(int& triA, int& triB);

    TRIMODE mode;
    std::vector<int> vTriVec;     ///< 256 rows of ROW_SIZE triangles
    std::vector<TriUse> vTriUse;  ///< 256 rows of ROW_SIZE classes
    bool bExperimental;
    std::vector<int> vBase;       ///< the 23 base configurations, ascending
    std::unique_ptr<Calc> pCalc;  ///< a small grid to draw a row on; the tables don't use it

private:
    struct EmptyTag {};
    Casx(TRIMODE mode, bool bExperimental, EmptyTag);  // all slots unused
    static Casx makeFromBase(TRIMODE mode);
    void unifyRow(int config);
};

}  // namespace TARN_KEL
