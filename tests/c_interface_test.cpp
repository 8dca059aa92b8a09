// The C interface: that it does what the C++ interface does, and that nothing a caller passes gets past its checks.
#include <gtest/gtest.h>
#include <kel_c.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "kel.h"
#include "support/TempFolder.h"
#include "support/attributes.h"
#include "support/capture.h"
#include "support/points.h"

namespace {

using TARN_KEL::MeshPtr;
using TARN_KEL::Point3;
using TARN_TEST::Scan;
using TARN_TEST::TempFolder;

using Points = std::unique_ptr<kel_points, decltype(&kel_points_free)>;
using Attributes = std::unique_ptr<kel_attributes, decltype(&kel_attributes_free)>;
using CMeshPtr = std::unique_ptr<kel_mesh, decltype(&kel_mesh_free)>;

Points pointsOf(const std::vector<Point3>& vPoints) {
    kel_points* pPoints = nullptr;
    std::vector<double> vNumbers;
    for (const Point3& p : vPoints)
        vNumbers.insert(vNumbers.end(), {p.x(), p.y(), p.z()});
    EXPECT_EQ(kel_points_create(vNumbers.data(), vPoints.size(), &pPoints), KEL_OK);
    return {pPoints, kel_points_free};
}

/// What a mesh is, to the last bit.
struct Arrays {
    std::vector<double> vVertices;
    std::vector<int> vTriangles;
    bool operator==(const Arrays&) const = default;
};

Arrays arraysOf(kel_mesh* pMesh) {
    std::size_t numVertices = 0, numTriangles = 0;
    EXPECT_EQ(kel_mesh_sizes(pMesh, &numVertices, &numTriangles), KEL_OK);
    Arrays arrays{std::vector<double>(3 * numVertices), std::vector<int>(3 * numTriangles)};
    EXPECT_EQ(kel_mesh_arrays(pMesh, arrays.vVertices.data(), arrays.vTriangles.data()), KEL_OK);
    return arrays;
}

Arrays arraysOf(const MeshPtr& pMesh) {
    std::vector<Point3*> vVertices;
    Arrays arrays;
    pMesh->getVertexIndexData(vVertices, arrays.vTriangles);
    for (const Point3* p : vVertices)
        arrays.vVertices.insert(arrays.vVertices.end(), {p->x(), p->y(), p->z()});
    return arrays;
}

CMeshPtr meshOf(const Points& points, const kel_reconstruct_options* pOptions = nullptr) {
    kel_mesh* pMesh = nullptr;
    EXPECT_EQ(kel_reconstruct(points.get(), pOptions, nullptr, &pMesh), KEL_OK) << kel_last_error();
    return {pMesh, kel_mesh_free};
}

MeshPtr quietly(const std::function<MeshPtr()>& run) {
    const TARN_KEL::MessageSink former = TARN_KEL::setMessageSink([](TARN_KEL::MessageKind, std::string_view) {});
    MeshPtr pMesh = run();
    TARN_KEL::setMessageSink(former);
    return pMesh;
}

kel_column inC(const TARN_KEL::AttributeColumn& column) {
    const void* pValues = std::visit([](const auto& v) { return static_cast<const void*>(v.data()); }, column.values);
    return {column.name.c_str(),
            static_cast<kel_type>(column.values.index()),
            KEL_KIND_NUMBER,
            column.size(),
            pValues,
            column.vMissing.empty() ? nullptr : column.vMissing.data()};
}

Attributes attributesOf(const TARN_KEL::PointAttributes& attributes) {
    kel_attributes* pAttributes = nullptr;
    EXPECT_EQ(kel_attributes_create(&pAttributes), KEL_OK);
    for (const TARN_KEL::AttributeColumn& column : attributes.vColumns) {
        const kel_column c = inC(column);
        EXPECT_EQ(kel_attributes_set(pAttributes, &c), KEL_OK) << kel_last_error();
    }
    return {pAttributes, kel_attributes_free};
}

/// What differs from the columns of C++, in kinds too; empty when nothing does.
std::string difference(const kel_attributes* pAttributes, const TARN_KEL::PointAttributes& wanted) {
    if (kel_attributes_count(pAttributes) != wanted.vColumns.size()) return "another number of columns";
    TARN_KEL::PointAttributes columns;
    for (std::size_t i = 0; i < wanted.vColumns.size(); ++i) {
        kel_column c;
        EXPECT_EQ(kel_attributes_column(pAttributes, i, &c), KEL_OK);
        if (c.kind != static_cast<int>(wanted.kindOf(wanted.vColumns[i]))) return std::string(c.name) + ": another kind";
        if (c.type != static_cast<int>(wanted.vColumns[i].values.index())) return std::string(c.name) + ": another type";
        TARN_KEL::AttributeColumn column{c.name, wanted.vColumns[i].values, {}};
        std::visit(
            [&](auto& v) {
                v.resize(c.rows);
                std::memcpy(v.data(), c.values, c.rows * sizeof v[0]);
            },
            column.values);
        if (c.missing != nullptr) column.vMissing.assign(c.missing, c.missing + c.rows);
        columns.vColumns.push_back(column);
    }
    return TARN_TEST::difference(columns, wanted);
}

/// Some points of a ball, holes in it, and a few points around it.
std::vector<Point3> scanWithFaults(std::size_t numPoints = 2000) {
    Scan scan(5, 0.01);
    std::vector<Point3> vPoints;
    for (const Point3& p : scan.sphere(numPoints))
        if (p.x() < 0.9) vPoints.push_back(p);
    for (const Point3& p : scan.dust(20))
        vPoints.emplace_back(3.0 * p.x(), 3.0 * p.y(), 3.0 * p.z());
    return vPoints;
}

/// What the call says, which must be a failure of that kind.
std::string failureOf(kel_status status, kel_status wanted) {
    EXPECT_EQ(status, wanted) << kel_last_error();
    return kel_last_error();
}

// ---- The same as in C++ -------------------------------------------------------------------------------------------------

TEST(CInterface, everyOptionOfARunDoesWhatItDoesInCpp) {
    // Most options make a difference for one of these, so that it shows when they get lost. The second one is very
    // noisy.
    kel_set_num_threads(1);  // many small runs, which threads only slow down
    const std::set<std::string> sAlike{"none", "threads", "pinholes", "crossings"};
    const std::vector<Point3> aScans[] = {scanWithFaults(1000),
                                          TARN_TEST::joined(Scan(5, 0.13).sphere(600), Scan(6).dust(90))};
    using C = kel_reconstruct_options;
    using Cpp = TARN_KEL::ReconstructOptions;
    const struct {
        const char* name;
        std::function<void(C&)> inC;
        std::function<void(Cpp&)> inCpp;
    } CASES[] = {

        {"none", [](C&) {}, [](Cpp&) {}},
        {"spacing", [](C& o) { o.spacing = 0.1; }, [](Cpp& o) { o.spacing = 0.1; }},
        {"factor", [](C& o) { o.factor = 1.7; }, [](Cpp& o) { o.factor = 1.7; }},
        {"origin",
         [](C& o) {
             o.has_origin = 1;
             o.origin[0] = 0.03, o.origin[1] = 0.02, o.origin[2] = 0.01;
         },
         [](Cpp& o) { o.origin = Point3(0.03, 0.02, 0.01); }},
        {"outliers", [](C& o) { o.outliers = 0; }, [](Cpp& o) { o.bOutliers = false; }},
        {"even", [](C& o) { o.even = 0; }, [](Cpp& o) { o.bEven = false; }},
        {"laplacian", [](C& o) { o.laplacian = 1; }, [](Cpp& o) { o.bLaplacian = true; }},
        {"grow", [](C& o) { o.grow = 8; }, [](Cpp& o) { o.numGrowSteps = 8; }},
        {"careful", [](C& o) { o.grow = 8, o.careful_growth = 0; },
         [](Cpp& o) { o.numGrowSteps = 8, o.bCarefulGrowth = false; }},
        {"manifold", [](C& o) { o.manifold = 0; }, [](Cpp& o) { o.bManifold = false; }},
        {"pieces", [](C& o) { o.min_piece_area = 0.0; }, [](Cpp& o) { o.minPieceArea = 0.0; }},
        {"pinholes", [](C& o) { o.max_pinhole_edges = 0; }, [](Cpp& o) { o.maxPinholeEdges = 0; }},
        {"holes", [](C& o) { o.max_hole_edges = 90; }, [](Cpp& o) { o.maxHoleEdges = 90; }},
        {"crossings", [](C& o) { o.no_crossings = 0; }, [](Cpp& o) { o.bNoCrossings = false; }},
        {"fit", [](C& o) { o.fit = 0; }, [](Cpp& o) { o.bFit = false; }},
        {"denoise", [](C& o) { o.denoise = 0; }, [](Cpp& o) { o.bDenoise = false; }},
        {"threads", [](C& o) { o.threads = 1; }, [](Cpp& o) { o.numThreads = 1; }},
    };
    for (const auto& [name, inC, inCpp] : CASES) {
        bool bDiffers = false;
        for (const std::vector<Point3>& vPoints : aScans) {
            const Points points = pointsOf(vPoints);
            C options;
            kel_reconstruct_options_init(&options, sizeof options);
            inC(options);
            Cpp cppOptions;
            inCpp(cppOptions);
            const MeshPtr pMesh = quietly([&] { return TARN_KEL::reconstruct(vPoints, cppOptions); });
            EXPECT_EQ(arraysOf(meshOf(points, &options).get()), arraysOf(pMesh)) << name;
            bDiffers = bDiffers || arraysOf(pMesh) != arraysOf(meshOf(points).get());
        }
        EXPECT_TRUE(bDiffers || sAlike.count(name) != 0) << name;
    }
    kel_set_num_threads(0);
}

TEST(CInterface, changesAMeshAsCppDoes) {
    const std::vector<Point3> vPoints = scanWithFaults();
    const Points points = pointsOf(vPoints);
    using Keep = TARN_KEL::KeepOptions;
    const struct {
        const char* name;
        std::function<kel_status(kel_mesh*)> inC;
        std::function<void(MeshPtr)> inCpp;
    } CASES[] = {
        {"reduce",
         [](kel_mesh* p) {
             kel_reduce_options o;
             kel_reduce_options_init(&o, sizeof o);
             o.triangles = 500, o.keep_borders = 1, o.feature_angle = 30.0, o.keep_features = 1, o.fit = 1;
             return kel_mesh_reduce(p, &o, nullptr);
         },
         [](MeshPtr p) {
             TARN_KEL::ReduceOptions o;
             o.numTriangles = 500, o.bKeepBorders = true, o.featureAngle = 30.0, o.bKeepFeatures = true, o.bFit = true;
             TARN_KEL::reduce(p, o);
         }},
        {"collapse", [](kel_mesh* p) { return kel_mesh_collapse(p, 0.2, 15.0, nullptr, nullptr); },
         [](MeshPtr p) { TARN_KEL::reduce(p, 0.2, 15.0, Keep()); }},
        {"smooth",
         [](kel_mesh* p) {
             kel_smooth_options o;
             kel_smooth_options_init(&o, sizeof o);
             o.method = KEL_SMOOTH_BILATERAL, o.rounds = 3, o.keep_borders = 0, o.edge_angle = 40.0;
             return kel_mesh_smooth(p, &o, nullptr);
         },
         [](MeshPtr p) {
             TARN_KEL::SmoothOptions o;
             o.method = TARN_KEL::SmoothMethod::BILATERAL, o.numRounds = 3, o.bKeepBorders = false, o.edgeAngle = 40.0;
             TARN_KEL::smooth(p, o);
         }},
        {"laplacian", [](kel_mesh* p) { return kel_mesh_laplacian(p, 2, nullptr); },
         [](MeshPtr p) { TARN_KEL::laplacianSmoothing(p, 2, Keep()); }},
        {"flip", [](kel_mesh* p) { return kel_mesh_flip(p, 0, nullptr); },
         [](MeshPtr p) { TARN_KEL::edgeFlips(p, Keep()); }},
        {"raw flip",
         [](kel_mesh* p) {
             kel_keep_options o;
             kel_keep_options_init(&o, sizeof o);
             o.manifold = 0, o.no_crossings = 0;
             return kel_mesh_flip(p, 0, &o);
         },
         [](MeshPtr p) { TARN_KEL::edgeFlips(p, {.bManifold = false, .bNoCrossings = false}); }},
        {"annealing", [](kel_mesh* p) { return kel_mesh_flip(p, 1, nullptr); },
         [](MeshPtr p) { TARN_KEL::edgeFlipsSimA(p, Keep()); }},
        {"fill", [](kel_mesh* p) { return kel_mesh_fill(p, 90, nullptr, nullptr); },
         [](MeshPtr p) { TARN_KEL::fillHoles(p, 90, Keep()); }},
        {"fit",
         [&](kel_mesh* p) {
             kel_fit_options o;
             kel_fit_options_init(&o, sizeof o);
             o.noise = 0, o.cell_edge = 0.08;
             return kel_mesh_fit(p, points.get(), &o, nullptr);
         },
         [&](MeshPtr p) { TARN_KEL::fit(p, vPoints, {.cellEdge = 0.08, .bNoise = false}); }},
    };
    TARN_KEL::ReconstructOptions rough;
    rough.bFit = false;
    kel_reconstruct_options cRough;
    kel_reconstruct_options_init(&cRough, sizeof cRough);
    cRough.fit = 0;
    for (const auto& [name, inC, inCpp] : CASES) {
        const CMeshPtr mesh = meshOf(points, &cRough);
        EXPECT_EQ(inC(mesh.get()), KEL_OK) << name << ": " << kel_last_error();
        const MeshPtr pMesh = quietly([&, &change = inCpp] {
            MeshPtr p = TARN_KEL::reconstruct(vPoints, rough);
            change(p);
            return p;
        });
        EXPECT_EQ(arraysOf(mesh.get()), arraysOf(pMesh)) << name;
    }
}

TEST(CInterface, reportsWhatTheRunDid) {
    const std::vector<Point3> vPoints = scanWithFaults();
    TARN_KEL::ReconstructReport inCpp;
    quietly([&] { return TARN_KEL::reconstruct(vPoints, {}, &inCpp); });
    kel_reconstruct_report report;
    report.size = sizeof report;
    kel_mesh* pMesh = nullptr;
    ASSERT_EQ(kel_reconstruct(pointsOf(vPoints).get(), nullptr, &report, &pMesh), KEL_OK);
    const CMeshPtr mesh(pMesh, kel_mesh_free);
    EXPECT_EQ(report.points, vPoints.size());
    EXPECT_EQ(report.strays, inCpp.numStrays);
    EXPECT_EQ(report.cell_edge, inCpp.cellEdge);
    EXPECT_EQ(report.after.border_edges, inCpp.after.numBorderEdges);
    EXPECT_EQ(report.fit.noise, inCpp.fit.noise);
    ASSERT_EQ(kel_num_steps(), inCpp.vSteps.size());
    for (std::size_t i = 0; i < kel_num_steps(); ++i)
        EXPECT_EQ(kel_step_name(i), inCpp.vSteps[i].name);
    EXPECT_EQ(kel_step_name(kel_num_steps()), nullptr);
    EXPECT_GT(kel_step_seconds(0), 0.0);
    EXPECT_EQ(kel_step_seconds(kel_num_steps()), 0.0);
}

TEST(CInterface, isOfTheVersionOfTheLibrary) {
    int aVersion[2], major = 0, minor = 0;
    TARN_KEL::getVersion(aVersion[0], aVersion[1]);
    kel_version(&major, nullptr);
    kel_version(nullptr, &minor);
    EXPECT_EQ(major, aVersion[0]);
    EXPECT_EQ(minor, aVersion[1]);
}

TEST(CInterface, meltsAndMakesCloudsAsCppDoes) {
    std::vector<Point3> vVertices{{0, 0, 0}, {4, 0, 0}, {0, 4, 0}, {0, 0, 4}};
    const int32_t aTriangles[] = {0, 2, 1, 0, 1, 3, 0, 3, 2, 1, 2, 3};
    std::vector<Point3> vCorners;
    for (const int32_t i : aTriangles)
        vCorners.push_back(vVertices[static_cast<std::size_t>(i)]);
    kel_points* pCorners = nullptr;
    ASSERT_EQ(kel_corners_create(pointsOf(vVertices).get(), aTriangles, 4, &pCorners), KEL_OK);
    const Points corners(pCorners, kel_points_free);

    kel_melt_options options;
    kel_melt_options_init(&options, sizeof options);
    options.spacing = 0.25;
    kel_melt_report report;
    report.size = sizeof report;
    kel_mesh* pMesh = nullptr;
    ASSERT_EQ(kel_melt(corners.get(), &options, &report, &pMesh), KEL_OK) << kel_last_error();
    const CMeshPtr mesh(pMesh, kel_mesh_free);
    EXPECT_EQ(report.triangles, 4U);
    EXPECT_EQ(report.manifold.closed, 1);
    TARN_KEL::MeltOptions cppOptions;
    cppOptions.spacing = 0.25;
    EXPECT_EQ(arraysOf(mesh.get()), arraysOf(quietly([&] { return TARN_KEL::melt(vCorners, cppOptions); })));

    kel_points* pCloud = nullptr;
    ASSERT_EQ(kel_cloud(corners.get(), 0.25, 30.0, &pCloud), KEL_OK);
    const Points cloud(pCloud, kel_points_free);
    std::vector<Point3> vCloud;
    quietly([&] { return TARN_KEL::toCloud(vCorners, 0.25, 30.0, vCloud), nullptr; });
    ASSERT_EQ(kel_points_count(cloud.get()), vCloud.size());
    EXPECT_EQ(std::memcmp(kel_points_data(cloud.get()), vCloud.data(), sizeof(Point3) * vCloud.size()), 0);
}

// ---- Points, meshes, files
// ------------------------------------------------------------------------------------------------

TEST(CInterface, takesPointsFromAnyLayout) {
    const double aPlain[] = {1, 2, 3, 4, 5, 6};
    const struct {
        const char* name;
        std::vector<double> vData;
        std::ptrdiff_t offset, row, column;
    } CASES[] = {
        {"columns first", {1, 4, 2, 5, 3, 6}, 0, 8, 16},
        {"backwards", {6, 5, 4, 3, 2, 1}, 40, -24, -8},
        {"every second", {1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0}, 0, 48, 16},
    };
    kel_points* pPoints = nullptr;
    for (const auto& [name, vData, offset, row, column] : CASES) {
        const char* pStart = reinterpret_cast<const char*>(vData.data()) + offset;
        ASSERT_EQ(kel_points_create_strided(pStart, KEL_FLOAT64, 2, row, column, &pPoints), KEL_OK);
        const Points points(pPoints, kel_points_free);
        EXPECT_EQ(std::memcmp(kel_points_data(points.get()), aPlain, sizeof aPlain), 0) << name;
    }
    char aBytes[25];  // floats that aren't aligned
    for (int i = 0; i < 6; ++i) {
        const float value = static_cast<float>(i + 1);
        std::memcpy(aBytes + 1 + 4 * i, &value, 4);
    }
    ASSERT_EQ(kel_points_create_strided(aBytes + 1, KEL_FLOAT32, 2, 12, 4, &pPoints), KEL_OK);
    const Points points(pPoints, kel_points_free);
    EXPECT_EQ(std::memcmp(kel_points_data(points.get()), aPlain, sizeof aPlain), 0);
}

TEST(CInterface, doesWithBorrowedPointsWhatItDoesWithItsOwn) {
    const TempFolder folder;
    const std::vector<Point3> vPoints = scanWithFaults(1500);
    const Points own = pointsOf(vPoints);
    kel_points* pOut = nullptr;
    const auto* const pNumbers = reinterpret_cast<const double*>(vPoints.data());
    ASSERT_EQ(kel_points_borrow(pNumbers, vPoints.size(), &pOut), KEL_OK);
    const Points borrowed(pOut, kel_points_free);
    EXPECT_EQ(kel_points_data(borrowed.get()), pNumbers);
    EXPECT_EQ(kel_points_count(borrowed.get()), vPoints.size());
    const Attributes columns = attributesOf(TARN_TEST::oneOfEachType(vPoints.size()));
    const auto resultsOf = [&](const Points& points) {
        const CMeshPtr mesh = meshOf(points);
        std::vector<Arrays> vArrays{arraysOf(mesh.get())};
        EXPECT_EQ(kel_mesh_fit(mesh.get(), points.get(), nullptr, nullptr), KEL_OK);
        vArrays.push_back(arraysOf(mesh.get()));
        kel_attributes* pAttributes = nullptr;
        EXPECT_EQ(kel_attributes_transfer(columns.get(), points.get(), mesh.get(), 0.0, &pAttributes), KEL_OK);
        kel_column column;
        EXPECT_EQ(kel_attributes_column(pAttributes, 9, &column), KEL_OK);
        const auto* const pValues = static_cast<const double*>(column.values);
        vArrays.push_back({std::vector<double>(pValues, pValues + column.rows), {}});
        kel_attributes_free(pAttributes);
        EXPECT_EQ(kel_points_write(points.get(), folder.path("a.xyz").c_str()), KEL_OK);
        double spacing = 0.0;
        EXPECT_EQ(kel_spacing(points.get(), &spacing), KEL_OK);
        const std::string text = folder.read("a.xyz");
        vArrays.push_back({{spacing}, std::vector<int>(text.begin(), text.end())});
        return vArrays;
    };
    EXPECT_EQ(resultsOf(borrowed), resultsOf(own));
}

TEST(CInterface, copiesAndRestoresAMeshToTheBit) {
    kel_reconstruct_options raw;
    kel_reconstruct_options_init(&raw, sizeof raw);
    raw.manifold = 0;
    for (const kel_reconstruct_options* pOptions : {static_cast<kel_reconstruct_options*>(nullptr), &raw}) {
        const CMeshPtr mesh = meshOf(pointsOf(scanWithFaults()), pOptions);
        const Arrays arrays = arraysOf(mesh.get());
        kel_mesh* pCopy = nullptr;
        ASSERT_EQ(kel_mesh_copy(mesh.get(), &pCopy), KEL_OK);
        const CMeshPtr copy(pCopy, kel_mesh_free);
        EXPECT_EQ(arraysOf(copy.get()), arrays);
        ASSERT_EQ(kel_mesh_fill(copy.get(), 50, nullptr, nullptr), KEL_OK);
        EXPECT_EQ(arraysOf(mesh.get()), arrays) << "a change of the copy got to the mesh";

        kel_points* pVertices = nullptr;
        kel_mesh* pRestored = nullptr;
        ASSERT_EQ(kel_points_create(arrays.vVertices.data(), arrays.vVertices.size() / 3, &pVertices), KEL_OK);
        const Points vertices(pVertices, kel_points_free);
        ASSERT_EQ(kel_mesh_restore(vertices.get(), arrays.vTriangles.data(), arrays.vTriangles.size() / 3,
                                   kel_mesh_side(mesh.get()), &pRestored),
                  KEL_OK);
        const CMeshPtr restored(pRestored, kel_mesh_free);
        EXPECT_EQ(arraysOf(restored.get()), arrays);
        EXPECT_EQ(kel_mesh_side(restored.get()), kel_mesh_side(mesh.get()));
    }
}

TEST(CInterface, writesWhatItReads) {
    const TempFolder folder;
    const CMeshPtr mesh = meshOf(pointsOf(scanWithFaults()));
    std::size_t numTriangles = 0;
    kel_mesh_sizes(mesh.get(), nullptr, &numTriangles);
    kel_write_options options;
    kel_write_options_init(&options, sizeof options);
    options.ascii = options.stl_binary = options.normals = 1;
    for (const kel_write_options* pOptions : {static_cast<kel_write_options*>(nullptr), &options})
        for (const char* name : {"a.ply", "a.stl", "a.obj", "a.off"}) {
            ASSERT_EQ(kel_mesh_write(mesh.get(), folder.path(name).c_str(), pOptions), KEL_OK) << kel_last_error();
            kel_mesh* pRead = nullptr;
            ASSERT_EQ(kel_mesh_read(folder.path(name).c_str(), 0, &pRead), KEL_OK) << kel_last_error();
            const CMeshPtr read(pRead, kel_mesh_free);
            std::size_t numRead = 0;
            kel_mesh_sizes(read.get(), nullptr, &numRead);
            EXPECT_EQ(numRead, numTriangles) << name;
            kel_points* pCorners = nullptr;
            ASSERT_EQ(kel_corners_read(folder.path(name).c_str(), &pCorners), KEL_OK) << kel_last_error();
            EXPECT_EQ(kel_points_count(pCorners), 3 * numTriangles) << name;
            kel_points_free(pCorners);
        }
    const Points points = pointsOf(Scan(1).sphere(50));
    for (const char* name : {"p.xyz", "p.bin", "p.las", "p.ply"}) {
        ASSERT_EQ(kel_points_write(points.get(), folder.path(name).c_str()), KEL_OK) << name << ": " << kel_last_error();
        kel_points* pRead = nullptr;
        ASSERT_EQ(kel_points_read(folder.path(name).c_str(), &pRead), KEL_OK) << kel_last_error();
        const Points read(pRead, kel_points_free);
        ASSERT_EQ(kel_points_count(read.get()), 50U) << name;
        EXPECT_NEAR(kel_points_data(read.get())[149], kel_points_data(points.get())[149], 1e-3) << name;
    }
    kel_mesh* pNone = nullptr;
    const std::size_t numFiles = folder.numFiles();
    EXPECT_NE(failureOf(kel_mesh_read(folder.path("none.ply").c_str(), 1, &pNone), KEL_BAD_FILE).find("none.ply"),
              std::string::npos);
    EXPECT_NE(failureOf(kel_mesh_write(mesh.get(), folder.path("no/a.ply").c_str(), nullptr), KEL_BAD_FILE), "");
    EXPECT_NE(failureOf(kel_mesh_write(mesh.get(), folder.path("a.png").c_str(), nullptr), KEL_BAD_ARGUMENT), "");
    EXPECT_NE(failureOf(kel_points_write(points.get(), folder.path("a.stl").c_str()), KEL_BAD_ARGUMENT), "");
    EXPECT_EQ(folder.numFiles(), numFiles);
    EXPECT_EQ(pNone, nullptr);
}

// ---- What points carry
// ----------------------------------------------------------------------------------------------------

/// A column of each type, colours and classes, of which some aren't known.
TARN_KEL::PointAttributes someColumns(std::size_t numRows) {
    TARN_KEL::PointAttributes attributes = TARN_TEST::oneOfEachType(numRows);
    for (const char* name : {"red", "green", "blue", "classification"}) {
        std::vector<std::uint8_t> vValue(numRows);
        for (std::size_t i = 0; i < numRows; ++i)
            vValue[i] = static_cast<std::uint8_t>((7 * i + attributes.vColumns.size()) % 23);
        attributes.set({name, std::move(vValue), {}});
    }
    std::vector<unsigned char> vMissing(numRows, 0);
    vMissing[1] = 1;
    std::get<std::vector<std::uint8_t>>(attributes.vColumns.back().values)[1] = 0;
    attributes.vColumns.back().vMissing = vMissing;
    return attributes;
}

TEST(CInterface, carriesColumnsAsCppDoes) {
    const TempFolder folder;
    const std::vector<Point3> vPoints = scanWithFaults(500);
    const Points points = pointsOf(vPoints);
    const TARN_KEL::PointAttributes columns = someColumns(vPoints.size());
    const Attributes attributes = attributesOf(columns);
    EXPECT_EQ(difference(attributes.get(), columns), "");

    const CMeshPtr mesh = meshOf(points);
    kel_attributes* pOut = nullptr;
    ASSERT_EQ(kel_attributes_transfer(attributes.get(), points.get(), mesh.get(), 0.1, &pOut), KEL_OK) << kel_last_error();
    const Attributes ofVertices(pOut, kel_attributes_free);
    const MeshPtr pMesh = quietly([&] { return TARN_KEL::reconstruct(vPoints, TARN_KEL::ReconstructOptions()); });
    const TARN_KEL::PointAttributes wanted = TARN_KEL::transferAttributes(pMesh, vPoints, columns, 0.1);
    EXPECT_EQ(difference(ofVertices.get(), wanted), "");

    const std::string cName = folder.path("c.ply");
    std::string cppName = folder.path("cpp.ply");
    ASSERT_EQ(kel_points_write_with(points.get(), attributes.get(), cName.c_str()), KEL_OK);
    ASSERT_TRUE(TARN_KEL::writePoints_auto(cppName, vPoints, false, TARN_KEL::Precision::AUTO, columns));
    EXPECT_EQ(folder.read("c.ply"), folder.read("cpp.ply"));
    kel_points* pRead = nullptr;
    ASSERT_EQ(kel_points_read_with(cName.c_str(), nullptr, 0, &pRead, &pOut, nullptr), KEL_OK);
    const Points read(pRead, kel_points_free);
    const Attributes readColumns(pOut, kel_attributes_free);
    std::vector<Point3> vRead;
    TARN_KEL::PointAttributes readInCpp;
    ASSERT_TRUE(TARN_KEL::readPointFile(cppName, vRead, readInCpp));
    EXPECT_EQ(difference(readColumns.get(), readInCpp), "");

    ASSERT_EQ(kel_mesh_write_with(mesh.get(), ofVertices.get(), cName.c_str(), nullptr), KEL_OK);
    ASSERT_TRUE(TARN_KEL::writeMesh_auto(cppName, pMesh, false, TARN_KEL::Precision::AUTO, wanted));
    EXPECT_EQ(folder.read("c.ply"), folder.read("cpp.ply"));
}

TEST(CInterface, readsClassesOfAScan) {
    const TempFolder folder;
    const std::string name = folder.path("a.las");
    const std::vector<Point3> vPoints = Scan(1).sphere(10);
    const TARN_KEL::PointAttributes classes{
        {{"classification", std::vector<std::uint8_t>{1, 2, 2, 5, 2, 9, 5, 1, 2, 7}, {}}}};
    ASSERT_EQ(kel_points_write_with(pointsOf(vPoints).get(), attributesOf(classes).get(), name.c_str()), KEL_OK);
    const int aWanted[] = {2, 5};
    kel_points* pPoints = nullptr;
    kel_attributes* pAttributes = nullptr;
    std::size_t numOthers = 0;
    ASSERT_EQ(kel_points_read_with(name.c_str(), aWanted, 2, &pPoints, &pAttributes, &numOthers), KEL_OK);
    const Points points(pPoints, kel_points_free);
    const Attributes attributes(pAttributes, kel_attributes_free);
    EXPECT_EQ(numOthers, 4U);
    EXPECT_EQ(difference(attributes.get(), classes.rows({1, 2, 3, 4, 6, 8})), "");
    ASSERT_EQ(kel_points_read_with(name.c_str(), aWanted, 1, &pPoints, nullptr, nullptr), KEL_OK);
    EXPECT_EQ(kel_points_count(pPoints), 4U);
    kel_points_free(pPoints);
}

TEST(CInterface, saysWhichColumnsAFileCannotHold) {
    const TempFolder folder;
    const Points points = pointsOf(Scan(1).sphere(400));
    const CMeshPtr mesh = meshOf(points);
    const Attributes ofPoints = attributesOf(someColumns(400));
    kel_attributes* pOut = nullptr;
    ASSERT_EQ(kel_attributes_transfer(ofPoints.get(), points.get(), mesh.get(), 0.0, &pOut), KEL_OK);
    const Attributes ofVertices(pOut, kel_attributes_free);
    std::string warnings;
    kel_set_message_handler(
        [](kel_message_kind kind, const char* text, void* pData) {
            if (kind == KEL_MESSAGE_WARNING) *static_cast<std::string*>(pData) = text;
        },
        &warnings);
    const auto warned = [&](const char* word) { return warnings.find(word) != std::string::npos; };
    ASSERT_EQ(kel_mesh_write_with(mesh.get(), ofVertices.get(), folder.path("a.obj").c_str(), nullptr), KEL_OK);
    EXPECT_TRUE(warned("can't hold of_int8") && warned("classification") && !warned("red")) << warnings;
    ASSERT_EQ(kel_mesh_write_with(mesh.get(), ofVertices.get(), folder.path("a.stl").c_str(), nullptr), KEL_OK);
    EXPECT_TRUE(warned("red")) << warnings;
    warnings.clear();
    ASSERT_EQ(kel_points_write_with(points.get(), ofPoints.get(), folder.path("a.xyz").c_str()), KEL_OK);
    EXPECT_TRUE(warned("can't hold of_int8") && !warned("red")) << warnings;
    EXPECT_EQ(kel_points_write_with(points.get(), ofPoints.get(), folder.path("a.bin").c_str()), KEL_OK);
    EXPECT_TRUE(warned("red")) << warnings;
    kel_set_message_handler(nullptr, nullptr);
}

TEST(CInterface, takesNoColumnThatCannotBe) {
    const Points points = pointsOf(Scan(1).sphere(100));
    const CMeshPtr mesh = meshOf(points);
    const TARN_KEL::PointAttributes columns = someColumns(3);
    const Attributes attributes = attributesOf(columns);
    kel_attributes* pOut = nullptr;
    kel_points* pPoints = nullptr;
    const int aClasses[] = {2, 300};
    const auto setWith = [&](const std::function<void(kel_column&)>& change) {
        kel_column column = inC(columns.vColumns[0]);
        change(column);
        return kel_attributes_set(attributes.get(), &column);
    };
    const auto readWith = [&](const char* filename, const int* classes, std::size_t numClasses) {
        return kel_points_read_with(filename, classes, numClasses, &pPoints, &pOut, nullptr);
    };
    kel_column column;
    const struct {
        const char* word;
        std::function<kel_status()> call;
    } CASES[] = {
        {"name", [&] { return setWith([](auto& c) { c.name = nullptr; }); }},
        {"name of the column is empty", [&] { return setWith([](auto& c) { c.name = ""; }); }},
        {"10 is no kel_type", [&] { return setWith([](auto& c) { c.type = static_cast<kel_type>(10); }); }},
        {"99 is no kel_type",
         [&] { return setWith([](auto& c) { std::memset(&c.type, 0, sizeof c.type), std::memset(&c.type, 99, 1); }); }},
        {"values", [&] { return setWith([](auto& c) { c.values = nullptr; }); }},
        {"of_int8 has 2 rows, but of_uint8 has 3", [&] { return setWith([](auto& c) { c.rows = 2; }); }},
        {"column", [&] { return kel_attributes_set(attributes.get(), nullptr); }},
        {"attributes", [&] { return kel_attributes_column(nullptr, 0, &column); }},
        {"index is 14, but there are 14", [&] { return kel_attributes_column(attributes.get(), 14, &column); }},
        {"3 rows, but there are 100 points",
         [&] { return kel_attributes_transfer(attributes.get(), points.get(), mesh.get(), 0.0, &pOut); }},
        {"length", [&] { return kel_attributes_transfer(attributesOf({}).get(), points.get(), mesh.get(), -1.0, &pOut); }},
        {"3 rows, but there are 100 points", [&] { return kel_points_write_with(points.get(), attributes.get(), "a.ply"); }},
        {"vertices", [&] { return kel_mesh_write_with(mesh.get(), attributes.get(), "a.ply", nullptr); }},
        {"classes is NULL", [&] { return readWith("a.las", nullptr, 1); }},
        {"a class is 300", [&] { return readWith("a.las", aClasses, 2); }},
        {"only LAS files", [&] { return readWith("a.ply", aClasses, 1); }},
        {"threads is -1", [] { return kel_set_num_threads(-1); }},
        {"pairs", [&] { return kel_mesh_list_crossings(mesh.get(), nullptr); }},
    };
    for (const auto& [word, call] : CASES)
        EXPECT_NE(failureOf(call(), KEL_BAD_ARGUMENT).find(word), std::string::npos) << word << ": " << kel_last_error();
    EXPECT_EQ(difference(attributes.get(), columns), "");
    EXPECT_EQ(readWith("none.ply", nullptr, 0), KEL_BAD_FILE);
    EXPECT_TRUE(pOut == nullptr && pPoints == nullptr);
}

TEST(CInterface, hasTheNormalsOfCpp) {
    const std::vector<Point3> vPoints = scanWithFaults();
    const CMeshPtr mesh = meshOf(pointsOf(vPoints));
    std::vector<double> vExpected;
    for (const TARN_KEL::Vector3& normal :
         vertexNormals(quietly([&] { return reconstruct(vPoints, TARN_KEL::ReconstructOptions()); })))
        vExpected.insert(vExpected.end(), {normal.x(), normal.y(), normal.z()});
    std::vector<double> vNormals(vExpected.size());
    ASSERT_EQ(kel_mesh_normals(mesh.get(), vNormals.data()), KEL_OK);
    EXPECT_EQ(vNormals, vExpected);
}

TEST(CInterface, findsCrossingsAndRemovesThem) {
    // Two triangles through each other, one apart before them.
    const Points vertices = pointsOf(
        {{9, 0, 0}, {10, 0, 0}, {9, 1, 0}, {-1, -1, 0}, {2, -1, 0}, {-1, 2, 0}, {0, 0, -1}, {0, 0, 1}, {0.5, 0.1, 1}});
    const int32_t aTriangles[] = {0, 1, 2, 3, 4, 5, 6, 7, 8};
    kel_mesh* pMesh = nullptr;
    ASSERT_EQ(kel_mesh_create(vertices.get(), aTriangles, 3, 1, &pMesh), KEL_OK);
    const CMeshPtr mesh(pMesh, kel_mesh_free);
    kel_pairs* pPairs = nullptr;
    ASSERT_EQ(kel_mesh_list_crossings(mesh.get(), &pPairs), KEL_OK);
    ASSERT_EQ(kel_pairs_count(pPairs), 1U);
    EXPECT_EQ(kel_pairs_data(pPairs)[0], 1U);
    EXPECT_EQ(kel_pairs_data(pPairs)[1], 2U);
    kel_pairs_free(pPairs);
    std::size_t numLeft = 9, numCounted = 0;
    ASSERT_EQ(kel_mesh_remove_crossings(mesh.get(), &numLeft), KEL_OK);
    ASSERT_EQ(kel_mesh_count_crossings(mesh.get(), &numCounted), KEL_OK);
    EXPECT_EQ(numLeft, numCounted);
}

// ---- Structs of other sizes
// -----------------------------------------------------------------------------------------------

TEST(CInterface, servesCallersThatKnowFewerFields) {
    kel_reconstruct_options options;
    std::memset(&options, 0x7f, sizeof options);
    const std::size_t known = offsetof(kel_reconstruct_options, outliers);
    kel_reconstruct_options_init(&options, known);
    EXPECT_EQ(options.size, known);
    EXPECT_EQ(options.factor, TARN_KEL::ReconstructOptions().factor);
    EXPECT_EQ(options.outliers, 0x7f7f7f7f) << "written beyond what the caller knows";
    const Points points = pointsOf(scanWithFaults());
    EXPECT_EQ(arraysOf(meshOf(points, &options).get()), arraysOf(meshOf(points).get()));

    kel_reconstruct_report report;
    std::memset(&report, 0x7f, sizeof report);
    report.size = offsetof(kel_reconstruct_report, strays);
    kel_mesh* pMesh = nullptr;
    ASSERT_EQ(kel_reconstruct(points.get(), &options, &report, &pMesh), KEL_OK);
    kel_mesh_free(pMesh);
    EXPECT_EQ(report.points, kel_points_count(points.get()));
    std::size_t untouched;
    std::memset(&untouched, 0x7f, sizeof untouched);
    EXPECT_EQ(report.strays, untouched);
    for (const std::size_t size : {std::size_t{0}, std::size_t{7}, sizeof options + 1}) {
        options.size = size;
        EXPECT_NE(failureOf(kel_reconstruct(points.get(), &options, nullptr, &pMesh), KEL_BAD_ARGUMENT).find("size"),
                  std::string::npos);
    }
}

// ---- Failure
// --------------------------------------------------------------------------------------------------------------

TEST(CInterface, namesTheArgumentThatCannotBe) {
    const Points points = pointsOf(Scan(1).sphere(100));
    const CMeshPtr mesh = meshOf(pointsOf(Scan(1).sphere(500)));
    const double nan = std::nan("");
    kel_points* pOut = nullptr;
    kel_mesh* pMesh = nullptr;
    kel_points* const pPoints = points.get();
    kel_mesh* const pGood = mesh.get();
    const int32_t aBad[] = {0, 1, 100};
    const auto reconstructWith = [&](const std::function<void(kel_reconstruct_options&)>& change) {
        kel_reconstruct_options options;
        kel_reconstruct_options_init(&options, sizeof options);
        change(options);
        return kel_reconstruct(pPoints, &options, nullptr, &pMesh);
    };
    const auto reduceWith = [&](double distance, double angle) {
        kel_reduce_options options;
        kel_reduce_options_init(&options, sizeof options);
        options.max_distance = distance, options.feature_angle = angle;
        return kel_mesh_reduce(pGood, &options, nullptr);
    };
    const auto smoothWith = [&](int method, double passBand, double angle) {
        kel_smooth_options options;
        kel_smooth_options_init(&options, sizeof options);
        options.method = method, options.pass_band = passBand, options.edge_angle = angle;
        return kel_mesh_smooth(pGood, &options, nullptr);
    };
    const auto writeWith = [&](int precision) {
        kel_write_options options;
        kel_write_options_init(&options, sizeof options);
        options.precision = precision;
        return kel_mesh_write(pGood, "a.ply", &options);
    };
    const auto fitWith = [&](double edge) {
        kel_fit_options options;
        kel_fit_options_init(&options, sizeof options);
        options.cell_edge = edge;
        return kel_mesh_fit(pGood, pPoints, &options, nullptr);
    };
    double spacing = 0.0;
    const struct {
        const char* word;
        std::function<kel_status()> call;
    } CASES[] = {
        {"stop", [] { return kel_stop_create(nullptr); }},
        {"points", [] { return kel_points_create(nullptr, 0, nullptr); }},
        {"data", [&] { return kel_points_create(nullptr, 1, &pOut); }},
        {"xyz is NULL", [&] { return kel_points_borrow(nullptr, 1, &pOut); }},
        {"aligned",
         [&] {
             return kel_points_borrow(reinterpret_cast<const double*>(reinterpret_cast<char*>(&spacing) + 1), 1, &pOut);
         }},
        {"number", [&] { return kel_points_create_strided(&spacing, static_cast<kel_number>(2), 1, 0, 0, &pOut); }},
        {"filename", [&] { return kel_points_read(nullptr, &pOut); }},
        {"filename", [&] { return kel_points_write(pPoints, nullptr); }},
        {"points", [] { return kel_points_write(nullptr, "a.xyz"); }},
        {"points", [&] { return kel_spacing(nullptr, &spacing); }},
        {"spacing", [&] { return kel_spacing(pPoints, nullptr); }},
        {"points", [&] { return kel_reconstruct(nullptr, nullptr, nullptr, &pMesh); }},
        {"mesh", [&] { return kel_reconstruct(pPoints, nullptr, nullptr, nullptr); }},
        {"spacing is -1", [&] { return reconstructWith([](auto& o) { o.spacing = -1.0; }); }},
        {"factor is 0", [&] { return reconstructWith([](auto& o) { o.factor = 0.0; }); }},
        {"min_piece_area", [&] { return reconstructWith([&](auto& o) { o.min_piece_area = nan; }); }},
        {"min_piece_area is -1", [&] { return reconstructWith([&](auto& o) { o.min_piece_area = -1.0; }); }},
        {"threads is -1", [&] { return reconstructWith([](auto& o) { o.threads = -1; }); }},
        {"origin", [&] { return reconstructWith([&](auto& o) { o.has_origin = 1, o.origin[1] = nan; }); }},
        {"corners", [&] { return kel_melt(nullptr, nullptr, nullptr, &pMesh); }},
        {"multiple of three", [&] { return kel_melt(pPoints, nullptr, nullptr, &pMesh); }},
        {"spacing is 0", [&] { return kel_cloud(pointsOf(Scan(1).dust(3)).get(), 0.0, 30.0, &pOut); }},
        {"feature_angle", [&] { return kel_cloud(pointsOf(Scan(1).dust(3)).get(), 1.0, nan, &pOut); }},
        {"vertices", [&] { return kel_corners_create(nullptr, aBad, 1, &pOut); }},
        {"vertex 100 of 100", [&] { return kel_corners_create(pPoints, aBad, 1, &pOut); }},
        {"vertex 100 of 100", [&] { return kel_mesh_create(pPoints, aBad, 1, 1, &pMesh); }},
        {"triangles", [&] { return kel_mesh_create(pPoints, nullptr, 1, 1, &pMesh); }},
        {"corner twice",
         [&, a = std::vector<int32_t>{1, 2, 1}] { return kel_mesh_restore(pPoints, a.data(), 1, 1.0, &pMesh); }},
        {"side", [&] { return kel_mesh_restore(pPoints, aBad, 0, nan, &pMesh); }},
        {"filename", [&] { return kel_mesh_read(nullptr, 1, &pMesh); }},
        {"mesh", [] { return kel_mesh_write(nullptr, "a.ply", nullptr); }},
        {"precision", [&] { return writeWith(5); }},
        {"mesh", [] { return kel_mesh_arrays(nullptr, nullptr, nullptr); }},
        {"normals", [&] { return kel_mesh_normals(pGood, nullptr); }},
        {"copy", [&] { return kel_mesh_copy(pGood, nullptr); }},
        {"flaws", [&] { return kel_mesh_count_flaws(pGood, nullptr); }},
        {"crossings", [&] { return kel_mesh_count_crossings(pGood, nullptr); }},
        {"mesh", [] { return kel_mesh_make_manifold(nullptr, 0, nullptr); }},
        {"mesh", [] { return kel_mesh_flip(nullptr, 1, nullptr); }},
        {"points", [&] { return kel_mesh_fit(pGood, nullptr, nullptr, nullptr); }},
        {"cell_edge", [&] { return fitWith(-2.0); }},
        {"Neither triangles nor max_distance", [&] { return reduceWith(0.0, 40.0); }},
        {"max_distance", [&] { return reduceWith(nan, 40.0); }},
        {"feature_angle is 190", [&] { return reduceWith(1.0, 190.0); }},
        {"max_angle", [&] { return kel_mesh_collapse(pGood, 1.0, nan, nullptr, nullptr); }},
        {"max_edge_length is -1", [&] { return kel_mesh_collapse(pGood, -1.0, 9.0, nullptr, nullptr); }},
        {"method", [&] { return smoothWith(2, 0.1, 20.0); }},
        {"pass_band", [&] { return smoothWith(0, 0.4, 20.0); }},
        {"edge_angle", [&] { return smoothWith(0, 0.1, 0.0); }},
    };
    const Arrays before = arraysOf(pGood);
    for (const auto& [word, call] : CASES)
        EXPECT_NE(failureOf(call(), KEL_BAD_ARGUMENT).find(word), std::string::npos) << word << ": " << kel_last_error();
    EXPECT_EQ(arraysOf(pGood), before);
    EXPECT_EQ(pOut, nullptr);
    EXPECT_EQ(pMesh, nullptr);
}

TEST(CInterface, saysWhyNothingCameOfIt) {
    kel_mesh* pMesh = nullptr;
    double spacing = 0.0;
    const Points none = pointsOf({});
    EXPECT_NE(failureOf(kel_reconstruct(none.get(), nullptr, nullptr, &pMesh), KEL_NOTHING), "");
    EXPECT_NE(failureOf(kel_spacing(none.get(), &spacing), KEL_NOTHING), "");
    kel_reconstruct_options options;
    kel_reconstruct_options_init(&options, sizeof options);
    options.spacing = 1e-9;  // more cells than a grid can have
    const std::string report =
        failureOf(kel_reconstruct(pointsOf(Scan(1).sphere(99)).get(), &options, nullptr, &pMesh), KEL_FAILED);
    EXPECT_NE(report.find("Condition ["), std::string::npos) << report;
    EXPECT_EQ(report.find('\x1b'), std::string::npos);
    std::string other = "not asked";
    std::thread([&] { other = kel_last_error(); }).join();
    EXPECT_EQ(other, "") << "errors of one thread show on another";
}

TEST(CInterface, printsNothingAndTellsTheHandler) {
    std::vector<Point3> vPoints = Scan(1).sphere(500);
    vPoints.emplace_back(std::nan(""), 0.0, 0.0);
    std::string warnings;
    const auto hear = [](kel_message_kind kind, const char* text, void* pData) {
        if (kind == KEL_MESSAGE_WARNING) *static_cast<std::string*>(pData) += text;
    };
    kel_set_message_handler(hear, &warnings);
    const std::string printed = TARN_TEST::outputOf([&] { meshOf(pointsOf(vPoints)); });
    kel_set_message_handler(nullptr, nullptr);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(warnings, "Points with coordinates that aren't finite, left out: 1");
}

// ---- Stopping
// -------------------------------------------------------------------------------------------------------------

/// Counts its calls and ends the run at one of them; tries to start another run meanwhile.
struct Hearer {
    int numCalls = 0, last = 0;
    kel_points* pPoints = nullptr;
    kel_status inner = KEL_OK;

