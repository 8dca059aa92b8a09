// The functions of the C interface. Each checks its arguments, calls the library, and hands out what came of it.
#include <kel_c.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "CallFrame.h"
#include "Progress.h"
#include "RMesh.h"
#include "cHandles.h"
#include "cOptions.h"
#include "kel.h"
#include "meshFlaws.h"
#include "spanRuns.h"

using namespace TARN_KEL;

namespace {

// ---- Arguments ---------------------------------------------------------------------------------------------------------

/// Three positions for each triangle, all of them of vertices. Throws ArgumentError for others.
std::vector<int> indicesOf(const kel_points& vertices, const int32_t* triangles, std::size_t numTriangles) {
    if (numTriangles > std::numeric_limits<std::size_t>::max() / 3 / sizeof(int)) throw std::bad_alloc();
    if (numTriangles > 0) given(triangles, "triangles");
    std::vector<int> vIndices(triangles, triangles + 3 * numTriangles);
    for (std::size_t i = 0; i < vIndices.size(); ++i)
        if (vIndices[i] < 0 || static_cast<std::size_t>(vIndices[i]) >= vertices.points.size())
            throw ArgumentError("triangles: triangle " + toString(i / 3) + " has vertex " + toString(vIndices[i]) + " of " +
                                toString(vertices.points.size()));
    return vIndices;
}

const kel_points& cornersOf(const kel_points* corners) {
    const std::size_t num = given(corners, "corners").points.size();
    if (num % 3 != 0) throw ArgumentError("corners: their number is " + toString(num) + ", which isn't a multiple of three");
    return *corners;
}

KeepOptions keepOf(const kel_keep_options* keep) {
    return optionsOf(wholeOptions(keep));
}

/// The options of a run, with the listener and the stop flag. listener: lives as long as the options.
template <typename COptions>
auto runOptionsOf(const COptions& c, CallbackListener& listener) {
    auto options = optionsOf(c);
    if (c.progress != nullptr) options.pListener = &listener;
    if (c.stop != nullptr) options.pStop = &c.stop->bStop;
    return options;
}

// ---- Results ------------------------------------------------------------------------------------------------------------

/// A mesh for the caller, or word that there is none.
kel_status handOutMesh(MeshPtr pMesh, kel_mesh** out) {
    if (!pMesh) return KEL_NOTHING;
    handOutNew(std::move(pMesh), out);
    return KEL_OK;
}

/// A run with a report, whose steps are kept for kel_step_name().
template <typename Report, typename CReport, typename Run>
kel_status reportedRun(CReport* pOut, kel_mesh** out, const Run& run) {
    Report report;
    CallState& state = callState();
    state.steps.clear();
    try {
        MeshPtr pMesh = run(pOut != nullptr ? &report : nullptr);
        state.steps = std::move(report.vSteps);
        handOutReport(report, pOut);
        return handOutMesh(std::move(pMesh), out);
    } catch (...) {
        state.steps = std::move(report.vSteps);
        throw;
    }
}

/// A copy of numbers at any address and any distance from each other.
template <typename Number>
std::vector<Point3> copiedPoints(const char* pData, std::size_t numPoints, std::ptrdiff_t row, std::ptrdiff_t column) {
    const auto number = [&](const char* p) {
        Number value;
        std::memcpy(&value, p, sizeof value);
        return static_cast<double>(value);
    };
    std::vector<Point3> vPoints;
    vPoints.reserve(numPoints);
    for (std::size_t i = 0; i < numPoints; ++i) {
        const char* p = pData + static_cast<std::ptrdiff_t>(i) * row;
        vPoints.emplace_back(number(p), number(p + column), number(p + 2 * column));
    }
    return vPoints;
}

/// The mesh of vertices and triangles as they are. The vertices that no triangle has are left out.
MeshPtr exactMesh(std::span<const Point3> places, const std::vector<int>& vIndices, double side) {
    auto pRMesh = std::make_unique<RMesh>(side);
    std::vector<char> vUsed(places.size(), 0);
    for (const int i : vIndices)
        vUsed[static_cast<std::size_t>(i)] = 1;
    std::vector<Point3*> vVtx(places.size(), nullptr);
    for (std::size_t i = 0; i < places.size(); ++i)
        if (vUsed[i] != 0) vVtx[i] = pRMesh->createVertexApart(places[i]);
    for (std::size_t i = 0; i + 2 < vIndices.size(); i += 3)
        pRMesh->createT(vVtx[static_cast<std::size_t>(vIndices[i])], vVtx[static_cast<std::size_t>(vIndices[i + 1])],
                        vVtx[static_cast<std::size_t>(vIndices[i + 2])]);
    auto pMesh = std::make_shared<Mesh>(pRMesh.get());
    static_cast<void>(pRMesh.release());  // the new one owns it
    return pMesh;
}

void requireExact(std::span<const Point3> places, const std::vector<int>& vIndices) {
    for (std::size_t i = 0; i + 2 < vIndices.size(); i += 3) {
        const int a = vIndices[i], b = vIndices[i + 1], c = vIndices[i + 2];
        if (a == b || b == c || c == a)
            throw ArgumentError("triangles: triangle " + toString(i / 3) + " has a corner twice");
    }
    for (const int i : vIndices)
        if (!isFinitePoint(places[static_cast<std::size_t>(i)]))
            throw ArgumentError("vertices: vertex " + toString(i) + " isn't finite");
}

/// The indexed form of a mesh. The vertices belong to the mesh.
struct IndexedMesh {
    explicit IndexedMesh(const MeshPtr& pMesh) { pMesh->getVertexIndexData(vVertices, vIndices); }

