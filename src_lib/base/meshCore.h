// What the coarse and the fine mesh do alike, written once.
//
// The elements of the two meshes share most names: isAlive(), bVisited, getCorner(i), getICI(corner), has(corner) of a
// triangle, getDegree() of an edge. Where the names differ, each mesh brings a function:
//     Edge* edgeOpposite(const Triangle&, int i)           the edge opposite corner i
//     const SmallPtrList<Triangle>& trianglesOn(const Edge&)
// A corner is what names a vertex: a code in the coarse mesh, a pointer in the fine one.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <vector>

#include "flood.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

// ---- Lists of triangles: dead ones stay in the list of a mesh ----

template <typename Triangle>
void appendAlive(const std::vector<Triangle*>& vT, std::vector<Triangle*>& vOut) {
    std::copy_if(vT.begin(), vT.end(), std::back_inserter(vOut), [](const Triangle* pT) { return pT->isAlive(); });
}

/// The number of alive triangles for which isWanted(triangle) is true.
template <typename Triangle, typename IsWanted>
std::size_t countAlive(const std::vector<Triangle*>& vT, IsWanted&& isWanted) {
    const auto isCounted = [&](const Triangle* pT) { return pT->isAlive() && isWanted(*pT); };
    return static_cast<std::size_t>(std::count_if(vT.begin(), vT.end(), isCounted));
}

template <typename Triangle>
std::size_t countAlive(const std::vector<Triangle*>& vT) {
    return countAlive(vT, [](const Triangle&) { return true; });
}

/// The sum of areaOf(triangle) over the alive triangles, in the order of the list.
template <typename Triangle, typename AreaOf>
double sumOfAreas(const std::vector<Triangle*>& vT, AreaOf&& areaOf) {
    double area = 0.0;
    for (const Triangle* pT : vT)
        if (pT->isAlive()) area += areaOf(*pT);
    return area;
}

template <typename Triangle>
void clearVisited_MT(const std::vector<Triangle*>& vT) {
    forEach_MT(
        vT, [](Triangle* pT) { pT->bVisited = false; }, WORTH_A_TASK);
}

/// Takes the alive triangles out of their patches and clears their marks, before they are cut into patches.
template <typename Triangle>
void forgetPatches_MT(const std::vector<Triangle*>& vT) {
    const auto forget = [](Triangle* pT) {
        if (!pT->isAlive()) return;
        pT->setPatch(nullptr);
        pT->bVisited = false;
    };
    forEach_MT(vT, forget, WORTH_A_TASK);
}

// ---- Killing ----

/// Removes a triangle from the list of an edge by moving the last one into its place. When it isn't there, prints the
/// complaint and whether it is alive, and throws (assertion).
template <typename List, typename Triangle>
void takeOffEdge(List& vT, const Triangle* pT, const char* complaint) {
    if (vT.removeByLast(pT)) return;
    out() << complaint << pT->isAlive() << std::endl;
    ASSEX(false);
}

template <typename Triangle, typename Mesh>
void killTriangle(Triangle* pT, Mesh* pMesh) {
    bool& bAlive = pT->bAlive;
    ASSEX(bAlive);
    for (int i = 0; i < 3; ++i)
        edgeOpposite(*pT, i)->checkOut(pT);
    pMesh->unregisterTriangle(pT);
    bAlive = false;
}

// ---- Orientation ----

/// 1 when a -> b is a half edge of the triangle, 2 when b -> a is one, 0 when the two are no edge of it.
template <typename Triangle, typename Corner>
int halfEdgeDirection(const Triangle& t, const Corner& a, const Corner& b) {
    for (int i = 0; i < 3; ++i) {
        const auto from = t.getCorner(i), to = t.getCorner((i + 1) % 3);
        if (from == a && to == b) return 1;
        if (from == b && to == a) return 2;
    }
    return 0;
}

/// Whether the two triangles run the same way along the first half edge of t that they share. Throws (assertion) when they
/// share none.
template <typename Triangle>
bool disagreesWith(const Triangle& t, const Triangle& other) {
    for (int i = 0; i < 3; ++i)
        if (const int direction = halfEdgeDirection(other, t.getCorner(i), t.getCorner((i + 1) % 3))) return direction == 1;
    ASSEX(false);
    return false;
}

