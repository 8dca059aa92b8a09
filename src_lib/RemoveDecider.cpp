// Decides which cells may be removed.
//
// The block of a cell is 27 bits: the positions that are alive. Both tests work on that word. The simple one looks for
// patterns: enough free faces, no edge neighbour whose two faces next to it are free, no two opposite free faces in a ring
// of four occupied ones. The strong one tests whether the free space around the cell is connected, as far as four steps of a
// flood can tell: in a flat sheet the free sides above and below aren't, so the cell is kept; at the rim of the sheet they
// are.
//
//        . . .            . . .
//        # C #  stays     # C .  may go
//        . . .            . . .
//
// A doomed cell is taken out of the bits at once, so that the next test sees the set without it.
#include "RemoveDecider.h"

#include <algorithm>
#include <bit>

#include "NeighbourBlock.h"
#include "pruneRounds.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// An edge neighbour and the two faces next to it.
struct Diagonal {
    int edge, face0, face1;
};
constexpr Diagonal DIAGONALS[] = {{5, 4, 14},   {7, 4, 16},   {3, 4, 12},   {1, 4, 10},   {23, 22, 14}, {25, 22, 16},
                                  {21, 22, 12}, {19, 22, 10}, {17, 14, 16}, {15, 16, 12}, {9, 12, 10},  {11, 10, 14}};

constexpr int MIN_FREE_FACES = 3;
constexpr int MAX_FLOOD_STEPS = 4;

bool isPosition(int b) {
    return b >= 0 && b < NeighbourBlock::NUM_POSITIONS;
}

}  // namespace

RemoveDecider::RemoveDecider(VCCD& vCells, Calc* pCalc_) : pvCCD(&vCells), pCalc(pCalc_) {
    if (!std::is_sorted(vCells.begin(), vCells.end())) std::sort(vCells.begin(), vCells.end());
    alive = CellBitmap(vCells);
}

int RemoveDecider::setNewCCD(CCD ccd) {
    curCCD = ccd;
    sVisited = {};
    pCalc->completeArray27(ccd, block.data());
    const auto cornerCode = [this](std::size_t corner) { return block[NeighbourBlock::cornerPosition(corner)]; };
    aliveMask = alive.getMask27(ccd, cornerCode) & ~NeighbourBlock::bit(NeighbourBlock::CENTRE);
    if (!isDoomed(ccd)) aliveMask |= NeighbourBlock::bit(NeighbourBlock::CENTRE);
    return std::popcount(aliveMask);
}

bool RemoveDecider::isRemovable(CCD ccd) {
    if (setNewCCD(ccd) == NeighbourBlock::NUM_POSITIONS) return false;
    if (getNumDirectVisible() < MIN_FREE_FACES) return false;
    for (const Diagonal& d : DIAGONALS)
        if (badDiagonal(d.edge, d.face0, d.face1)) return false;
    return !badDirect(12, 14, 16, 10, 22, 4) && !badDirect(10, 16, 14, 12, 22, 4);
}

bool RemoveDecider::isRemovableStrong(CCD ccd) {
    setNewCCD(ccd);
    const NeighbourBlock::Mask free = NeighbourBlock::ALL & ~static_cast<NeighbourBlock::Mask>(aliveMask);
    const NeighbourBlock::Mask freeFaces = free & NeighbourBlock::FACES;
    if (freeFaces == 0) return false;
    sVisited.mask = NeighbourBlock::flood(NeighbourBlock::firstFace(freeFaces),
                                          free & ~NeighbourBlock::bit(NeighbourBlock::CENTRE), MAX_FLOOD_STEPS);
    return (freeFaces & ~sVisited.mask) == 0;
}

std::size_t RemoveDecider::pruneStrong(VCCD& vRemoveCandidates, VCCD& vKeptOut, VCCD& vDoomedOut) {
    std::size_t numDoomed = 0;
    vKeptOut = pruneRounds(vRemoveCandidates, [&](CCD ccd) {
        if (!isRemovableStrong(ccd)) return false;
        registerDoomed(ccd);
        vDoomedOut.push_back(ccd);
        ++numDoomed;
        return true;
    });
    ASSEX(vDoomedOut.size()+vKeptOut.size()==vRemoveCandidates.size());
    return numDoomed;
}

void RemoveDecider::registerDoomed(CCD ccd) {
    sDoomed.insert(ccd);
    alive.erase(ccd);
}

int RemoveDecider::getNumDirectVisible() const {
    return std::popcount(~aliveMask & NeighbourBlock::FACES);
}

bool RemoveDecider::badDiagonal(int a, int b, int c) const {
    return isAlive(a) && !isAlive(b) && !isAlive(c);
}

bool RemoveDecider::badDirect(int a, int b, int c, int d, int e, int f) const {
    return !isAlive(a) && !isAlive(b) && isAlive(c) && isAlive(d) && isAlive(e) && isAlive(f);
}

void RemoveDecider::getNeigs(int pos, std::vector<int>& vOut) const {
    NeighbourBlock::appendFaceNeighbours(pos, vOut);
}

bool RemoveDecider::ewok(int a, int b) {
    return isPosition(b) && a / 3 == b / 3;
}

bool RemoveDecider::nsok(int a, int b) {
    return isPosition(b) && a / 9 == b / 9;
}

bool RemoveDecider::udok(int b) {
    return isPosition(b);
}

}  // namespace TARN_KEL