    std::vector<Point3*> vVertices;
    std::vector<int> vIndices;
};

}  // namespace

// ---- Outcome, listening -------------------------------------------------------------------------------------------------

const char* kel_last_error(void) {
    return callState().error.c_str();
}

void kel_version(int* major, int* minor) {
    int aVersion[2];
    getVersion(aVersion[0], aVersion[1]);
    if (major != nullptr) *major = aVersion[0];
    if (minor != nullptr) *minor = aVersion[1];
}

kel_status kel_set_num_threads(int num_threads) {
    return plainCall([&] {
        requireThreads("num_threads", num_threads);
        setNumThreads(num_threads);
    });
}

void kel_set_progress(kel_progress progress, void* data) {
    callState().progress = progress;
    callState().pProgressData = data;
}

void kel_set_message_handler(kel_message_handler handler, void* data) {
    callState().handler = handler;
    callState().pHandlerData = data;
}

kel_status kel_stop_create(kel_stop** stop) {
    return plainCall([&] {
        given(stop, "stop");
        *stop = new kel_stop;
    });
}

void kel_stop_set(kel_stop* stop, int value) {
    if (stop != nullptr) stop->bStop = value != 0;
}

void kel_stop_free(kel_stop* stop) {
    delete stop;
}

size_t kel_num_steps(void) {
    return callState().steps.size();
}

const char* kel_step_name(size_t index) {
    const std::vector<RunStep>& vSteps = callState().steps;
    return index < vSteps.size() ? vSteps[index].name.c_str() : nullptr;
}

double kel_step_seconds(size_t index) {
    const std::vector<RunStep>& vSteps = callState().steps;
    return index < vSteps.size() ? vSteps[index].seconds : 0.0;
}

// ---- Points -------------------------------------------------------------------------------------------------------------

kel_status kel_points_create(const double* xyz, size_t num_points, kel_points** points) {
    return kel_points_create_strided(xyz, KEL_FLOAT64, num_points, sizeof(Point3), sizeof(double), points);
}