// ---- Vertices ----

/// Calls visit(edge) for the two edges at a corner of a triangle, in ascending order of their indices.
template <typename Triangle, typename Corner, typename Visit>
void forEachEdgeAt(const Triangle& t, const Corner& corner, Visit&& visit) {
    const int i = t.getICI(corner);
    visit(edgeOpposite(t, i == 0 ? 1 : 0));
    visit(edgeOpposite(t, i == 2 ? 1 : 2));
}

/// Whether a triangle at src (vSrcT) would have the same corners as one at trg if src became trg. Cost: O(k) for k triangles
/// at src and on the edges opposite it.
template <typename Triangle, typename Corner>
bool wouldMakeDups(const std::vector<Triangle*>& vSrcT, const Corner& src, const Corner& trg) {
    const auto hasTwinAt = [&](const Triangle* pT) {
        if (pT->has(trg)) return false;
        const auto& vT = trianglesOn(*edgeOpposite(*pT, pT->getICI(src)));
        return std::any_of(vT.begin(), vT.end(), [&trg](const Triangle* pOther) { return pOther->has(trg); });
    };
    return std::any_of(vSrcT.begin(), vSrcT.end(), hasTwinAt);
}

/// Whether one of the triangles would turn by more than maxTurn; turnOf(triangle) gives degrees. Prints a line for each
/// triangle up to that one.
template <typename Triangle, typename TurnOf>
bool wouldTurnTooFar(const std::vector<Triangle*>& vT, double maxTurn, TurnOf&& turnOf) {
    for (const Triangle* pT : vT) {
        const double turn = turnOf(*pT);
        out() << "devAngle would be " << turn << "\n";
        if (turn > maxTurn) return true;
    }
    return false;
}

// ---- Edges by degree ----

constexpr int DEG_MANY = -1;            // 3 and more
constexpr int DEG_BORDER_OR_MANY = -5;  // 1, or 3 and more
constexpr int DEG_ANY = -99;            // 1 and more

/// Whether a query for deg, a degree or one of the codes above, asks for an edge of that degree.
inline bool isWantedDegree(int deg, int degree) {
    switch (deg) {
    case DEG_MANY:
        return degree >= 3;
    case DEG_BORDER_OR_MANY:
        return degree == 1 || degree >= 3;
    case DEG_ANY:
        return degree >= 1;
    default:
        return degree == deg;
    }
}

/// How many edges have each degree above 0. forEachEdge(visit) calls visit(edge) for every edge.
template <typename ForEachEdge>
std::map<int, std::size_t> countByDegree(ForEachEdge&& forEachEdge) {
    std::map<int, std::size_t> mCount;
    forEachEdge([&mCount](const auto& edge) {
        if (const int degree = edge.getDegree(); degree > 0) ++mCount[degree];
    });
    return mCount;
}

// ---- Floods over triangles, each marked visited when it is claimed ----

struct ClaimUnvisited {
    template <typename Triangle>
    bool operator()(Triangle* pT) const {
        if (pT->bVisited) return false;
        return pT->bVisited = true;
    }
};

/// Calls take(triangle) for the start and for all that can be reached from it, depth first. Triangles marked visited aren't
/// entered, except for the start. What is reached stays marked visited.
/// vStack: working space, empty before and after.
/// cross: cross(triangle, i) tells whether to go over the edge opposite corner i.
template <typename Triangle, typename Cross, typename Take>
void floodTriangles(Triangle* pStartT, std::vector<Triangle*>& vStack, Cross&& cross, Take&& take) {
    const ClaimUnvisited claim;
    claim(pStartT);
    vStack.push_back(pStartT);
    const auto forEachNext = [&](Triangle* pT, auto&& offer) {
        take(pT);
        for (int i = 0; i < 3; ++i)
            if (cross(pT, i))
                for (Triangle* pNext : trianglesOn(*edgeOpposite(*pT, i)))
                    offer(pNext);
    };
    flood(vStack, forEachNext, claim);
}

}  // namespace TARN_KEL
