// Thins a layer of cells to a sheet.
//
// The block of a cell is 27 bits: the positions that are alive. All tests are floods through the free bits, word by word.
//
//     gap      From a free face over free edge neighbours to other free faces: if that doesn't reach all of them, the cell
//              separates two sides. The flood goes over faces and edges only, not over corners.
//     border   From the first free face through all free positions but the centre: if that reaches all of them, the free
//              space of the block is one region, and the sheet ends at the cell. In the middle of a sheet there are two.
//
//        . . .            . . .            . # .
//        # C #  area      # C .  border    # C #  an inner cell of a solid: no free face, it stays
//        . . .            . . .            . # .
//
// A flood over faces can't enter a free corner whose three edge neighbours in the block are occupied, though beyond the
// block it may well be connected with the rest. So such a prevented corner counts as reached.
//
// Pruning by priority goes through all candidates in the order of their weights and again through the face neighbours of
// what was doomed, until a pass dooms none. The answer for a cell depends on its block alone: a cell that was refused is
// refused again unless a cell of its block was removed since. So a refused cell is kept outside the queue, and is entered at
// the place of its weight when a cell of its block is removed; if the pass is beyond that place, it is tested in the next
// pass. That gives the order of a queue of all cells in all passes, but costs only as much as changes.
//
// The passes are one chain of decisions, which no second worker can help with. So all that a decision reads and changes is
// put into one record per cell beforehand, by all workers: its block as bits, and where the records of its neighbours are.
#include "RemoveDecider_RCD.h"

#include <algorithm>
#include <bit>

#include "FreshVector.h"
#include "NeighbourWalk.h"
#include "WeightQueue.h"
#include "freeFunctions.h"
#include "lookUp.h"
#include "pruneRounds.h"
#include "sortMT.h"
#include "sortedCodes.h"
#include "tools.h"
#include "wanted.h"