kel_status kel_points_create_strided(const void* data, kel_number number, size_t num_points, ptrdiff_t row_stride,
                                     ptrdiff_t column_stride, kel_points** points) {
    return plainCall([&] {
        given(points, "points");
        if (num_points > 0) require(data != nullptr, "data is NULL");
        require(number == KEL_FLOAT32 || number == KEL_FLOAT64, "number must be KEL_FLOAT32 or KEL_FLOAT64");
        const char* pData = static_cast<const char*>(data);
        const auto copy = number == KEL_FLOAT32 ? copiedPoints<float> : copiedPoints<double>;
        handOutNew(copy(pData, num_points, row_stride, column_stride), points);
    });
}

kel_status kel_points_borrow(const double* xyz, size_t num_points, kel_points** points) {
    return plainCall([&] {
        given(points, "points");
        if (num_points > 0) require(xyz != nullptr, "xyz is NULL");
        require(reinterpret_cast<std::uintptr_t>(xyz) % alignof(double) == 0, "xyz isn't aligned");
        handOutNew(std::span(reinterpret_cast<const Point3*>(xyz), num_points), points);
    });
}

kel_status kel_points_read(const char* filename, kel_points** points) {
    return kel_points_read_with(filename, nullptr, 0, points, nullptr, nullptr);
}

kel_status kel_points_write(const kel_points* points, const char* filename) {
    return kel_points_write_with(points, nullptr, filename);
}

size_t kel_points_count(const kel_points* points) {
    return points != nullptr ? points->points.size() : 0;
}

const double* kel_points_data(const kel_points* points) {
    return points != nullptr ? reinterpret_cast<const double*>(points->points.data()) : nullptr;
}

void kel_points_free(kel_points* points) {
    delete points;
}

kel_status kel_spacing(const kel_points* points, double* spacing) {
    return libraryCall([&] {
        const std::span<const Point3> theirs = given(points, "points").points;
        given(spacing, "spacing");
        const OwnRun run(true);  // the estimate leaves its progress open
        std::vector<Point3> vPoints(theirs.begin(), theirs.end());
        const double estimated = estimateAvgSpacing(vPoints);
        if (estimated < 0.0) return KEL_NOTHING;
        *spacing = estimated;
        return KEL_OK;
    });
}

// ---- Meshes from points and soups
// -----------------------------------------------------------------------------------------

void kel_reconstruct_options_init(kel_reconstruct_options* options, size_t size) {
    initOptions(options, size);
}

kel_status kel_reconstruct(const kel_points* points, const kel_reconstruct_options* options, kel_reconstruct_report* report,
                           kel_mesh** mesh) {
    return libraryCall([&] {
        const std::span<const Point3> theirs = given(points, "points").points;
        given(mesh, "mesh");
        requireSize(report);
        const kel_reconstruct_options c = wholeOptions(options);
        requireLength("spacing", c.spacing);
        requirePositive("factor", c.factor);
        requireLimit("min_piece_area", c.min_piece_area);
        requireThreads("threads", c.threads);
        CallbackListener listener(c.progress, c.progress_data);
        ReconstructOptions run = runOptionsOf(c, listener);
        if (c.has_origin != 0) {
            run.origin = Point3(c.origin[0], c.origin[1], c.origin[2]);
            require(isFinitePoint(*run.origin), "origin isn't finite");
        }
        return reportedRun<ReconstructReport>(
            report, mesh, [&](ReconstructReport* pReport) { return reconstructSpan(theirs, run, pReport); });
    });
}

void kel_melt_options_init(kel_melt_options* options, size_t size) {
    initOptions(options, size);
}

kel_status kel_corners_create(const kel_points* vertices, const int32_t* triangles, size_t num_triangles,
                              kel_points** corners) {
    return plainCall([&] {
        given(corners, "corners");
        const std::span<const Point3> places = given(vertices, "vertices").points;
        std::vector<Point3> vCorners;
        const std::vector<int> vIndices = indicesOf(*vertices, triangles, num_triangles);
        vCorners.reserve(vIndices.size());
        for (const int i : vIndices)
            vCorners.push_back(places[static_cast<std::size_t>(i)]);
        handOutNew(std::move(vCorners), corners);
    });
}

