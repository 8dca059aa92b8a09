// Points around a place have normals. Those of one sheet turn slowly, those of two sheets that meet fall into two heaps.
//
//     one sheet     through all points, curved as their normals say; if it holds them the search is done
//     heaps         the normals parted around the two that differ most, then a third one, as long as each heap has points
//                   and all are far apart
//     planes        one for each heap. They count only if they hold the points much better than the one sheet did: a tight
//                   arc has many normals as well, but planes don't hold it
//     places        the planes again, by the places of the points: beside edges some points have the normal of another
//                   sheet, or one between both, while the planes of the others tell where they belong
//     where         the line of two planes is a crease and the place of three a corner, when points of all of them are near
//                   enough: planes meet somewhere anyway
#include "SheetFinder.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Moments.h"
#include "fitLimits.h"
#include "geometryFunctions.h"
#include "principalAxes.h"

namespace TARN_KEL {

namespace {

const double RADIUS = 2.2;
const double GROWTH = 1.4;     // of the radius where it holds too few points
const double MAX_SCALE = 1.9;  // beyond it isn't enlarged any more
const std::size_t MIN_POINTS = 4;
const double SHEET_SPREAD = 0.02;                // of the points around one curved sheet, beside what noise leaves
const double COS_HALF_PART = 0.984807753012208;  // 10 degrees
const double COS_PART = 0.939692620785908;       // 20 degrees: means of two sheets are farther apart
const double SLIGHT = 0.02;                      // weight of a point that can't be the first of a new sheet
const std::size_t MIN_OF_SHEET = 2;              // points
const double MIN_SHARE = 0.01;                   // of a sheet in all weights
const double PLANES_BETTER = 0.6;                // spread around planes over that around one sheet; more is an arc
const double CREASE_SUPPORT = 1.6;               // a crease has a point of each of its sheets so near
const double CORNER_SUPPORT = 2.2;               // a corner so near: in one of fifty quarter discs the next is farther away
const double MIN_SQ_SINE = 0.01;                 // of the angle of two sheets that have a crease
const double MIN_VOLUME = 0.1;                   // of the normals of three sheets that have a corner
const std::size_t MAX_SHEETS = 3;
// Of planes by places:
const int NUM_REFITS = 4;
const double OFF_PLANE = 0.03;       // of a point that counts little, beside what noise leaves
const double MAX_SQ_OFF = 30.0;      // squares of that, beyond which being farther off says no more
const double SQ_WRONG_NORMAL = 4.0;  // square of the difference of normals that weighs as much as being that far off once
const double STIFFNESS = 0.25;       // of the normal as it was against the places, as a mean square distance along the plane
const double MAX_PLANE_SPREAD = 0.02;  // beside what noise leaves; a sheet with more is curved
const double SETTLED_PLANE = 1e-3;     // that a normal and a height change by when a plane isn't fitted again
const double SAME_PLANE = 0.7;         // cosine of the normals before and after

}  // namespace

VertexPlace SheetFinder::find(const Vector3& place, const SurfaceSide& side, double scale) {
    VertexPlace result;
    while (!gather(place, side, scale)) {
        if (scale >= MAX_SCALE) return result;
        scale *= GROWTH;
    }
    const Sheet one = fitSheet(ALL);
    result.numSheets = 1;
    result.sheet = place + one.normal * one.height;
    result.normal = one.normal;
    const double spread = spreadAroundSheet(one);
    if (spread < SHEET_SPREAD + fitPoints.residual) return result;
    result.bRough = true;
    partByNormals();
    if (vMeanNormal.size() == 1) return result;
    std::vector<Sheet> vSheet;
    for (FitIndex k = 0; k < vMeanNormal.size(); ++k)
        vSheet.push_back(fitSheet(k));
    if (spreadAroundPlanes(vSheet) > PLANES_BETTER * spread) return result;
    result.numSheets = static_cast<int>(vSheet.size());
    fitPlanes(vSheet);
    meetSheets(vSheet, place, result);
    return result;
}

bool SheetFinder::gather(const Vector3& place, const SurfaceSide& side, double scale) {
    vNear.clear();
    sumOfWeights = 0.0;
    const double radius = RADIUS * scale;
    pointGrid.visitWithin(place, radius, [&](FitIndex j, double sqDistance) {
        if (!fitPoints.isSeenFrom(side, j)) return;
        const double weight = weightWithin(sqDistance, 1.00005 * radius);
        vNear.push_back({fitPoints.vFitted[j] - place, fitPoints.vNormal[j], weight, 0, 0.0});
        sumOfWeights += weight;
    });
    return vNear.size() >= MIN_POINTS;
}

// The mean of both normals makes the heights free of curvature: a sphere's sheet doesn't sink.
SheetFinder::Sheet SheetFinder::fitSheet(FitIndex which) const {
    Sheet sheet{.normal = {}, .height = 0.0, .sqNearest = std::numeric_limits<double>::max()};
    double weights = 0.0;
    for (const Near& near : vNear) {
        if (which != ALL && near.sheet != which) continue;
        sheet.normal += near.normal * near.weight;
        weights += near.weight;
        sheet.sqNearest = std::min(sheet.sqNearest, near.offset.sqLength());
    }
    sheet.normal = normalize(sheet.normal);
    for (const Near& near : vNear)
        if (which == ALL || near.sheet == which)
            sheet.height += near.weight * 0.5 * ((sheet.normal + near.normal) * near.offset);
    if (weights > 0.0) sheet.height /= weights;
    return sheet;
}

double SheetFinder::spreadAroundSheet(const Sheet& sheet) const {
    double squares = 0.0;
    const Vector3 foot = sheet.normal * sheet.height;
    for (const Near& near : vNear) {
        const double height = 0.5 * ((sheet.normal + near.normal) * (near.offset - foot));
        squares += near.weight * height * height;
    }
    return std::sqrt(squares / sumOfWeights);
}

double SheetFinder::spreadAroundPlanes(const std::vector<Sheet>& vSheet) const {
    double squares = 0.0;
    for (const Near& near : vNear) {
        const double height = vSheet[near.sheet].normal * near.offset - vSheet[near.sheet].height;
        squares += near.weight * height * height;
    }
    return std::sqrt(squares / sumOfWeights);
}

/// Fits plane sheets by places instead of normals, each to the points that lie on it rather than on another; leaves those
/// that are curved.
void SheetFinder::fitPlanes(std::vector<Sheet>& vSheet) {
    std::vector<Sheet> vPlane = vSheet;
    std::vector<double> vSpread(vSheet.size());
    for (int round = 0; round < NUM_REFITS; ++round) {
        gatherOnPlanes(vPlane);
        bool bMoved = false;
        for (FitIndex k = 0; k < vPlane.size(); ++k) {
            const Sheet former = vPlane[k];
            vSpread[k] = refit(k, vPlane[k]);
            bMoved = bMoved || (vPlane[k].normal - former.normal).sqLength() > SETTLED_PLANE * SETTLED_PLANE ||
                     std::fabs(vPlane[k].height - former.height) > SETTLED_PLANE;
        }
        if (!bMoved) break;
    }
    for (std::size_t k = 0; k < vSheet.size(); ++k)
        if (vSpread[k] <= MAX_PLANE_SPREAD + fitPoints.residual && vPlane[k].normal * vSheet[k].normal > SAME_PLANE)
            vSheet[k] = vPlane[k];
}

/// Each point to the plane that it lies on; what could as well lie on another one counts little.
void SheetFinder::gatherOnPlanes(const std::vector<Sheet>& vPlane) {
    const double offUnit = OFF_PLANE + 2.0 * fitPoints.residual;
    for (Near& near : vNear) {
        double least = std::numeric_limits<double>::max(), second = least;
        for (FitIndex k = 0; k < vPlane.size(); ++k) {
            const double off = (vPlane[k].normal * near.offset - vPlane[k].height) / offUnit;
            const double doubt =
                off * off / (1.0 + off * off / MAX_SQ_OFF) + (near.normal - vPlane[k].normal).sqLength() / SQ_WRONG_NORMAL;
            if (doubt < least) near.sheet = k;
            second = std::min(second, std::max(least, doubt));
            least = std::min(least, doubt);
        }
        near.support = second > 0.0 ? near.weight * (1.0 - least / second) : 0.0;
    }
}

/// The plane through the points of a sheet, those beside it with next to no weight. Returns how far the others are off, as a
/// root mean square.
double SheetFinder::refit(FitIndex which, Sheet& plane) {
    const double offUnit = OFF_PLANE + 2.0 * fitPoints.residual;
    double sum = 0.0, sqNearest = std::numeric_limits<double>::max();
    Vector3 mean;
    for (Near& near : vNear) {
        if (near.sheet != which) continue;
        const double off = (plane.normal * near.offset - plane.height) / offUnit;
        near.support /= (1.0 + off * off) * (1.0 + off * off);
        sum += near.support;
        mean += near.offset * near.support;
        sqNearest = std::min(sqNearest, near.offset.sqLength());
    }
    if (!(sum > 0.0)) return std::numeric_limits<double>::max();
    mean /= sum;
    Moments moments;
    for (const Near& near : vNear)
        if (near.sheet == which) moments.add(near.offset - mean, near.support / sum);
    const Vector3 former = plane.normal;
    for (const Vector3& axis : {Vector3(1.0, 0.0, 0.0), Vector3(0.0, 1.0, 0.0), Vector3(0.0, 0.0, 1.0)})
        moments.add(crossProduct(former, axis), STIFFNESS);
    plane.normal = unitOr(principalAxes(moments).normal, former);
    if (plane.normal * former < 0.0) plane.normal = -plane.normal;
    plane.height = plane.normal * mean;
    plane.sqNearest = sqNearest;
    double squares = 0.0;
    for (const Near& near : vNear) {
        const double off = plane.normal * near.offset - plane.height;
        if (near.sheet == which) squares += near.support * off * off;
    }
    return std::sqrt(squares / sum);
}

/// The point of some weight whose normal is the farthest from that of its sheet, or from a given one.
std::size_t SheetFinder::farthestNormal(const Vector3& from, double& cosine) const {
    std::size_t farthest = 0;
    cosine = 1.0;
    for (std::size_t i = 0; i < vNear.size(); ++i) {
        const Vector3& mean = from.isDegenerate() ? vMeanNormal[vNear[i].sheet] : from;
        if (vNear[i].weight <= SLIGHT || vNear[i].normal * mean >= cosine) continue;
        cosine = vNear[i].normal * mean;
        farthest = i;
    }
    return farthest;
}

/// Each point to the mean of the nearest normal, and means again, some rounds.
void SheetFinder::gatherAroundMeans(std::vector<Vector3>& vMean) {
    for (int round = 0; round < 5; ++round) {
        std::array<Vector3, MAX_SHEETS> sums;
        for (Near& near : vNear) {
            near.sheet = 0;
            for (FitIndex k = 1; k < vMean.size(); ++k)
                if (near.normal * vMean[k] > near.normal * vMean[near.sheet]) near.sheet = k;
            sums[near.sheet] += near.normal * near.weight;
        }
        for (std::size_t k = 0; k < vMean.size(); ++k)
            if (!sums[k].isDegenerate()) vMean[k] = normalize(sums[k]);
    }
}

bool SheetFinder::areSheets(const std::vector<Vector3>& vMean) const {
    std::array<double, MAX_SHEETS> weights{};
    std::array<std::size_t, MAX_SHEETS> counts{};
    for (const Near& near : vNear) {
        weights[near.sheet] += near.weight;
        ++counts[near.sheet];
    }
    for (std::size_t k = 0; k < vMean.size(); ++k) {
        if (counts[k] < MIN_OF_SHEET || weights[k] < MIN_SHARE * sumOfWeights) return false;
        for (std::size_t l = k + 1; l < vMean.size(); ++l)
            if (vMean[k] * vMean[l] > COS_PART) return false;
    }
    return true;
}

void SheetFinder::partByNormals() {
    Vector3 mean;
    for (const Near& near : vNear)
        mean += near.normal * near.weight;
    vMeanNormal.assign(1, normalize(mean));
    while (vMeanNormal.size() < MAX_SHEETS) {
        double cosine = 1.0;
        const std::size_t farthest = farthestNormal({}, cosine);
        if (cosine >= (vMeanNormal.size() == 1 ? COS_HALF_PART : COS_PART)) return;
        const std::vector<Near> vFormer = vNear;
        std::vector<Vector3> vMean = vMeanNormal;
        if (vMean.size() == 1) vMean = {vNear[farthestNormal(vNear[farthest].normal, cosine)].normal};
        vMean.insert(vMean.size() == 1 ? vMean.begin() : vMean.end(), vNear[farthest].normal);
        gatherAroundMeans(vMean);
        if (!areSheets(vMean)) {
            vNear = vFormer;
            return;
        }
        vMeanNormal = vMean;
    }
}

bool SheetFinder::hasPointsNear(const Vector3& offset, FitIndex sheet, double distance) const {
    return std::any_of(vNear.begin(), vNear.end(), [&](const Near& near) {
        return near.sheet == sheet && (near.offset - offset).sqLength() < distance * distance;
    });
}

/// The nearest sheet, crease and corner.
void SheetFinder::meetSheets(const std::vector<Sheet>& vSheet, const Vector3& place, VertexPlace& result) const {
    const auto farness = [](const Sheet& s) { return std::fabs(s.height) + 0.5 * std::sqrt(s.sqNearest); };
    const Sheet& nearest = *std::min_element(vSheet.begin(), vSheet.end(),
                                             [&](const Sheet& a, const Sheet& b) { return farness(a) < farness(b); });
    result.sheet = place + nearest.normal * nearest.height;
    result.normal = nearest.normal;

    double best = std::numeric_limits<double>::max();
    for (FitIndex a = 0; a < vSheet.size(); ++a)
        for (FitIndex b = a + 1; b < vSheet.size(); ++b) {
            const Vector3 along = crossProduct(vSheet[a].normal, vSheet[b].normal);
            if (along.sqLength() < MIN_SQ_SINE) continue;
            const Vector3 offset = (crossProduct(vSheet[b].normal, along) * vSheet[a].height +
                                    crossProduct(along, vSheet[a].normal) * vSheet[b].height) /
                                   along.sqLength();
            if (offset.length() >= best || !hasPointsNear(offset, a, CREASE_SUPPORT) ||
                !hasPointsNear(offset, b, CREASE_SUPPORT))
                continue;
            best = offset.length();
            result.bCrease = true;
            result.crease = place + offset;
        }
    if (vSheet.size() < 3) return;
    const Vector3 &n0 = vSheet[0].normal, &n1 = vSheet[1].normal, &n2 = vSheet[2].normal;
    const double volume = n0 * crossProduct(n1, n2);
    if (std::fabs(volume) <= MIN_VOLUME) return;
    const Vector3 offset = (crossProduct(n1, n2) * vSheet[0].height + crossProduct(n2, n0) * vSheet[1].height +
                            crossProduct(n0, n1) * vSheet[2].height) /
                           volume;
    if (!hasPointsNear(offset, 0, CORNER_SUPPORT) || !hasPointsNear(offset, 1, CORNER_SUPPORT) ||
        !hasPointsNear(offset, 2, CORNER_SUPPORT))
        return;
    result.bCorner = true;
    result.corner = place + offset;
}

}  // namespace TARN_KEL