namespace TARN_KEL {

namespace {

using NeighbourBlock::ALL;
using NeighbourBlock::CENTRE;
using NeighbourBlock::FACES;
using NeighbourBlock::Mask;
using NeighbourBlock::NUM_POSITIONS;

/// A corner of the block and the edge neighbours around it.
struct CornerRow {
    int corner, a, b, c;
};
constexpr CornerRow arr[] = {{0, 1, 3, 9},    {2, 1, 5, 11},    {8, 5, 7, 17},    {6, 3, 7, 15},
                             {18, 19, 21, 9}, {20, 19, 23, 11}, {26, 23, 25, 17}, {24, 25, 21, 15}};

constexpr int NUM_ROWS = 9;                            // of a block, along z
constexpr int MIN_SUM = NUM_POSITIONS - 8;             // below, not even eight prevented corners make up for the rest
constexpr std::size_t MAX_SMALL_CC = 40;               // cells of a component of border cells that counts as small
constexpr std::array<RCD, 8> BLOCK_CORNER_OFFSETS = {  // cornerPosition() as a difference of codes
    0 - RCD_STEP_X - RCD_STEP_Y - RCD_STEP_Z, RCD_STEP_X - RCD_STEP_Y - RCD_STEP_Z, RCD_STEP_Y - RCD_STEP_X - RCD_STEP_Z,
    RCD_STEP_X + RCD_STEP_Y - RCD_STEP_Z,     RCD_STEP_Z - RCD_STEP_X - RCD_STEP_Y, RCD_STEP_X - RCD_STEP_Y + RCD_STEP_Z,
    RCD_STEP_Y - RCD_STEP_X + RCD_STEP_Z,     RCD_STEP_X + RCD_STEP_Y + RCD_STEP_Z};

// The tests, on a block alone: so several threads can ask about cells of one list.

Mask freeOf(Mask alive) {
    return ALL & ~alive;
}

bool createsGap(Mask alive) {
    const Mask free = freeOf(alive);
    if ((free & FACES) == 0) return true;
    const Mask reached = NeighbourBlock::fill(NeighbourBlock::firstFace(free), free & (FACES | NeighbourBlock::EDGES));
    return (free & FACES & ~reached) != 0;
}

bool isPrevented(Mask alive, Mask reached, const CornerRow& row) {
    const Mask around = NeighbourBlock::bit(row.a) | NeighbourBlock::bit(row.b) | NeighbourBlock::bit(row.c);
    return ((alive | reached) & NeighbourBlock::bit(row.corner)) == 0 && (alive & around) == around;
}

int countPrevented(Mask alive, Mask reached) {
    return static_cast<int>(std::count_if(std::begin(arr), std::end(arr),
                                          [=](const CornerRow& row) { return isPrevented(alive, reached, row); }));
}

/// What can be reached through free positions but the centre.
Mask reachedFrom(Mask start, Mask alive) {
    return NeighbourBlock::fill(start, freeOf(alive) & ~NeighbourBlock::bit(CENTRE));
}

/// Whether the free space of the block is one region, prevented corners aside. False without a free face.
/// reached: what was reached from a free face; unchanged without one.
bool joinsFreeSpace(Mask alive, Mask& reached) {
    const Mask freeFaces = freeOf(alive) & FACES;
    if (freeFaces == 0) return false;
    reached = reachedFrom(NeighbourBlock::firstFace(freeFaces), alive);
    const int sum = std::popcount(alive) + std::popcount(reached);
    return sum == NUM_POSITIONS || (sum >= MIN_SUM && sum + countPrevented(alive, reached) == NUM_POSITIONS);
}

bool isBorderBlock(Mask alive) {
    Mask reached = 0;
    return joinsFreeSpace(alive, reached) && !createsGap(alive);
}

/// Whether the centre can be taken away.
bool mayGo(Mask alive, bool bAllowBorder) {
    Mask reached = 0;
    return !createsGap(alive) && (bAllowBorder || !joinsFreeSpace(alive, reached));
}

using VRCDPoint = RemoveDecider_RCD::VRCDPoint;

/// The point of a cell that must be in the sorted list from itFrom on. Near cells are found faster than far ones.
VRCDPoint::const_iterator findPoint(const VRCDPoint& vRCDPoint, VRCDPoint::const_iterator itFrom, RCD rcd) {
    auto q_it = findFirstNear(itFrom, vRCDPoint.end(), rcd);
    if (q_it != vRCDPoint.end() && q_it->first != rcd) q_it = vRCDPoint.end();
    ASSEX(q_it!=vRCDPoint.end());
    return q_it;
}

}  // namespace

/// The candidates, with the data for their weights and the queue. A cell is named by its number: its position in the
/// sorted list.
class RemoveDecider_RCD::Candidates {
public:
    static constexpr std::size_t CACHE_LINE = 64;
    /// What a pass reads of a cell, in one cache line. From its creation on it knows which cells of its block are candidates
    /// too, and so where these are: a row of the block along z is a stretch of the list.
    struct alignas(CACHE_LINE) Candidate {
        RCD rcd = 0;
        double offCentre = 0.0;  // from its point to its midpoint, in cells
        Mask alive = 0;          // of its block: cells of the list that aren't doomed, and itself
        Mask candidates = 0;     // of its block
        int lastPass = 0;        // the last pass that asked it or is to ask it; before that pass it waits outside the queue
        bool bGone = false;      // doomed
        bool bAsk = false;       // a cell of its block has gone since it was last refused, or it was never asked
        bool bInList = false;    // what isn't in the list counts in no other cell's block
        std::array<std::uint32_t, NUM_ROWS - 1> aRow{};  // the first candidates of the rows but for its own

        int numFaces() const { return std::popcount(alive & FACES); }
    };
    static_assert(sizeof(Candidate) == CACHE_LINE);

    /// Repeats are dropped. Data that depends on the other cells of the list is set by askAll().
    Candidates(const VRCD& vSorted, const VRCDPoint& vRCDPoint, const RemoveDecider_RCD& decider) {
        ASSEX(vSorted.size()<NONE);
        VRCD vCell = vSorted;
        dropRepeats(vCell);
        vCandidate.resize(vCell.size());
        const auto measure = [&](std::size_t begin, std::size_t end) {
            auto itPoint = vRCDPoint.begin();
            NeighbourWalk<RCD> walk(vCell);
            for (std::size_t i = begin; i < end; ++i) {
                Candidate& candidate = vCandidate[i] = Candidate();
                candidate.rcd = vCell[i];
                itPoint = findPoint(vRCDPoint, itPoint, candidate.rcd);
                candidate.offCentre = decider.getOffCentre(candidate.rcd, itPoint->second);
                findNeighbours(walk, candidate);
            }
        };
        forChunks_MT(vCandidate.size(), measure, WORTH_A_TASK);
    }
    /// visit(position, number) for the other candidates in the block of one, ascending.
    template <typename Visit>
    void forEachNeighbour(std::uint32_t number, const Visit& visit) const {
        for (Mask left = vCandidate[number].candidates & ~NeighbourBlock::bit(CENTRE); left != 0; left &= left - 1) {
            const int pos = std::countr_zero(left);
            visit(pos, numberAt(number, pos));
        }
    }

