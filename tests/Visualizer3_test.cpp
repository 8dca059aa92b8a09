// Drawings: read back by a small reader of the format, which refuses what isn't well formed, and held against the meshes and
// cells that were drawn. What isn't authorised leaves no file.
#include "Visualizer3.h"
#include "CPatch.h"
#include "ChainMgr.h"
#include "Hal.h"
#include "RemoveDecider_RCD.h"
#include "mesh_writers.h"
#include "support/TempFolder.h"
#include "support/coarse.h"
#include "support/fine.h"
#include "support/packedCells.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

/// One object of a list. Faces of a surface, or lines, as their points.
struct Drawn {
    std::string kind, appearance, color;
    std::vector<std::vector<Point3>> vParts;
};

/// The objects of a file; a test failure where it isn't well formed.
std::vector<Drawn> readList(const std::string& text) {
    std::istringstream in(text);
    std::string line;
    const auto next = [&] {
        std::getline(in, line);
        return line;
    };
    const auto pointsOf = [&](std::size_t count) {
        std::vector<Point3> vPoints;
        double x = 0, y = 0, z = 0;
        while (count-- > 0 && std::istringstream(next()) >> x >> y >> z)
            vPoints.emplace_back(x, y, z);
        return vPoints;
    };
    EXPECT_EQ(next(), "LIST");
    EXPECT_EQ(next(), "{");
    std::vector<Drawn> vDrawn;
    while (next().empty() && in) {
        Drawn& drawn = vDrawn.emplace_back();
        EXPECT_EQ(next(), "{");
        drawn.appearance = next();
        const bool bGroup = next() == "{";
        drawn.kind = bGroup ? next() : line;
        std::size_t num0 = 0, num1 = 0, size = 0;
        std::istringstream(next()) >> num0 >> num1;
        if (drawn.kind == "OFF") {
            const std::vector<Point3> vVtx = pointsOf(num0);
            while (num1-- > 0) {
                std::istringstream face(next());
                std::vector<Point3>& vPart = drawn.vParts.emplace_back();
                std::size_t i = 0;
                for (face >> size; size > 0 && face >> i; --size)
                    vPart.push_back(vVtx.at(i));
                std::getline(face >> std::ws, drawn.color);
            }
        } else {
            std::istringstream sizes(next());
            for (next(); sizes >> size; num1 -= size)
                drawn.vParts.push_back(pointsOf(size));
            EXPECT_EQ(drawn.kind, "VECT");
            EXPECT_TRUE(drawn.vParts.size() == num0 && num1 == 0);
            drawn.color = next();
        }
        for (int depth = bGroup ? 2 : 1; depth > 0; --depth)
            EXPECT_EQ(next(), "}");
    }
    EXPECT_EQ(line, "}");
    EXPECT_EQ(next(), "");
    return vDrawn;
}

/// What a drawing operation writes, as text.
template <typename Draw>
std::string textOf(Draw&& draw) {
    const TempFolder folder;
    outputOf([&] { EXPECT_TRUE(writeDrawing(folder.path("a.list"), nullptr, true, draw)); });
    return folder.read("a.list");
}
template <typename Draw>
std::vector<Drawn> drawnBy(Draw&& draw) {
    return readList(textOf(draw));
}

/// Works in a folder of its own, with drawings for debugging let through or not.
class Workplace : public WorkingFolder {
public:
    explicit Workplace(bool bDebug) { Visualizer3::bDebugAuthorized = bDebug; }
    ~Workplace() { Visualizer3::bDebugAuthorized = false; }
    template <typename Draw>
    std::vector<Drawn> shown(const std::string& name, Draw&& draw) const {
        EXPECT_EQ(countIn(outputOf(draw), "Writing " + name + "\n"), 1);
        return readList(read(name));
    }
};

/// Of that kind, of one colour or of any.
std::size_t numParts(const std::vector<Drawn>& vDrawn, const std::string& kind, const std::string& color = "") {
    std::size_t num = 0;
    for (const Drawn& drawn : vDrawn)
        if (drawn.kind == kind && (color.empty() || drawn.color == color) && countIn(drawn.appearance, "linewidth 9") == 0)
            num += drawn.vParts.size();
    return num;
}

constexpr const char* LIT = "material { backdiffuse 0 0 0 } lighting {ambient 0 0 1 }";

}  // namespace

TEST(Visualizer3, coloursRunInACycle) {
    const auto& at = Visualizer3::getColor;
    EXPECT_TRUE(at(27) == at(1) && at(26) != at(0) && at(2147483647) == at(2147483647 % 26) && at(-7) == at(0));
    Visualizer3::nextColor = 0;
    std::set<std::string> sColor;
    for (int i = 0; i < 46; ++i)
        EXPECT_EQ(sColor.insert(Visualizer3::getNextColor()).second, i < 23);
    for (const char* poor : {CBLACK, CPURPLE, CLIGHTGRAY, CWHITE})
        EXPECT_FALSE(sColor.contains(poor));
}