kel_status kel_corners_read(const char* filename, kel_points** corners) {
    return libraryCall([&] {
        given(filename, "filename");
        given(corners, "corners");
        std::vector<Point3> vCorners;
        if (!readTriangles_auto(filename, vCorners)) return KEL_BAD_FILE;
        handOutNew(std::move(vCorners), corners);
        return KEL_OK;
    });
}

kel_status kel_melt(const kel_points* corners, const kel_melt_options* options, kel_melt_report* report, kel_mesh** mesh) {
    return libraryCall([&] {
        const kel_points& own = cornersOf(corners);
        given(mesh, "mesh");
        requireSize(report);
        const kel_melt_options c = wholeOptions(options);
        requirePositive("spacing", c.spacing);
        requireLimit("feature_angle", c.feature_angle);
        requireThreads("threads", c.threads);
        CallbackListener listener(c.progress, c.progress_data);
        const MeltOptions run = runOptionsOf(c, listener);
        const PointVector vCorners(own);
        return reportedRun<MeltReport>(report, mesh,
                                       [&](MeltReport* pReport) { return melt(vCorners.get(), run, pReport); });
    });
}

kel_status kel_cloud(const kel_points* corners, double spacing, double feature_angle, kel_points** points) {
    return libraryCall([&] {
        const std::span<const Point3> theirs = cornersOf(corners).points;
        given(points, "points");
        requirePositive("spacing", spacing);
        requireLimit("feature_angle", feature_angle);
        std::vector<Point3> vCorners(theirs.begin(), theirs.end()), vPoints;
        toCloud(vCorners, spacing, feature_angle, vPoints);
        if (vPoints.empty()) return KEL_NOTHING;
        handOutNew(std::move(vPoints), points);
        return KEL_OK;
    });
}

// ---- Meshes as arrays and files
// -------------------------------------------------------------------------------------------

kel_status kel_mesh_create(const kel_points* vertices, const int32_t* triangles, size_t num_triangles, int join,
                           kel_mesh** mesh) {
    return libraryCall([&] {
        given(mesh, "mesh");
        const PointVector vVertices(given(vertices, "vertices"));
        return handOutMesh(makeMesh(vVertices.get(), indicesOf(*vertices, triangles, num_triangles), 0.0, join != 0), mesh);
    });
}

kel_status kel_mesh_restore(const kel_points* vertices, const int32_t* triangles, size_t num_triangles, double side,
                            kel_mesh** mesh) {
    return libraryCall([&] {
        given(mesh, "mesh");
        const std::span<const Point3> places = given(vertices, "vertices").points;
        requireLength("side", side);
        const std::vector<int> vIndices = indicesOf(*vertices, triangles, num_triangles);
        requireExact(places, vIndices);
        return handOutMesh(exactMesh(places, vIndices, side), mesh);
    });
}

kel_status kel_mesh_read(const char* filename, int join, kel_mesh** mesh) {
    return libraryCall([&] {
        given(filename, "filename");
        given(mesh, "mesh");
        MeshPtr pMesh = readMesh_auto(filename, 0.0, join != 0);
        return pMesh ? handOutMesh(std::move(pMesh), mesh) : KEL_BAD_FILE;
    });
}

void kel_write_options_init(kel_write_options* options, size_t size) {
    initOptions(options, size);
}

kel_status kel_mesh_write(kel_mesh* mesh, const char* filename, const kel_write_options* options) {
    return kel_mesh_write_with(mesh, nullptr, filename, options);
}

kel_status kel_mesh_sizes(kel_mesh* mesh, size_t* num_vertices, size_t* num_triangles) {
    return libraryCall([&] {
        if (num_triangles != nullptr) *num_triangles = meshOf(mesh)->getRMesh()->getNumT();
        if (num_vertices == nullptr) return KEL_OK;
        std::vector<Point3*> vPoints;
        meshOf(mesh)->getPoints(vPoints);
        *num_vertices = vPoints.size();
        return KEL_OK;
    });
}