    /// The cells to be asked as they stand when a pass begins, ascending.
    std::vector<std::uint32_t> takeToAsk() {
        std::vector<std::uint32_t> vNumbers;
        vNumbers.swap(vToAsk);
        vNumbers.erase(std::remove_if(vNumbers.begin(), vNumbers.end(),
                                      [this](std::uint32_t number) { return !vCandidate[number].bAsk; }),
                       vNumbers.end());
        oneInstanceOfNumbers(vNumbers);
        return vNumbers;
    }
    /// The number of the candidate at a position of the block of another one, which must have one there.
    std::uint32_t numberAt(std::uint32_t number, int pos) const {
        const int row = pos % NUM_ROWS;
        if (row == OWN_ROW) return pos < CENTRE ? number - 1 : number + 1;
        const Candidate& candidate = vCandidate[number];
        std::uint32_t place = candidate.aRow[slotOf(row)];
        for (int before = row; before < pos; before += NUM_ROWS)
            place += candidate.candidates >> before & 1U;
        return place;
    }

    static constexpr std::uint32_t NONE = ~std::uint32_t{0};
    FreshVector<Candidate> vCandidate;
    std::vector<std::uint32_t> vToAsk;  // all with bAsk, some without
    int pass = 0;

private:
    static constexpr int OWN_ROW = 4;                  // the row of a position: pos % 9
    static constexpr Mask ROW = 1 | 1 << 9 | 1 << 18;  // the positions of row 0