TEST(Visualizer3, textByteForByte) {
    const Point3 a(0, 0.1, 1.0 / 3.0), b(3, 0, 0), c(0, 3e20, -1);
    const std::string vertices = "0 0.1 0.333333333333333\n3 0 0\n0 3e+20 -1\n";
    const std::vector<Point3> vPoints{a, b, c};
    const std::vector<Segment3> vSegments{{a, b}};
    const std::string text = textOf([&](Visualizer3& v) {
        v.writeTriangle(a, b, c, CRED);
        v.writePoints(vPoints, 12, CRED);
        v.writeSegments(vSegments, CRED, false);
        v.writeSegments(std::vector<Segment3>(), CRED, true);
        v.setBackfaces(false);
        v.startList(1, 0, false);
        v.endList();
        EXPECT_EQ(outputOf([&] { v.writePoints(std::vector<Point3*>(), 3, CRED); }),
                  "Visualizer3::writePoints: no points\n");
    });
    EXPECT_EQ(text, "LIST\n{\n\n{\nappearance { +edge " + std::string(LIT) + " }\nOFF\n3 1 0\n" + vertices +
                        "3 0 1 2 1 0 0 0.5\n}\n\n{\nappearance{linewidth 12}\nVECT\n3 3 1\n1 1 1\n1 0 0\n" + vertices +
                        "1 0 0 0.5\n}\n\n{\nappearance{linewidth 2}\n{\nVECT\n1 2 1\n2\n1\n0 0.1 0.333333333333333\n3 0 0\n"
                        "1 0 0 0.5\n}\n}\n\n{\nappearance { -edge  material  }\nOFF\n1 0 0\n}\n}\n");
}

TEST(Visualizer3, replacesAnOlderFileByAWholeListOnly) {
    const TempFolder folder;
    FineMesh fine(sheet(40, 40));
    const MeshPtr pMesh = meshOf(std::move(fine));
    std::vector<Point3> vPoints(1);
    std::string full = folder.path("full.list"), nowhere = folder.path("no/a.list");
    std::filesystem::create_symlink("/dev/full", full);
    for (const std::string& bad : {full, nowhere}) {
        const std::string text = outputOf([&, file = bad]() mutable {
            EXPECT_FALSE(pMesh->writeGeomview_ASCII(file));
            EXPECT_FALSE(findHoles(pMesh, file));
            EXPECT_FALSE(writePoints_auto(file, vPoints, true)) << "what fails when the file is closed";
        });
        EXPECT_EQ(countIn(text, bad == full ? "Failed to write " + full : nowhere + " not writeable"), 3) << text;
    }
    std::filesystem::remove(full);
    const CoutSilence silence;
    const std::string name = folder.write("a.list", "older");
    const auto failing = [](Visualizer3& v) {
        v.writePoint(Point3(), 3, CRED);
        throw std::runtime_error("on the way");
    };
    EXPECT_THROW(writeDrawing(name, nullptr, true, failing), std::runtime_error);
    EXPECT_FALSE(writeDrawing(name, nullptr, true, [](Visualizer3& v) { v.setstate(std::ios::failbit); }));
    {
        Visualizer3 visualizer(name, nullptr, true);
        visualizer.writePoint(Point3(), 3, CRED);
        EXPECT_EQ(folder.read("a.list"), "older");
    }
    EXPECT_EQ(readList(folder.read("a.list")).size(), 1U) << "the destructor closes the list";
    EXPECT_EQ(folder.numFiles(), 1U) << "no neighbour is left";
}

TEST(Geomview, FindHolesDrawsTheBorder) {
    const Workplace here(false);
    FineMesh fine(tetrahedron());
    fine.kill(2);
    const MeshPtr pMesh = meshOf(std::move(fine));
    const auto vDrawn = here.shown("holes.list", [&] { findHoles(pMesh); });
    EXPECT_EQ(numParts(vDrawn, "OFF", CWHITE), 3U);
    EXPECT_EQ(numParts(vDrawn, "VECT", CRED), 6U) << "as an edge of degree 1, and as a border";
    here.shown("b.list", [&] { EXPECT_TRUE(findHoles(pMesh, "b.list")); });
    EXPECT_EQ(here.read("b.list"), here.read("holes.list"));
    std::vector<Point3> vPoints{{1, 2, 3}, {4, 5, 6}};
    std::string name = "p.list";
    const auto vDots = here.shown(name, [&] { EXPECT_TRUE(writePoints_auto(name, vPoints, true)); });
    ASSERT_EQ(vDots.size(), 1U);
    EXPECT_EQ(vDots[0].appearance + vDots[0].color, std::string("appearance{linewidth 10}") + CRED);
    EXPECT_EQ(vDots[0].vParts, (std::vector<std::vector<Point3>>{{{1, 2, 3}}, {{4, 5, 6}}}));
}