kel_status kel_mesh_arrays(kel_mesh* mesh, double* vertices, int32_t* triangles) {
    return libraryCall([&] {
        const IndexedMesh indexed(meshOf(mesh));
        if (vertices != nullptr)
            for (const Point3* pVertex : indexed.vVertices)
                for (const double coordinate : {pVertex->x(), pVertex->y(), pVertex->z()})
                    *vertices++ = coordinate;
        if (triangles != nullptr) std::copy(indexed.vIndices.begin(), indexed.vIndices.end(), triangles);
        return KEL_OK;
    });
}

kel_status kel_mesh_normals(kel_mesh* mesh, double* normals) {
    return libraryCall([&] {
        given(normals, "normals");
        for (const Vector3& normal : vertexNormals(meshOf(mesh)))
            for (const double component : {normal.x(), normal.y(), normal.z()})
                *normals++ = component;
        return KEL_OK;
    });
}

double kel_mesh_side(const kel_mesh* mesh) {
    return mesh != nullptr ? mesh->pMesh->pRMesh->getSideLen() : 0.0;
}

kel_status kel_mesh_copy(kel_mesh* mesh, kel_mesh** copy) {
    return libraryCall([&] {
        given(copy, "copy");
        const IndexedMesh indexed(meshOf(mesh));
        std::vector<Point3> vVertices;
        vVertices.reserve(indexed.vVertices.size());
        for (const Point3* pVertex : indexed.vVertices)
            vVertices.push_back(*pVertex);
        return handOutMesh(exactMesh(vVertices, indexed.vIndices, kel_mesh_side(mesh)), copy);
    });
}

void kel_mesh_free(kel_mesh* mesh) {
    delete mesh;
}

kel_status kel_mesh_count_flaws(kel_mesh* mesh, kel_mesh_flaws* flaws) {
    return libraryCall([&] {
        given(flaws, "flaws");
        *flaws = figuresOf<kel_mesh_flaws>(countFlaws(*meshOf(mesh)->getRMesh()));
        return KEL_OK;
    });
}

kel_status kel_mesh_count_crossings(kel_mesh* mesh, size_t* crossings) {
    return libraryCall([&] {
        given(crossings, "crossings");
        *crossings = oneStepRun("Crossings", [&] { return countSelfIntersections(meshOf(mesh)); });
        return KEL_OK;
    });
}

kel_status kel_mesh_list_crossings(kel_mesh* mesh, kel_pairs** pairs) {
    return libraryCall([&] {
        given(pairs, "pairs");
        auto pPairs = std::make_unique<kel_pairs>();
        oneStepRun("Crossings", [&] { return countSelfIntersections(meshOf(mesh), pPairs->vPairs); });
        *pairs = pPairs.release();
        return KEL_OK;
    });
}

size_t kel_pairs_count(const kel_pairs* pairs) {
    return pairs != nullptr ? pairs->vPairs.size() : 0;
}

const size_t* kel_pairs_data(const kel_pairs* pairs) {
    return pairs != nullptr ? reinterpret_cast<const size_t*>(pairs->vPairs.data()) : nullptr;
}

void kel_pairs_free(kel_pairs* pairs) {
    delete pairs;
}

// ---- Changing a mesh in place
// -----------------------------------------------------------------------------------------------

void kel_keep_options_init(kel_keep_options* options, size_t size) {
    initOptions(options, size);
}

kel_status kel_mesh_make_manifold(kel_mesh* mesh, int no_crossings, kel_manifold_report* report) {
    return libraryCall([&] {
        const ManifoldReport done = makeManifold(meshOf(mesh), no_crossings != 0);
        if (report != nullptr) *report = figuresOf<kel_manifold_report>(done);
        return KEL_OK;
    });
}

kel_status kel_mesh_remove_crossings(kel_mesh* mesh, size_t* left) {
    return libraryCall([&] {
        const std::size_t numLeft = removeSelfIntersections(meshOf(mesh));
        if (left != nullptr) *left = numLeft;
        return KEL_OK;
    });
}