    static std::size_t slotOf(int row) { return static_cast<std::size_t>(row < OWN_ROW ? row : row - 1); }
    static void findNeighbours(NeighbourWalk<RCD>& walk, Candidate& candidate) {
        walk.visitBlock(candidate.rcd, [&candidate](int inWalk, std::size_t number) {
            const int row = inWalk / 9 + inWalk / 3 % 3 * 3, pos = 9 * (inWalk % 3) + row;  // there x is slowest
            const bool bFirst = (candidate.candidates & (ROW << row)) == 0;
            candidate.candidates |= NeighbourBlock::bit(pos);
            if (bFirst && row != OWN_ROW) candidate.aRow[slotOf(row)] = static_cast<std::uint32_t>(number);
        });
    }
};

// ---- The block --------------------------------------------------------------------------------------------------------

RemoveDecider_RCD::RemoveDecider_RCD(VRCD& vCells, Calc* pGrid)
    : sideLen(pGrid->getSideLen()), pvRCD(&vCells), pCalc(pGrid) {
    if (!std::is_sorted(vCells.begin(), vCells.end())) sortMT(vCells.begin(), vCells.end());
    alive = CellBitmap_RCD(vCells);
    vNeigs.reserve(NUM_POSITIONS);
}

int RemoveDecider_RCD::setNewRCD(RCD rcd) {
    return setBlock(rcd, getAliveMask(rcd));
}

Mask RemoveDecider_RCD::getAliveMask(RCD rcd) const {
    const Mask inList = alive.getMask27(rcd, [rcd](std::size_t corner) { return rcd + BLOCK_CORNER_OFFSETS[corner]; });
    const bool bStrangerAlive = (inList & NeighbourBlock::bit(CENTRE)) == 0 && !isDoomed(rcd);
    return bStrangerAlive ? inList | NeighbourBlock::bit(CENTRE) : inList;
}

int RemoveDecider_RCD::setBlock(RCD rcd, Mask alivePositions) {
    curRCD = rcd;
    sVisited.mask = 0;
    aliveMask = alivePositions;
    pCalc->completeArray27_RCD(rcd, block.data());
    vNeigs.clear();
    for (Mask left = alivePositions; left != 0; left &= left - 1)
        vNeigs.push_back(block[static_cast<std::size_t>(std::countr_zero(left))]);
    return std::popcount(alivePositions);
}

void RemoveDecider_RCD::registerDoomed(RCD rcd) {
    sDoomedRCD.insert(rcd);
    alive.erase(rcd);
}

void RemoveDecider_RCD::getAliveRCD(VRCD& vOut) const {
    vOut.clear();
    std::copy_if(pvRCD->begin(), pvRCD->end(), std::back_inserter(vOut), [this](RCD rcd) { return alive.contains(rcd); });
}

void RemoveDecider_RCD::getDirectNeig27Positions(int pos, std::vector<int>& vOut) const {
    NeighbourBlock::appendFaceNeighbours(pos, vOut);
}

void RemoveDecider_RCD::floodFrom(Mask start) {
    const NeighbourBlock::PositionSet vWorkspace{start};
    ASSEX(vWorkspace.size()==1);
    sVisited.mask = reachedFrom(start, blockMask());
}

// ---- Tests ------------------------------------------------------------------------------------------------------------

bool RemoveDecider_RCD::blockIsBorder() {
    return joinsFreeSpace(blockMask(), sVisited.mask) && !createsGap(blockMask());
}

bool RemoveDecider_RCD::removingCreatesGap(RCD rcd) {
    setNewRCD(rcd);
    return createsGap(blockMask());
}

bool RemoveDecider_RCD::isBorder(RCD rcd) {
    setNewRCD(rcd);
    return blockIsBorder();
}

OppState RemoveDecider_RCD::getOppState(RCD rcd, int idx6) {
    ASSEX(idx6>=0 && idx6<6);
    setNewRCD(rcd);
    const int oppIdx27 = vIdx6ToIdx27[static_cast<std::size_t>(idx6 ^ 1)];
    const int fromIdx27 = vIdx6ToIdx27[static_cast<std::size_t>(idx6)];
    if (exists_int27(oppIdx27)) return OPP_OCCUPIED;
    ASSEX(!exists_int27(fromIdx27));
    floodFrom(NeighbourBlock::bit(fromIdx27));
    return sVisited.count(oppIdx27) != 0 ? OPP_CONNECTED : OPP_SEPARATED;
}

bool RemoveDecider_RCD::wouldBecomeNewBorder(RCD neig, RCD removeRCD) {
    ASSEX_AS("sDoomedRCD.find(removeRCD)==sDoomedRCD.end()", !isDoomed(removeRCD));
    setNewRCD(neig);
    if ((freeOf(blockMask()) & FACES) == 0 || blockIsBorder()) return false;
    const auto removed = std::find(block.begin(), block.end(), removeRCD) - block.begin();
    if (removed == NUM_POSITIONS) return false;  // out of sight
    setBlock(neig, blockMask() & ~NeighbourBlock::bit(static_cast<int>(removed)));
    return blockIsBorder();
}

bool RemoveDecider_RCD::removingCreatesAnotherBorder(RCD rcd) {
    if (curRCD != rcd) setNewRCD(rcd);
    const VRCD vMembers = vNeigs;  // the tests renew the block
    const bool bAnother =
        std::any_of(vMembers.begin(), vMembers.end(), [this, rcd](RCD member) { return wouldBecomeNewBorder(member, rcd); });
    curRCD = ~RCD{0};
    return bAnother;
}

bool RemoveDecider_RCD::isPreventedCorner(int corner, int a, int b, int c) const {
    return isPrevented(blockMask(), sVisited.mask, {corner, a, b, c});
}

int RemoveDecider_RCD::numPreventedCorners() const {
    return countPrevented(blockMask(), sVisited.mask);
}

// ---- Passes -----------------------------------------------------------------------------------------------------------

void RemoveDecider_RCD::detectAreaAndBorder(VRCD& vArea, VRCD& vBorder) {
    enum Kind : char { GONE, AREA, BORDER };
    std::vector<Kind> vKind;
    const auto kindOf = [this](RCD rcd) {
        if (!alive.contains(rcd)) return GONE;
        return isBorderBlock(getAliveMask(rcd)) ? BORDER : AREA;
    };
    transform_MT(*pvRCD, vKind, kindOf, WORTH_A_TASK);
    vArea.clear();
    vBorder.clear();
    for (std::size_t i = 0; i < vKind.size(); ++i)
        if (vKind[i] != GONE) (vKind[i] == BORDER ? vBorder : vArea).push_back((*pvRCD)[i]);
}

void RemoveDecider_RCD::detectBorders(VRCD& vRCDs, VRCD& vBorderRCDs) {
    ASSEX(vBorderRCDs.empty());
    std::copy_if(vRCDs.begin(), vRCDs.end(), std::back_inserter(vBorderRCDs), [this](RCD rcd) { return isBorder(rcd); });
}

double RemoveDecider_RCD::getOffCentre(RCD rcd, const Point3& point) const {
    return (point - pCalc->getMidPoint_RCD(rcd)).length() / sideLen;
}

double RemoveDecider_RCD::weigh(int numFaces, double offCentre) const {
    return numFaces + sideLen - offCentre;
}

double RemoveDecider_RCD::getWeight(VRCDPoint& vRCDPoint, RCD rcd) {
    const Point3& point = findPoint(vRCDPoint, vRCDPoint.begin(), rcd)->second;
    return weigh(std::popcount(getAliveMask(rcd) & FACES), getOffCentre(rcd, point));
}

int RemoveDecider_RCD::prePruneSmallBorderCCs(VRCD& vDoomedOut) {
    VRCD vArea, vBorder;
    detectAreaAndBorder(vArea, vBorder);
    std::vector<VRCD> vCCs;
    createCC_RCD(vBorder, vCCs);
    int numDoomed = 0;
    for (const VRCD& vCC : vCCs) {
        if (vCC.size() > MAX_SMALL_CC) continue;
        const bool bCarriesOthers =
            std::any_of(vCC.begin(), vCC.end(), [this](RCD rcd) { return removingCreatesAnotherBorder(rcd); });
        if (bCarriesOthers) continue;
        for (const RCD rcd : vCC) {
            if (removingCreatesGap(rcd)) continue;
            registerDoomed(rcd);
            vDoomedOut.push_back(rcd);
            ++numDoomed;
        }
    }
    return numDoomed;
}

int RemoveDecider_RCD::prunePrioq(const VRCDPoint& vRCDPoint, VRCD& vRemoveCandidates, VRCD& vKeptOut, VRCD& vDoomedOut,
                                  bool bAllowBorder, bool bPrePrune) {
    if (!std::is_sorted(vRemoveCandidates.begin(), vRemoveCandidates.end()))
        sortMT(vRemoveCandidates.begin(), vRemoveCandidates.end());
    int numDoomed = bPrePrune ? prePruneSmallBorderCCs(vDoomedOut) : 0;
    Candidates candidates(vRemoveCandidates, vRCDPoint, *this);
    askAll(candidates, bAllowBorder);
    const std::vector<std::uint32_t> vDoomed = prunePasses(candidates, bAllowBorder);
    for (const std::uint32_t number : vDoomed) {
        registerDoomed(candidates.vCandidate[number].rcd);
        vDoomedOut.push_back(candidates.vCandidate[number].rcd);
    }
    // The current cell is as if each had been removed by itself.
    if (!vDoomed.empty()) setBlock(vDoomedOut.back(), candidates.vCandidate[vDoomed.back()].alive);
    numDoomed += static_cast<int>(vDoomed.size());
    sortMT(vDoomedOut.begin(), vDoomedOut.end());
    vKeptOut.clear();
    for (auto itDoomed = vDoomedOut.cbegin(); const RCD rcd : vRemoveCandidates) {
        itDoomed = std::find_if(itDoomed, vDoomedOut.cend(), [rcd](RCD doomed) { return doomed >= rcd; });
        if (itDoomed == vDoomedOut.cend() || *itDoomed != rcd) vKeptOut.push_back(rcd);
    }
    return numDoomed;
}

/// Tests each candidate, dooms none.
void RemoveDecider_RCD::askAll(Candidates& candidates, bool bAllowBorder) const {
    const auto ask = [&](std::size_t begin, std::size_t end) {
        for (std::size_t number = begin; number < end; ++number) {
            auto& candidate = candidates.vCandidate[number];
            candidate.alive = getAliveMask(candidate.rcd);
            candidate.bGone = (candidate.alive & NeighbourBlock::bit(CENTRE)) == 0;
            candidate.bAsk = !candidate.bGone && mayGo(candidate.alive, bAllowBorder);
            candidate.bInList = alive.contains(candidate.rcd);
        }
    };
    forChunks_MT(candidates.vCandidate.size(), ask, WORTH_A_TASK);
    forWanted_MT(
        wantedFlags_MT(candidates.vCandidate.size(), [&](std::size_t number) { return candidates.vCandidate[number].bAsk; }),
        [&](std::size_t numToAsk) { candidates.vToAsk.resize(numToAsk); },
        [&](std::size_t number, std::size_t place) { candidates.vToAsk[place] = static_cast<std::uint32_t>(number); });
}

/// Passes until one dooms none. The records of the candidates alone are changed. Returns the doomed ones in their order.
std::vector<std::uint32_t> RemoveDecider_RCD::prunePasses(Candidates& candidates, bool bAllowBorder) const {
    std::vector<std::uint32_t> vDoomed;
    std::size_t numBefore = 0;
    do {
        numBefore = vDoomed.size();
        prunePass(candidates, vDoomed, bAllowBorder);
    } while (vDoomed.size() != numBefore);
    return vDoomed;
}

/// vDoomed: appended to.
void RemoveDecider_RCD::prunePass(Candidates& candidates, std::vector<std::uint32_t>& vDoomed, bool bAllowBorder) const {
    ++candidates.pass;
    std::vector<std::pair<double, std::uint32_t>> vAtStart;
    for (const std::uint32_t number : candidates.takeToAsk()) {
        auto& candidate = candidates.vCandidate[number];
        candidate.lastPass = candidates.pass;
        vAtStart.emplace_back(weigh(candidate.numFaces(), candidate.offCentre), number);
    }
    LookingUp looking(10000);
    for (WeightQueue queue(std::move(vAtStart), candidates.vCandidate.size()); !queue.empty(); looking.step()) {
        const std::uint32_t number = queue.pop();
        auto& candidate = candidates.vCandidate[number];
        if (!candidate.bAsk) continue;
        candidate.bAsk = false;
        if (!mayGo(candidate.alive, bAllowBorder)) continue;
        candidate.bGone = true;
        vDoomed.push_back(number);
        if (candidate.bInList) askNeigsAgain(candidates, number, queue);
        weighFacesAgain(candidates, number, queue);
    }
}

/// To be called when a candidate of the list was doomed: its neighbours are to be tested again, without it.
template <typename Queue>
void RemoveDecider_RCD::askNeigsAgain(Candidates& candidates, std::uint32_t doomed, Queue& queue) const {
    candidates.forEachNeighbour(doomed, [&](int pos, std::uint32_t number) {
        auto& neig = candidates.vCandidate[number];
        if (neig.bGone) return;
        if (neig.lastPass != candidates.pass) queue.pushAsAtStart(weigh(neig.numFaces(), neig.offCentre), number);
        neig.lastPass = candidates.pass;
        if (!neig.bAsk) candidates.vToAsk.push_back(number);
        neig.bAsk = true;
        neig.alive &= ~NeighbourBlock::bit(NUM_POSITIONS - 1 - pos);
    });
}

/// To be called when a candidate was doomed.
template <typename Queue>
void RemoveDecider_RCD::weighFacesAgain(Candidates& candidates, std::uint32_t doomed, Queue& queue) const {
    for (const int pos : vIdx6ToIdx27) {
        if ((candidates.vCandidate[doomed].candidates & NeighbourBlock::bit(pos)) == 0) continue;
        const std::uint32_t number = candidates.numberAt(doomed, pos);
        const auto& neig = candidates.vCandidate[number];
        if (!neig.bGone) queue.push(weigh(neig.numFaces(), neig.offCentre), number);
    }
}

std::size_t RemoveDecider_RCD::pruneStrong(VRCD& vRemoveCandidates, VRCD& vKeptOut, VRCD& vDoomedOut, bool bAllowBorder) {
    std::size_t numDoomed = 0;
    vKeptOut = pruneRounds(vRemoveCandidates, [&](RCD rcd) {
        if (!mayGo(getAliveMask(rcd), bAllowBorder)) return false;
        registerDoomed(rcd);
        vDoomedOut.push_back(rcd);
        ++numDoomed;
        return true;
    });
    sortMT(vKeptOut.begin(), vKeptOut.end());
    sortMT(vDoomedOut.begin(), vDoomedOut.end());
    ASSEX(vDoomedOut.size()+vKeptOut.size()==vRemoveCandidates.size());
    return numDoomed;
}

}  // namespace TARN_KEL