    static int hear(const char*, double fraction, void* pData) {
        Hearer& self = *static_cast<Hearer*>(pData);
        EXPECT_GE(fraction, 0.0);
        if (self.pPoints != nullptr && self.numCalls == 0) {
            double spacing = 0.0;
            self.inner = kel_spacing(self.pPoints, &spacing);
        }
        return ++self.numCalls == self.last ? 1 : 0;
    }
};

TEST(CInterface, stopsARunAndGoesOn) {
    const Points points = pointsOf(scanWithFaults());
    const CMeshPtr whole = meshOf(points);
    kel_mesh* pMesh = nullptr;
    kel_reconstruct_options options;
    kel_reconstruct_options_init(&options, sizeof options);
    options.progress = Hearer::hear;
    for (const int last : {1, 3, 20}) {
        Hearer hearer{.last = last};
        options.progress_data = &hearer;
        EXPECT_NE(failureOf(kel_reconstruct(points.get(), &options, nullptr, &pMesh), KEL_STOPPED), "");
        EXPECT_EQ(hearer.numCalls, last);
        EXPECT_EQ(pMesh, nullptr);
    }
    Hearer ofThread{.last = 2};
    kel_set_progress(Hearer::hear, &ofThread);
    EXPECT_EQ(kel_mesh_flip(whole.get(), 1, nullptr), KEL_STOPPED);
    double spacing = 0.0;
    ofThread.numCalls = 0;
    EXPECT_EQ(kel_spacing(points.get(), &spacing), KEL_STOPPED);
    kel_set_progress(nullptr, nullptr);

    kel_stop* pStop = nullptr;
    ASSERT_EQ(kel_stop_create(&pStop), KEL_OK);
    kel_stop_set(pStop, 1);
    options.progress = nullptr;
    options.stop = pStop;
    EXPECT_EQ(kel_reconstruct(points.get(), &options, nullptr, &pMesh), KEL_STOPPED);
    kel_stop_set(pStop, 0);
    EXPECT_EQ(arraysOf(meshOf(points, &options).get()), arraysOf(meshOf(points).get()));
    kel_stop_free(pStop);
}

TEST(CInterface, refusesToBeEnteredByAProgressFunction) {
    const Points points = pointsOf(scanWithFaults());
    Hearer hearer{.pPoints = points.get()};
    kel_set_progress(Hearer::hear, &hearer);
    const CMeshPtr mesh = meshOf(points);
    kel_set_progress(nullptr, nullptr);
    EXPECT_EQ(hearer.inner, KEL_BAD_ARGUMENT);
    EXPECT_GT(hearer.numCalls, 20);
    EXPECT_EQ(arraysOf(mesh.get()), arraysOf(meshOf(points).get()));
}

TEST(CInterface, servesThreadsSideBySide) {
    const Points points = pointsOf(scanWithFaults());
    const Arrays wanted = arraysOf(meshOf(points).get());
    std::atomic<int> numSame{0};
    std::vector<std::thread> vThreads;
    for (int i = 0; i < 4; ++i)
        vThreads.emplace_back([&] {
            if (arraysOf(meshOf(points).get()) == wanted) ++numSame;
        });
    for (std::thread& thread : vThreads)
        thread.join();
    EXPECT_EQ(numSame, 4);
}

}  // namespace