void kel_fit_options_init(kel_fit_options* options, size_t size) {
    initOptions(options, size);
}

kel_status kel_mesh_fit(kel_mesh* mesh, const kel_points* points, const kel_fit_options* options, kel_fit_report* report) {
    return libraryCall([&] {
        const kel_fit_options c = wholeOptions(options);
        requireLength("cell_edge", c.cell_edge);
        const FitReport done = fitSpan(meshOf(mesh), given(points, "points").points, optionsOf(c));
        if (report != nullptr) *report = figuresOf<kel_fit_report>(done);
        return KEL_OK;
    });
}

void kel_reduce_options_init(kel_reduce_options* options, size_t size) {
    initOptions(options, size);
}

kel_status kel_mesh_reduce(kel_mesh* mesh, const kel_reduce_options* options, kel_reduce_report* report) {
    return libraryCall([&] {
        requireSize(report);
        const kel_reduce_options c = wholeOptions(options);
        requireLength("max_distance", c.max_distance);
        require(c.triangles > 0 || c.max_distance > 0.0, "Neither triangles nor max_distance is greater than 0");
        requireNumber(c.feature_angle >= 0.0 && c.feature_angle <= 180.0, "feature_angle", c.feature_angle, "from 0 to 180");
        handOutReport(reduce(meshOf(mesh), optionsOf(c)), report);
        return KEL_OK;
    });
}

kel_status kel_mesh_collapse(kel_mesh* mesh, double max_edge_length, double max_angle, const kel_keep_options* keep,
                             int* removed) {
    return libraryCall([&] {
        requireLimit("max_edge_length", max_edge_length);
        requireLimit("max_angle", max_angle);
        const int numRemoved = reduce(meshOf(mesh), max_edge_length, max_angle, keepOf(keep));
        if (removed != nullptr) *removed = numRemoved;
        return KEL_OK;
    });
}

void kel_smooth_options_init(kel_smooth_options* options, size_t size) {
    initOptions(options, size);
}

kel_status kel_mesh_smooth(kel_mesh* mesh, const kel_smooth_options* options, kel_smooth_report* report) {
    return libraryCall([&] {
        requireSize(report);
        const kel_smooth_options c = wholeOptions(options);
        require(c.method == KEL_SMOOTH_TAUBIN || c.method == KEL_SMOOTH_BILATERAL,
                "method must be KEL_SMOOTH_TAUBIN or KEL_SMOOTH_BILATERAL");
        requireNumber(c.pass_band > 0.0 && c.pass_band <= 0.3, "pass_band", c.pass_band, "greater than 0, at most 0.3");
        requireNumber(c.edge_angle > 0.0 && c.edge_angle <= 180.0, "edge_angle", c.edge_angle,
                      "greater than 0, at most 180");
        handOutReport(smooth(meshOf(mesh), optionsOf(c)), report);
        return KEL_OK;
    });
}

kel_status kel_mesh_laplacian(kel_mesh* mesh, int rounds, const kel_keep_options* keep) {
    return libraryCall([&] {
        laplacianSmoothing(meshOf(mesh), rounds, keepOf(keep));
        return KEL_OK;
    });
}

kel_status kel_mesh_flip(kel_mesh* mesh, int annealing, const kel_keep_options* keep) {
    return libraryCall([&] {
        if (annealing != 0)
            edgeFlipsSimA(meshOf(mesh), keepOf(keep));
        else
            edgeFlips(meshOf(mesh), keepOf(keep));
        return KEL_OK;
    });
}

kel_status kel_mesh_fill(kel_mesh* mesh, int max_edges, const kel_keep_options* keep, int* closed) {
    return libraryCall([&] {
        const int numClosed = fillHoles(meshOf(mesh), max_edges, keepOf(keep));
        if (closed != nullptr) *closed = numClosed;
        return KEL_OK;
    });
}
