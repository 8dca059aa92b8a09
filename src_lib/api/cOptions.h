// The one place that says which field of a C struct is which option or figure of the library.
//
// forEachOption(options, cOptions, visit) calls visit(option, field) for each pair, in either direction: defaults go from
// the library's struct to the C struct, a caller's choice the other way. forEachFigure() does the same for reports. A field
// that a list leaves out here is caught by tests/interfaces_test.py.
//
// A C struct begins with its size as the caller knows it. Only that many bytes are read and written, so a caller that was
// compiled with fewer fields gets the defaults of the others.
#pragma once

#include <kel_c.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "CallFrame.h"
#include "kel.h"

namespace TARN_KEL {

// ---- Options ------------------------------------------------------------------------------------------------------------

template <typename Visit>
void forEachOption(ReconstructOptions& options, kel_reconstruct_options& c, const Visit& visit) {
    visit(options.spacing, c.spacing);
    visit(options.factor, c.factor);
    visit(options.bOutliers, c.outliers);
    visit(options.bEven, c.even);
    visit(options.bLaplacian, c.laplacian);
    visit(options.numGrowSteps, c.grow);
    visit(options.bCarefulGrowth, c.careful_growth);
    visit(options.bManifold, c.manifold);
    visit(options.minPieceArea, c.min_piece_area);
    visit(options.maxPinholeEdges, c.max_pinhole_edges);
    visit(options.maxHoleEdges, c.max_hole_edges);
    visit(options.bNoCrossings, c.no_crossings);
    visit(options.bFit, c.fit);
    visit(options.bDenoise, c.denoise);
    visit(options.numThreads, c.threads);
}

template <typename Visit>
void forEachOption(MeltOptions& options, kel_melt_options& c, const Visit& visit) {
    visit(options.spacing, c.spacing);
    visit(options.featureAngle, c.feature_angle);
    visit(options.bComplete, c.complete);
    visit(options.bManifold, c.manifold);
    visit(options.maxPinholeEdges, c.max_pinhole_edges);
    visit(options.maxHoleEdges, c.max_hole_edges);
    visit(options.numThreads, c.threads);
}

template <typename Visit>
void forEachOption(KeepOptions& options, kel_keep_options& c, const Visit& visit) {
    visit(options.bManifold, c.manifold);
    visit(options.bNoCrossings, c.no_crossings);
}

template <typename Visit>
void forEachOption(FitOptions& options, kel_fit_options& c, const Visit& visit) {
    visit(options.cellEdge, c.cell_edge);
    visit(options.bNoise, c.noise);
    visit(options.bNoCrossings, c.no_crossings);
}

template <typename Visit>
void forEachOption(ReduceOptions& options, kel_reduce_options& c, const Visit& visit) {
    visit(options.numTriangles, c.triangles);
    visit(options.maxDistance, c.max_distance);
    visit(options.bMoveVertices, c.move_vertices);
    visit(options.bKeepBorders, c.keep_borders);
    visit(options.bKeepFeatures, c.keep_features);
    visit(options.featureAngle, c.feature_angle);
    visit(options.bNoCrossings, c.no_crossings);
    visit(options.bFit, c.fit);
}

template <typename Visit>
void forEachOption(SmoothOptions& options, kel_smooth_options& c, const Visit& visit) {
    visit(options.method, c.method);
    visit(options.numRounds, c.rounds);
    visit(options.bKeepBorders, c.keep_borders);
    visit(options.passBand, c.pass_band);
    visit(options.edgeAngle, c.edge_angle);
    visit(options.bNoCrossings, c.no_crossings);
}

// ---- Figures ------------------------------------------------------------------------------------------------------------

template <typename Visit>
void forEachFigure(const MeshFlaws& flaws, kel_mesh_flaws& c, const Visit& visit) {
    visit(flaws.numBorderEdges, c.border_edges);
    visit(flaws.numNonManifoldEdges, c.non_manifold_edges);
    visit(flaws.numPinchedVertices, c.pinched_vertices);
    visit(flaws.numConflicts, c.conflicts);
}

template <typename Visit>
void forEachFigure(const ManifoldReport& report, kel_manifold_report& c, const Visit& visit) {
    visit(report.numFlat, c.flat);
    visit(report.numDuplicates, c.duplicates);
    visit(report.numMembranes, c.membranes);
    visit(report.numSplinters, c.splinters);
    visit(report.numTurned, c.turned);
    visit(report.numNewVertices, c.new_vertices);
    visit(report.numCuts, c.cuts);
    visit(report.bClosed, c.closed);
}

template <typename Visit>
void forEachFigure(const FitReport& report, kel_fit_report& c, const Visit& visit) {
    visit(report.numPoints, c.points);
    visit(report.pointSpacing, c.point_spacing);
    visit(report.noise, c.noise);
    visit(report.radius, c.radius);
    visit(report.numCorners, c.corners);
    visit(report.numOnCreases, c.on_creases);
    visit(report.numFlips, c.flips);
    visit(report.numSplits, c.splits);
    visit(report.numUnfolded, c.unfolded);
    visit(report.numUntangled, c.untangled);
    visit(report.meanMove, c.mean_move);
    visit(report.maxMove, c.max_move);
}

template <typename Visit>
void forEachFigure(const ReconstructReport& report, kel_reconstruct_report& c, const Visit& visit) {
    visit(report.numPoints, c.points);
    visit(report.numNotFinite, c.not_finite);
    visit(report.numFarOutliers, c.far_outliers);
    visit(report.numStrays, c.strays);
    visit(report.numAdded, c.added);
    visit(report.numDenoised, c.denoised);
    visit(report.pointSpacing, c.point_spacing);
    visit(report.cellEdge, c.cell_edge);
    visit(report.numCells, c.cells);
    forEachFigure(report.before, c.before, visit);
    forEachFigure(report.after, c.after, visit);
    forEachFigure(report.manifold, c.manifold, visit);
    visit(report.numPiecesDropped, c.pieces_dropped);
    visit(report.numTrianglesDropped, c.triangles_dropped);
    visit(report.numHolesClosed, c.holes_closed);
    forEachFigure(report.fit, c.fit, visit);
    visit(report.numCrossings, c.crossings);
    visit(report.numCrossingsLeft, c.crossings_left);
    visit(report.peakMemory, c.peak_memory);
}

template <typename Visit>
void forEachFigure(const MeltReport& report, kel_melt_report& c, const Visit& visit) {
    visit(report.numTriangles, c.triangles);
    visit(report.numCells, c.cells);
    visit(report.numAdded, c.added);
    forEachFigure(report.before, c.before, visit);
    forEachFigure(report.after, c.after, visit);
    forEachFigure(report.manifold, c.manifold, visit);
    visit(report.numHolesClosed, c.holes_closed);
    visit(report.peakMemory, c.peak_memory);
}

template <typename Visit>
void forEachFigure(const ReduceReport& report, kel_reduce_report& c, const Visit& visit) {
    visit(report.numBefore, c.before);
    visit(report.numAfter, c.after);
    visit(report.bMadeManifold, c.made_manifold);
    visit(report.distance, c.distance);
}

template <typename Visit>
void forEachFigure(const SmoothReport& report, kel_smooth_report& c, const Visit& visit) {
    visit(report.bMadeManifold, c.made_manifold);
    visit(report.meanMove, c.mean_move);
    visit(report.numHeld, c.held);
}

// ---- Structs that know their size
// -----------------------------------------------------------------------------------------

/// The options of the library that belong to a C struct.
template <typename COptions>
struct OptionsOf;
template <>
struct OptionsOf<kel_reconstruct_options> : std::type_identity<ReconstructOptions> {};
template <>
struct OptionsOf<kel_melt_options> : std::type_identity<MeltOptions> {};
template <>
struct OptionsOf<kel_keep_options> : std::type_identity<KeepOptions> {};
template <>
struct OptionsOf<kel_fit_options> : std::type_identity<FitOptions> {};
template <>
struct OptionsOf<kel_reduce_options> : std::type_identity<ReduceOptions> {};
template <>
struct OptionsOf<kel_smooth_options> : std::type_identity<SmoothOptions> {};

/// The defaults in a C struct. One that is no struct of the library, kel_write_options, is all zeros.
template <typename COptions>
COptions defaultOptions() {
    COptions c{};
    if constexpr (requires { typename OptionsOf<COptions>::type; }) {
        typename OptionsOf<COptions>::type options;
        forEachOption(options, c,
                      [](const auto& option, auto& field) { field = static_cast<std::decay_t<decltype(field)>>(option); });
    }
    return c;
}

/// Writes as much of a struct as the caller knows, with that size in it.
template <typename CStruct>
void handOut(CStruct full, CStruct* pOut, std::size_t size) {
    full.size = std::min(size, sizeof full);
    std::memcpy(pOut, &full, full.size);
}

/// The defaults for a caller whose struct has that size. Does nothing for null and for a size without room for itself.
template <typename COptions>
void initOptions(COptions* pOptions, std::size_t size) {
    if (pOptions != nullptr && size >= sizeof pOptions->size) handOut(defaultOptions<COptions>(), pOptions, size);
}

/// What the caller set, and defaults for the rest. Throws ArgumentError for a size that no struct has had.
template <typename COptions>
COptions wholeOptions(const COptions* pGiven) {
    COptions c = defaultOptions<COptions>();
    if (pGiven == nullptr) return c;
    require(pGiven->size >= sizeof c.size && pGiven->size <= sizeof c,
            "The size of the options isn't set, or is that of a later version of the library");
    std::memcpy(&c, pGiven, pGiven->size);
    return c;
}

/// The options of the library that a C struct stands for.
template <typename COptions>
auto optionsOf(COptions c) {
    typename OptionsOf<COptions>::type options;
    forEachOption(options, c,
                  [](auto& option, const auto& field) { option = static_cast<std::decay_t<decltype(option)>>(field); });
    return options;
}

/// A report, or a part of one, in a C struct.
template <typename CReport, typename Report>
CReport figuresOf(const Report& report) {
    CReport c{};
    forEachFigure(report, c,
                  [](const auto& figure, auto& field) { field = static_cast<std::decay_t<decltype(field)>>(figure); });
    return c;
}

/// Throws ArgumentError for a report whose size isn't set. Before the run: a mistake shouldn't cost one.
template <typename CReport>
void requireSize(const CReport* pReport) {
    require(pReport == nullptr || pReport->size >= sizeof pReport->size, "The size of the report isn't set");
}

/// Fills the report of the caller, who may want none.
template <typename CReport, typename Report>
void handOutReport(const Report& report, CReport* pOut) {
    if (pOut != nullptr) handOut(figuresOf<CReport>(report), pOut, pOut->size);
}

}  // namespace TARN_KEL