TEST(DebugDrawings, areRefusedUnlessAuthorizedAndShowWhatThereIs) {
    Sheet sheet(3, 3), plain(3, 3);
    sheet.withFin(1, 1);
    CPatch patch(&sheet.mesh, &sheet.calc);
    for (const std::size_t i : {0U, 1U})
        patch.add(sheet.mesh.vAllCT[i]);
    patch.setOuterBoundary();
    ChainMgr chains(&plain.mesh, byEnds(edges(plain.mesh, 1)), false);
    Calc grid = unitGrid();
    VRCD vCells = packedWhere(5, [](int, int, int z) { return z == 2; });
    RemoveDecider_RCD decider(vCells, &grid);
    decider.setNewRCD(packedAt(512, 512, 512));
    using Seen = std::array<std::size_t, 3>;  // faces, lines, and faces in red
    const std::tuple<std::string, Seen, std::function<void()>> table[] = {
        {"patch.list", {2, 4, 0}, [&] { patch.show("patch.list", VT_COARSE, CGREEN); }},
        {"mesh.list", {19, 15, 0}, [&] { sheet.mesh.debugShow("mesh.list", VT_REAL, CGREEN); }},
        {"list.list", {19, 0, 0}, [&] { writeList(&sheet.mesh, "list.list", Visualizer3::bDebugAuthorized); }},
        {"fine.list", {4, 0, 0}, [] { writeList(&*FineMesh(tetrahedron()), "fine.list", Visualizer3::bDebugAuthorized); }},
        {"chain.list", {0, 12, 0}, [&] { chains.getChain(0)->show("chain.list", VT_REAL, CGREEN); }},
        {"chains.list", {18, 12, 0}, [&] { chains.show("chains.list"); }},
        {"block.list", {54, 0, 6}, [&] { decider.show("block.list"); }},
        {"big.list", {150, 0, 6}, [&] { decider.showBig("big.list"); }},
        {"area.list", {150, 0, 96}, [&] { decider.showAliveAreaAndBorder("area.list"); }}};
    for (const auto& [name, seen, show] : table) {
        for (const bool bAuthorized : {false, true}) {
            const Workplace here(bAuthorized);
            if (!bAuthorized) {
                const std::string report = reportOf(show);
                EXPECT_EQ(countIn(report, "Unauthorized write of " + name + "\n"), 1) << report;
                EXPECT_EQ(countIn(report, conditionFailed("bAuthorized")), 1) << report;
                EXPECT_EQ(here.numFiles(), 0U);
                continue;
            }
            const auto vDrawn = here.shown(name, show);
            EXPECT_EQ((Seen{numParts(vDrawn, "OFF"), numParts(vDrawn, "VECT"), numParts(vDrawn, "OFF", CRED)}), seen)
                << name;
        }
    }
    const Workplace here(false);
    for (const auto show : {&Hal::showCCD, &Hal::showMeshCases, &Hal::showMesh})
        reportOf([&] { (Hal(nullptr).*show)("x.list"); });
    EXPECT_EQ(here.numFiles(), 0U);
}

TEST(DebugDrawings, cellsAreBoxesOfTheGridAndNormalsStandOnTriangles) {
    const Calc grid(-5.0, 10.0, 0.0, 16.0, 32.0, 64.0, 4);  // cells of 1 x 2 x 4
    const CCD ccd = cellAt(3, 4, 5);
    FineMesh mesh(tetrahedron());
    const auto vDrawn = drawnBy([&](Visualizer3& v) {
        grid.writeCb(&v, ccd, CRED);
        grid.writeRefPoint(&v, ccd, 3, CRED);
        expectFails("pCalc!=__null", [&] { v.writeCb(ccd, CRED); });  // the grid was lent
        v.writeTriangles(mesh.vT, CGREEN, true);
    });
    ASSERT_EQ(vDrawn.size(), 4U);
    double volume = 0.0;  // of the cones over the faces, which run outward
    for (const auto& vFace : vDrawn[0].vParts)
        volume += crossProduct(vFace.at(2) - vFace[0], vFace.at(3) - vFace[1]) * (vFace[0] - grid.getMidPoint(ccd)) / 6.0;
    EXPECT_NEAR(volume, 8.0, 1e-12);
    EXPECT_EQ(vDrawn[1].vParts[0][0], grid.getRefPoint(ccd));
    ASSERT_EQ(vDrawn[3].vParts.size(), 4U);
    for (std::size_t i = 0; i < 4; ++i) {
        const std::vector<Point3>& t = vDrawn[2].vParts[i];
        const Vector3 normal = vDrawn[3].vParts[i].at(1) - vDrawn[3].vParts[i][0];
        EXPECT_NEAR(normal.length(), 1.0, 1e-12);
        EXPECT_NEAR(normal * crossProduct(t.at(1) - t.at(0), t.at(2) - t[0]), std::sqrt(3.0), 1e-12) << "outward";
    }
}
