// Grows the sheets of a mesh over their links, drops splinters, turns sheets to face the right way; and the driver.
#include "SheetParter.h"

#include <algorithm>
#include <numeric>

#include "flood.h"
#include "geometryFunctions.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t MAX_SPLINTER = 20;  // triangles of a piece that was connected to a larger one by cut edges alone

}  // namespace

SheetParter::SheetParter(RMesh& mesh_, Facing facing_)
    : mesh(mesh_), facing(facing_), sheets(mesh), numT(mesh.vRT.size()), fans(0) {}

void SheetParter::run(ManifoldReport& report) {
    growSheets();
    report.numSplinters += dropSplinters() + dropTatters();
    for (const Sheet& sheet : vSheets)
        if (isWrongWayRound(sheet)) turnOver(sheet);
    do
        joinFans();
    while (!partCrowdedEdges(report));
    countCuts(report);
    rebuild(report);
}

bool SheetParter::isCut(Side side) const {
    return sheets.across(side) == Sheets::NONE && sheets.edgeOf(side)->getDegree() > 1;
}

void SheetParter::drop(RTriangle* pRT) {
    sheets.cutAll(pRT);
    pRT->kill(&mesh);
}

void SheetParter::turnOver(const Sheet& sheet) {
    for (const RTriangle* pRT : sheet.vT)
        sheets.turn(pRT);
}

void SheetParter::growSheets() {
    std::vector<char> vSeen(mesh.vRT.size(), 0);
    const auto claim = [&](const RTriangle* pRT) { return std::exchange(vSeen[numberOf(pRT)], 1) == 0; };
    forEachAlive([&](RTriangle* pSeed) {
        if (!claim(pSeed)) return;
        Sheet& sheet = vSheets.emplace_back();
        sheet.vT.push_back(pSeed);
        const auto forEachNext = [&](const RTriangle* pRT, auto&& offer) {
            sheets.forEachSide(pRT, [&](Side side) {
                const Side next = sheets.across(side);
                if (next == Sheets::NONE)
                    sheet.bClosed = false;
                else
                    offer(sheets.triangleOf(next));
            });
        };
        floodInOrder(sheet.vT, forEachNext, claim);
    });
}

/// Of sheets that were connected through edges, keeps the largest, of equal ones the oldest, and drops the others if they
/// are small. Returns the number of triangles dropped.
std::size_t SheetParter::dropSplinters() {
    Forest bodies(vSheets.size());
    std::vector<Forest::Member> vSheetOf(numT);
    for (std::size_t i = 0; i < vSheets.size(); ++i)
        for (const RTriangle* pRT : vSheets[i].vT)
            vSheetOf[numberOf(pRT)] = static_cast<Forest::Member>(i);
    for (const REdge* pRE : mesh.vRE)
        for (const RTriangle* pRT : pRE->vRT)
            bodies.join(vSheetOf[numberOf(pRE->vRT[0])], vSheetOf[numberOf(pRT)]);

    std::vector<std::size_t> vLargest(vSheets.size());  // by root
    std::iota(vLargest.begin(), vLargest.end(), std::size_t{0});
    const auto largestBeside = [&](std::size_t i) -> std::size_t& {
        return vLargest[bodies.findRoot(static_cast<Forest::Member>(i))];
    };
    for (std::size_t i = 0; i < vSheets.size(); ++i)
        if (vSheets[i].vT.size() > vSheets[largestBeside(i)].vT.size()) largestBeside(i) = i;

    std::size_t numDropped = 0;
    for (std::size_t i = 0; i < vSheets.size(); ++i) {
        if (largestBeside(i) == i || vSheets[i].vT.size() > MAX_SPLINTER) continue;
        numDropped += vSheets[i].vT.size();
        for (RTriangle* pRT : vSheets[i].vT)
            drop(pRT);
        vSheets[i].vT.clear();
    }
    std::erase_if(vSheets, [](const Sheet& sheet) { return sheet.vT.empty(); });
    return numDropped;
}

/// Where a cut crosses a strip one triangle wide, drops the strip up to where its sheet is wider, unless that is far: so
/// cuts make less border. Returns the number of triangles dropped.
std::size_t SheetParter::dropTatters() {
    std::vector<RTriangle*> vCut;
    forEachAlive([&](RTriangle* pRT) {
        sheets.forEachSide(pRT, [&](Side side) {
            if (isCut(side)) vCut.push_back(pRT);
        });
    });
    std::size_t numDropped = 0;
    for (RTriangle* pRT : vCut)
        for (RTriangle* pGone : stripFrom(pRT)) {
            drop(pGone);
            ++numDropped;
        }
    return numDropped;
}

/// The triangles of the strip that ends with this one; none when it is too long, or the whole of its sheet.
std::vector<RTriangle*> SheetParter::stripFrom(RTriangle* pRT) const {
    std::vector<RTriangle*> vStrip;
    const auto isOnStrip = [&](const RTriangle* p) { return !vStrip.empty() && vStrip.back() == p; };
    while (vStrip.size() <= MAX_SPLINTER && pRT->isAlive()) {
        std::vector<RTriangle*> vBeside;
        sheets.forEachSide(pRT, [&](Side side) {
            RTriangle* pNext = sheets.across(side) == Sheets::NONE ? nullptr : sheets.triangleOf(sheets.across(side));
            if (pNext != nullptr && !isOnStrip(pNext)) vBeside.push_back(pNext);
        });
        if (vBeside.size() > 1) return vStrip.size() > 1 ? vStrip : std::vector<RTriangle*>();
        if (vBeside.empty()) break;
        vStrip.push_back(pRT);
        pRT = vBeside[0];
    }
    return {};
}

bool SheetParter::isWrongWayRound(const Sheet& sheet) const {
    if (!sheet.bClosed || facing == Facing::AS_MOST) {
        const auto numTurned =
            std::count_if(sheet.vT.begin(), sheet.vT.end(), [this](const RTriangle* pRT) { return sheets.isTurned(pRT); });
        return 2 * static_cast<std::size_t>(numTurned) > sheet.vT.size();
    }
    double volume = 0.0;
    const Point3& origin = *sheet.vT.front()->aCorners[0];
    for (const RTriangle* pRT : sheet.vT)
        volume += (sheets.isTurned(pRT) ? -1.0 : 1.0) *
                  orientation3(*pRT->aCorners[0], *pRT->aCorners[1], *pRT->aCorners[2], origin);
    return volume < 0.0;
}

}  // namespace TARN_KEL
