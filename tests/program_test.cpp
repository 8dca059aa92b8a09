// The command line program as a user meets it: exit status, files, and what it prints where.
#include <sys/wait.h>

#include "support/TempFolder.h"
#include "support/binary_stl.h"
#include "support/prelude.h"

using namespace TARN_KEL;
using namespace TARN_TEST;

namespace {

struct Outcome {
    int status = -1;
    std::string out, err;
};

class ProgramTest : public testing::Test {
protected:
    /// Runs the program in the test's folder; the arguments are words of a shell.
    Outcome run(const std::string& arguments) const {
        const std::string command = "cd '" + folder.path("") + "' && '" KEL_PROGRAM "' " + arguments + " >'" +
                                    logs.path("out") + "' 2>'" + logs.path("err") + "'";
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, logs.read("out"), logs.read("err")};
    }
    std::vector<Point3> points(const std::string& name) const {
        const CoutSilence silence;
        std::string filename = folder.path(name);
        std::vector<Point3> vPoints;
        EXPECT_TRUE(readPoints_auto(filename, vPoints)) << name;
        return vPoints;
    }
    std::vector<Point3> scan(const std::string& arguments) const {
        EXPECT_EQ(run("scan --quiet " + arguments + " scan.bin").status, 0) << arguments;
        return points("scan.bin");
    }

    TempFolder folder;  // where the program works
    TempFolder logs;
};

/// Distance to the surface of that name, patches and rims aside.
double distanceTo(const std::string& shape, const Point3& p) {
    const auto box = [&](double x, double y, double z) {
        return std::min({std::abs(p.x()), std::abs(p.x() - x), std::abs(p.y()), std::abs(p.y() - y), std::abs(p.z()),
                         std::abs(p.z() - z)});
    };
    if (shape == "torus") return std::abs(std::hypot(std::hypot(p.x(), p.y()) - 1.0, p.z()) - 0.4);
    if (shape == "plane") return std::abs(p.z());
    if (shape == "cube") return box(1.0, 1.0, 1.0);
    if (shape == "block") return box(2.0, 1.0, 0.5);
    return std::abs(std::hypot(p.x(), p.y(), p.z()) - 1.0);
}

/// Four triangles round a vertex, which make a roof over a square; with bFloor closed by the two halves of the square.
/// middle: x and y of the vertex.
std::string roof(bool bFloor, int middle = 0) {
    const std::string low = std::to_string(middle - 1) + " ", high = std::to_string(middle + 1) + " ";
    const std::vector<std::string> vRim = {high + high + "0", low + high + "0", low + low + "0", high + low + "0"};
    const auto triangle = [](const std::string& a, const std::string& b, const std::string& c) {
        return "outer loop\nvertex " + a + "\nvertex " + b + "\nvertex " + c + "\nendloop\n";
    };
    std::string text;
    for (std::size_t i = 0; i < 4; ++i)
        text += triangle(std::to_string(middle) + " " + std::to_string(middle) + " 1", vRim[i], vRim[(i + 1) % 4]);
    return bFloor ? text + triangle(vRim[2], vRim[1], vRim[0]) + triangle(vRim[0], vRim[3], vRim[2]) : text;
}

}  // namespace

TEST_F(ProgramTest, makesAMeshOfAScan) {
    ASSERT_EQ(run("scan cube scan.bin --points 20000 --seed 3").status, 0);
    for (const std::string mesh : {"mesh.ply", "mesh.stl", "mesh.obj"}) {
        for (const std::string options : {"", "--factor 1.5", "--spacing 0.03", "--laplacian", "--threads 3", "--quiet"}) {
            const Outcome outcome = run("reconstruct scan.bin " + mesh + " --json report.json " + options);
            EXPECT_EQ(outcome.status, 0) << mesh << options << outcome.err;
            EXPECT_EQ(countIn(outcome.out, "\n"), options == "--quiet" ? 0 : 1) << outcome.out;
            EXPECT_TRUE(options != "--quiet" || outcome.err.empty()) << outcome.err;
            EXPECT_GT(folder.read(mesh).size(), 10000u) << mesh << options;
            const std::string report = folder.read("report.json");
            for (const char* part : {"\"points\": 20000", "\"read\": ", "\"reconstruct\": ", "\"write\": ",
                                     "\"peakMegabytes\": ", "\"components\": 1,"})
                EXPECT_EQ(countIn(report, part), 1) << part << report;
        }
    }
    std::vector<Point3> vCorners;
    ASSERT_TRUE(readSTL_ASCII(folder.path("mesh.stl").c_str(), vCorners));
    for (const Point3& p : vCorners)
        ASSERT_LT(distanceTo("cube", p), 0.02) << p;
    EXPECT_EQ(folder.numFiles(), 5u);
}

TEST_F(ProgramTest, refusesInOneLineAndWritesNothing) {
    const std::string corner = "vertex 0 0 0\n", begin = "outer loop\n" + corner, end = "vertex 0 1 0\nendloop\n";
    for (const auto& [name, bytes] :
         std::map<std::string, std::string>{{"good.xyz", "0 0 0\n1 0 0\n0 1 0\n"},
                                            {"copy.xyz", "0 0 0\n1 0 0\n0 1 0\n"},
                                            {"empty.xyz", ""},
                                            {"empty.stl", ""},
                                            {"text.stl", "no triangle\n"},
                                            {"good.stl", begin + "vertex 1 0 0\n" + end},
                                            {"flat.stl", begin + corner + end},
                                            {"ball.stl", roof(true)},
                                            {"points.ply",
                                             "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\n"
                                             "property float z\nend_header\n1 2 3\n"},
                                            {"text.xyz", "no number\n"},
                                            {"bad.ply", "no header\n"},
                                            {"bad.bin", std::string("\x1e\0\0\0\xff\xff\xff\xff\xff\xff\xff\x7f", 12)}})
        folder.write(name, bytes);
    std::filesystem::create_symlink("none/o.ply", folder.path("dangling.ply"));
    ASSERT_EQ(run("scan sphere scan.bin --points 2000 --quiet").status, 0);
    const std::size_t numFiles = folder.numFiles();
    // What all of a line begin with, and how they go on.
    const std::vector<std::pair<std::string, std::vector<std::string>>> vWrong = {
        {"",
         {"", "nonsense", "smooth ball.stl o.obj -n 40 --quiet", "scan pear o.bin --points 10",
          "scan sphere o.stl --points 10", "scan sphere none/o.bin --points 10"}},
        {"reconstruct",
         {"", "copy.xyz o.ply --json copy.xyz", "none.xyz o.ply", ". o.ply", "empty.xyz o.ply", "text.xyz o.ply",
          "bad.ply o.ply", "bad.bin o.ply", "good.xyz o.ply --quiet"}},
        {"reconstruct scan.bin", {"", "o.foo", "o.pLy", "none/o.ply", ".", "scan.bin"}},
        {"reconstruct scan.bin o.ply --factor", {"nan", "0", "-1", "1e999", "1x", "''"}},
        {"reconstruct scan.bin o.ply --spacing", {"inf", "0.1 --factor 1", "1e9 --quiet", "1e-9 --quiet"}},
        {"reconstruct scan.bin o.ply --json", {"o.ply", "$PWD/o.ply", "none/r.json"}},
        {"reconstruct scan.bin o.ply",
         {"extra", "--nonsense", "--threads -1", "--threads x", "--grow 1.5", "--reduce 1", "--reduce 1 nan", "--smooth 0",
          "--smooth 1 --smooth 2"}},
        {"spacing", {"none.xyz", "empty.xyz", "scan.bin --json scan.bin"}},
        {"melt",
         {"good.stl o.ply", "good.stl o.ply --spacing 0", "good.stl o.ply --spacing 1 --feature-angle -1",
          "good.stl o.xyz --spacing 1", "good.stl good.stl --spacing 1", "good.xyz o.ply --spacing 1",
          "flat.stl o.ply --spacing 1 --quiet"}},
        {"cloud",
         {"good.stl o.xyz", "good.stl o.stl --spacing 1", "none.stl o.xyz --spacing 1", "good.stl o.xyz --spacing nan",
          "flat.stl o.xyz --spacing 1 --quiet"}},
        {"reduce good.stl o.ply",
         {"", "--max-edge 1", "--max-angle 1", "--max-edge -1 --max-angle 1", "--max-edge 1 --max-angle inf"}},
        {"reduce",
         {"good.stl good.stl --max-edge 1 --max-angle 1", "scan.bin o.ply --max-edge 1 --max-angle 1",
          "points.ply o.ply --max-edge 1 --max-angle 1"}},
        {"fill good.stl", {"o.ply", "o.ply --max-edges 2", "o.ply --max-edges 4.5", "o.xyz --max-edges 4"}},
        {"flip good.stl", {"", "o.xyz", "o.ply --json good.stl"}},
        {"flip", {"empty.stl o.ply", "text.stl o.ply", "flat.stl o.ply --quiet", "none.ply o.ply"}},
        {"smooth good.stl o.ply", {"", "-n 0", "-n 1.5", "-n 1000001"}},
        {"convert good.stl", {"o.foo", "o.xyz", "none/o.ply", "o.stl --ascii"}},
        {"convert",
         {"scan.bin o.stl", "scan.bin ./scan.bin", "points.ply o.stl", "points.ply points.ply", "bad.ply o.ply",
          "bad.bin o.ply", "text.xyz o.ply"}},
        {"holes", {"good.stl o.ply", "good.stl none/o.list", "points.ply o.list"}},
        {"info", {"", "none.ply", "scan.bin", "bad.ply", "empty.stl", "text.stl"}},
        {"info good.stl",
         {"--within 1", "--reference none.xyz", "--reference text.xyz", "--reference good.xyz --within 0", "--json good.stl",
          "--reference good.xyz --json good.xyz"}},
        {"scan sphere o.bin", {"", "--points 0", "--points -5", "--points 5 --noise -1", "--points 5 --seed -1"}}};
    for (const auto& [command, vRest] : vWrong)
        for (const std::string& rest : vRest) {
            const std::string arguments = command + " " + rest;
            const Outcome outcome = run(arguments);
            EXPECT_GT(outcome.status, 0) << arguments;
            EXPECT_EQ(outcome.out, "") << arguments;
            EXPECT_EQ(outcome.err.rfind("kel: ", 0), 0u) << arguments << ": " << outcome.err;
            EXPECT_EQ(countIn(outcome.err, "\n"), 1) << arguments << ": " << outcome.err;
            EXPECT_EQ(folder.numFiles(), numFiles) << arguments;
        }
    EXPECT_EQ(countIn(run("reconstruct text.xyz dangling.ply").err, "dangling.ply can't be written"), 1)
        << "before it reads";
    EXPECT_EQ(run("spacing text.xyz").err, "kel: There is no point in text.xyz\n");
    EXPECT_EQ(run("melt text.stl o.ply --spacing 1").err, "kel: There is no triangle in text.stl\n");
}

TEST_F(ProgramTest, changesAMeshAsTheLibraryDoes) {
    scan("torus --points 20000 --noise 0.3");
    ASSERT_EQ(run("reconstruct scan.bin mesh.ply --quiet").status, 0);
    struct Case {
        std::string arguments;
        std::function<void(const MeshPtr&)> change;
    };
    const Case reduceCase{"reduce mesh.ply o.ply --max-edge 0.3 --max-angle 20",
                          [](const auto& p) { reduce(p, 0.3, 20.0); }};
    const Case flipCase{"flip mesh.ply o.ply", [](const auto& p) { edgeFlips(p); }};
    const Case annealCase{"flip mesh.ply o.ply --anneal", [](const auto& p) { edgeFlipsSimA(p); }};
    const Case smoothCase{"smooth mesh.ply o.ply -n 3", [](const auto& p) { laplacianSmoothing(p, 3); }};
    const auto chain = [](const std::vector<Case>& vCases) {
        return [vCases](const MeshPtr& pMesh) {
            for (const Case& c : vCases)
                c.change(pMesh);
        };
    };
    const std::string chained = "reconstruct scan.bin o.ply ";
    std::vector<std::string> vBytes = {folder.read("mesh.ply")};
    for (const Case& c :
         {reduceCase, flipCase, annealCase, smoothCase,
          Case{chained + "--reduce 0.3 20 --flip --smooth 3", chain({reduceCase, flipCase, smoothCase})},
          Case{chained + "--smooth 3 --reduce 0.3 20 --flip --flip", chain({smoothCase, reduceCase, flipCase})}}) {
        const Outcome outcome = run(c.arguments + " --json report.json");
        ASSERT_EQ(outcome.status, 0) << c.arguments << outcome.err;
        EXPECT_EQ(countIn(outcome.out, "\n"), 1) << outcome.out;
        EXPECT_EQ(countIn(outcome.out, " 0 border edges, 0 non-manifold edges, 1 component"), 1)
            << c.arguments << outcome.out;
        const CoutSilence silence;
        MeshPtr pMesh;
        if (c.arguments.rfind(chained, 0) == 0) {
            std::vector<Point3> vPoints = points("scan.bin");
            pMesh = reconstruct_auto(vPoints, false, 1.1, -1);
        } else {
            pMesh = readMesh_auto(folder.path("mesh.ply"));
        }
        c.change(pMesh);
        ASSERT_TRUE(writeMesh_auto(logs.path("o.ply"), pMesh, false));
        vBytes.push_back(folder.read("o.ply"));
        EXPECT_TRUE(vBytes.back() == logs.read("o.ply")) << c.arguments;
        std::vector<Point3*> vCorners;
        pMesh->getTriangles(vCorners);
        EXPECT_EQ(countIn(folder.read("report.json"), "\"triangles\": " + std::to_string(vCorners.size() / 3) + ","), 1);
        EXPECT_EQ(vBytes.back().size() < vBytes.front().size(), c.arguments.find("reduce") != std::string::npos);
    }
    std::sort(vBytes.begin(), vBytes.end());
    EXPECT_EQ(std::adjacent_find(vBytes.begin(), vBytes.end()), vBytes.end());
}

TEST_F(ProgramTest, fillsHoles) {
    std::string text = roof(true);
    folder.write("open.stl", text.substr(text.find("endloop") + 8));  // one triangle is gone
    const Outcome outcome = run("fill open.stl o.ply --max-edges 3 --json report.json");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(countIn(outcome.out, "1 hole(s) closed\no.ply: 5 vertices, 6 triangles, 0 border edges"), 1) << outcome.out;
    EXPECT_EQ(countIn(folder.read("report.json"), "\"holesClosed\": 1"), 1);
}

TEST_F(ProgramTest, writesManifoldMeshesUnlessTheyShallBeRaw) {
    const auto verdict = [&](const std::string& arguments) {
        const std::string out = run("info --json info.json " + arguments).out;
        return out.substr(out.find("the mesh is"));
    };
    const std::string good = "the mesh is               manifold, closed, oriented\n";
    const std::string bad = "the mesh is               not manifold, closed, oriented\n";
    folder.write("two.stl", roof(true) + roof(true, 2));  // they have a corner in common
    EXPECT_EQ(verdict("two.stl"), bad);
    EXPECT_EQ(countIn(folder.read("info.json"), "\"manifold\": false,\n    \"closed\": true,"), 1);
    const Outcome outcome = run("manifold two.stl two.ply --json report.json");
    EXPECT_EQ(outcome.out,
              "made manifold: triangles removed 0, vertices added 1, sides cut 0\n"
              "two.ply: 10 vertices, 12 triangles, 0 border edges, 0 non-manifold edges, 2 component(s)\n");
    EXPECT_EQ(countIn(folder.read("report.json"), "\"newVertices\": 1"), 1);
    EXPECT_EQ(verdict("two.ply"), good);
    EXPECT_EQ(verdict("two.ply --join"), bad);
    ASSERT_EQ(run("convert two.ply again.ply").status, 0);
    EXPECT_TRUE(folder.read("again.ply") == folder.read("two.ply"));
    for (const std::string change : {"fill two.ply o.ply --max-edges 3", "flip two.ply o.ply", "smooth two.ply o.ply -n 1",
                                     "reduce two.ply o.ply --max-edge 0.1 --max-angle 1"}) {
        EXPECT_EQ(run(change).status, 0);
        EXPECT_EQ(verdict("o.ply"), good) << change;
        EXPECT_EQ(run(change + " --raw").status, 0);
        EXPECT_EQ(verdict("o.ply"), bad) << change;
    }
}

TEST_F(ProgramTest, finishesTheMeshesThatItMakes) {
    std::vector<Point3> vPoints = scan("torus --points 5000 --noise 0.5 --seed 4");
    for (const std::string options : {"", "--raw", "--close 12", "--raw --close 12", "--close 12 --smooth 2"}) {
        ASSERT_EQ(run("reconstruct scan.bin mesh.ply --json report.json " + options).status, 0);
        const CoutSilence silence;
        const MeshPtr pMesh = reconstruct_auto(vPoints, false, 1.1, -1);
        const bool bManifold = options.find("raw") == std::string::npos;
        if (bManifold) makeManifold(pMesh);
        const int numClosed = options.find("close") == std::string::npos ? 0 : fillHoles(pMesh, 12, bManifold);
        if (options.find("smooth") != std::string::npos) laplacianSmoothing(pMesh, 2, bManifold);
        ASSERT_TRUE(writeMesh_auto(logs.path("mesh.ply"), pMesh, false));
        EXPECT_TRUE(folder.read("mesh.ply") == logs.read("mesh.ply")) << options;
        EXPECT_EQ(countIn(folder.read("report.json"), "\"holesClosed\": " + std::to_string(numClosed) + "\n"),
                  options.find("close") == std::string::npos ? 0 : 1);
        EXPECT_TRUE(numClosed > 0 || options.find("close") == std::string::npos) << "the scan has holes to close";
    }
}

TEST_F(ProgramTest, convertsThereAndBack) {
    const auto convert = [&](const std::string& arguments) {
        const Outcome outcome = run("convert " + arguments + " --quiet");
        EXPECT_EQ(outcome.status, 0) << arguments << outcome.err;
        EXPECT_EQ(outcome.out + outcome.err, "") << arguments;
    };
    scan("plane --points 3000 --noise 0.1");
    ASSERT_EQ(run("reconstruct scan.bin mesh.ply --quiet").status, 0);
    for (const std::string arguments : {"mesh.ply m.ply", "mesh.ply text.ply --ascii", "mesh.ply m.stl", "text.ply t.ply",
                                        "m.stl s.ply", "mesh.ply m.obj", "mesh.ply m.list"})
        convert(arguments);
    EXPECT_EQ(folder.read("t.ply").size(), folder.read("m.ply").size());  // the text has six digits
    EXPECT_TRUE(folder.read("s.ply") == folder.read("m.ply"));            // ten digits hold a float
    EXPECT_EQ(folder.read("text.ply").rfind("ply\nformat ascii", 0), 0u);
    std::vector<Point3> vCorners;
    ASSERT_TRUE(readSTL_ASCII(folder.path("m.stl").c_str(), vCorners));
    folder.write("b.stl", binaryStl(vCorners));
    convert("b.stl b.ply");
    EXPECT_TRUE(folder.read("b.ply") == folder.read("m.ply"));
    for (const std::string arguments : {"scan.bin p.xyz", "p.xyz p.bin", "scan.bin p.ply", "p.ply text.ply --ascii",
                                        "text.ply t.ply", "p.ply p.list", "mesh.ply v.xyz", "v.xyz v.ply"})
        convert(arguments);
    EXPECT_TRUE(folder.read("p.bin") == folder.read("scan.bin"));
    EXPECT_EQ(folder.read("t.ply").size(), folder.read("p.ply").size());
    EXPECT_EQ(points("v.ply"), points("mesh.ply"));
    EXPECT_EQ(countIn(folder.read("p.list"), "OFF"), 0);
    EXPECT_EQ(countIn(folder.read("m.list"), "OFF"), 1);
    EXPECT_EQ(countIn(run("convert mesh.ply v.xyz").err, "kel: warning: Of the mesh"), 1);
}

TEST_F(ProgramTest, rasterisesASoupAsTheLibraryDoes) {
    folder.write("soup.stl", roof(true));
    std::vector<Point3> vCorners, vCloud;
    for (const double angle : {10.0, 100.0}) {
        const std::string options =
            std::string(angle == 10.0 ? "" : "--feature-angle 100") + " --spacing 0.05 --json report.json";
        const Outcome outcome = run("melt soup.stl mesh.ply " + options);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(countIn(folder.read("report.json"), "\"melt\": {\n    \"spacing\": 0.05,"), 1);
        const Outcome cloud = run("cloud soup.stl cloud.bin " + options);
        ASSERT_EQ(cloud.status, 0) << cloud.err;
        const CoutSilence silence;
        vCorners.clear();
        vCloud.clear();
        ASSERT_TRUE(readSTL_ASCII(folder.path("soup.stl").c_str(), vCorners));
        const MeshPtr pMesh = melt(vCorners, 0.05, angle);
        makeManifold(pMesh);
        ASSERT_TRUE(writeMesh_auto(logs.path("mesh.ply"), pMesh, false));
        EXPECT_TRUE(folder.read("mesh.ply") == logs.read("mesh.ply"));
        toCloud(vCorners, 0.05, angle, vCloud);
        EXPECT_EQ(points("cloud.bin"), vCloud);
        EXPECT_EQ(cloud.out, "cloud.bin: " + std::to_string(vCloud.size()) + " points\n");
    }
}

TEST_F(ProgramTest, drawsHolesIntoTheFileThatItNames) {
    folder.write("roof.stl", roof(false));
    folder.write("holes.list", "mine");
    const auto holes = [&](const std::string& out) { return run("holes roof.stl " + out); };
    std::filesystem::create_symlink("/dev/full", folder.path("full.list"));
    EXPECT_EQ(holes("full.list").status, 1);
    const Outcome outcome = holes("drawing.list");
    EXPECT_EQ(outcome.out, "drawing.list: 1 border loop(s), 4 border edges, 0 non-manifold edges\n");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(folder.read("holes.list"), "mine");
    EXPECT_EQ(folder.numFiles(), 4u);
    EXPECT_EQ(holes("'" + folder.path("holes.list") + "'").status, 0);  // asked for by name
    EXPECT_TRUE(folder.read("holes.list") == folder.read("drawing.list"));
    EXPECT_EQ(countIn(folder.read("drawing.list"), "{"), countIn(folder.read("drawing.list"), "}"));
}

TEST_F(ProgramTest, leavesAnOlderMeshAloneWhenItFails) {
    folder.write("good.xyz", "0 0 0\n1 0 0\n0 1 0\n");
    folder.write("mesh.obj", "older");
    EXPECT_EQ(run("reconstruct good.xyz mesh.obj").status, 1);
    EXPECT_EQ(folder.read("mesh.obj"), "older");
}

TEST_F(ProgramTest, writesThroughLinksAndKeepsPermissions) {
    namespace fs = std::filesystem;
    const auto mode = fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read;
    scan("sphere --points 2000");
    fs::create_symlink("/dev/full", folder.path("full.obj"));
    for (const std::string name : {"mesh.obj", "report.json"}) {
        folder.write("real " + name, "older");
        fs::permissions(folder.path("real " + name), mode);
        fs::create_symlink("real " + name, folder.path(name));
    }
    const std::size_t numFiles = folder.numFiles();
    EXPECT_EQ(run("reconstruct scan.bin full.obj --quiet").status, 1);
    EXPECT_EQ(run("reconstruct scan.bin mesh.obj --quiet --json report.json").status, 0);
    EXPECT_EQ(run("reconstruct scan.bin mesh.obj --quiet --json 'real report.json'").status, 0);
    for (const std::string name : {"mesh.obj", "report.json"}) {
        EXPECT_TRUE(fs::is_symlink(folder.path(name)));
        EXPECT_GT(folder.read(name).size(), 100u);
        EXPECT_EQ(fs::status(folder.path("real " + name)).permissions(), mode);
    }
    EXPECT_EQ(folder.numFiles(), numFiles);
}

TEST_F(ProgramTest, reportsTheMeshThatTheFileHolds) {
    const auto meshOf = [&](const std::string& name) {
        const std::string report = folder.read(name);
        return report.substr(std::min(report.size(), report.find("\"mesh\": ")));
    };
    std::vector<Point3> vPoints = scan("plane --points 20000");
    for (const bool bFar : {false, true}) {
        for (Point3& p : vPoints)
            p = p + (bFar ? Vector3(3e5, 4e5, 0.0) : Vector3());  // as far as a float resolves a fiftieth
        writePoints_BIN(folder.path("scan.bin").c_str(), vPoints);
        const Outcome outcome = run("reconstruct scan.bin mesh.ply --json report.json");
        EXPECT_EQ(countIn(outcome.err, "kel: warning: Single precision"), bFar ? 1 : 0) << outcome.err;
        ASSERT_EQ(run("info mesh.ply --json info.json").status, 0);
        EXPECT_EQ(meshOf("report.json"), meshOf("info.json"));
        EXPECT_GT(meshOf("info.json").size(), 100u);
    }
    for (Point3& p : vPoints)
        p = p - Vector3(3e5, 4e5, 0.0) + Vector3(1e4, 1e4, 0.0);  // six digits resolve a tenth there
    writePoints_BIN(folder.path("scan.bin").c_str(), vPoints);
    ASSERT_EQ(run("reconstruct scan.bin mesh.stl").status, 0);
    const Outcome outcome = run("convert mesh.stl mesh.ply --ascii --json report.json");
    EXPECT_EQ(countIn(outcome.err, "kel: warning: Six digits"), 1) << outcome.err;
    ASSERT_EQ(run("info mesh.ply --json info.json").status, 0);
    EXPECT_EQ(meshOf("report.json"), meshOf("info.json"));
    for (const double far : {0.0, 1e8}) {
        std::vector<Point3> vMoved = points("scan.bin");
        for (Point3& p : vMoved)
            p = p + Vector3(far, 0.0, 0.0);
        writePoints_BIN(folder.path("moved.bin").c_str(), vMoved);
        const Outcome moved = run("reconstruct moved.bin mesh.stl --json report.json");
        EXPECT_EQ(countIn(moved.err, "kel: warning: Ten digits"), far > 0.0 ? 1 : 0) << moved.err;
        ASSERT_EQ(run("info mesh.stl --json info.json").status, 0);
        EXPECT_EQ(meshOf("report.json"), meshOf("info.json"));
    }
}

TEST_F(ProgramTest, failsWhenStandardOutputIsFull) {
    folder.write("good.xyz", "0 0 0\n1 0 0\n0 1 0\n");
    EXPECT_EQ(run("spacing good.xyz").status, 0);
    const std::string command =
        "cd '" + folder.path("") + "' && '" KEL_PROGRAM "' spacing good.xyz >/dev/full 2>'" + logs.path("err") + "'";
    EXPECT_NE(std::system(command.c_str()), 0);
}

TEST_F(ProgramTest, tellsHowGoodAMeshIs) {
    ASSERT_EQ(run("scan torus scan.bin --points 20000 --seed 3").status, 0);
    for (const std::string mesh : {"mesh.ply", "mesh.stl"}) {
        ASSERT_EQ(run("reconstruct scan.bin " + mesh).status, 0);
        const Outcome outcome = run("info " + mesh + " --quiet --reference scan.bin --within 1e-9 --json report.json");
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        const std::string report = folder.read("report.json");
        for (const char* part : {"\"points\": 20000", "\"degree1\": 0", "\"degree3\": 0", "\"components\": 1",
                                 "\"eulerCharacteristic\": 0", "\"borderLoops\": 0", "\"degenerateTriangles\": 0",
                                 "\"shareWithinAverageEdge\": 1.0", "\"within\": 1e-09", "\"shareWithin\": 0.0"})
            EXPECT_EQ(countIn(report, part), 1) << part << report;
        for (const char* part : {"1: 0, 2: ", "Euler characteristic      0\n", "border loops              0\n",
                                 "within an average edge    100% ", "within the given length   0% "})
            EXPECT_EQ(countIn(outcome.out, part), 1) << part << outcome.out;
    }
    EXPECT_EQ(countIn(run("info mesh.stl").out, "distance"), 0);
}

TEST_F(ProgramTest, saysWhatItLeavesOutOfAMesh) {
    std::vector<Point3> vPoints = {{0, 0, 0}, {1, std::nan(""), 0}, {2, 0, 0}};
    writePoints_BIN(folder.path("some.bin").c_str(), vPoints);
    folder.write("point.stl", "outer loop\nvertex 0 0 0\nvertex 0 0 0\nvertex 0 0 0\nendloop\n");
    const Outcome outcome = run("info point.stl --reference some.bin --json report.json");
    EXPECT_EQ(countIn(outcome.out, "points left out           1 "), 1) << outcome.out;
    EXPECT_EQ(countIn(folder.read("report.json"), "\"points\": 2"), 1);
    EXPECT_EQ(countIn(outcome.out, "average edge length"), 0) << outcome.out;
}

TEST_F(ProgramTest, printsTheSpacingAlone) {
    std::vector<Point3> vPoints = scan("plane --points 10000 --seed 2");
    const CoutSilence silence;
    const Outcome outcome = run("spacing scan.bin");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(std::strtod(outcome.out.c_str(), nullptr), estimateAvgSpacing(vPoints));
    EXPECT_EQ(countIn(outcome.out, "\n"), 1);
    EXPECT_EQ(countIn(outcome.err, "warning"), 0) << outcome.err;
    folder.write("one.xyz", "3 4 5\n3 4 5\n");
    EXPECT_EQ(countIn(run("spacing one.xyz").err, "kel: warning: All points"), 1);
}

TEST_F(ProgramTest, scansTheShapeThatItNames) {
    for (const std::string shape : {"sphere", "torus", "plane", "cube", "block", "patches"}) {
        const std::vector<Point3> vPoints = scan(shape + " --points 5001 --seed 7");
        ASSERT_EQ(vPoints.size(), 5001u);
        for (const Point3& p : vPoints)
            ASSERT_LT(distanceTo(shape, p), 1e-12) << shape << p;
        EXPECT_EQ(scan(shape + " --points 5001 --seed 7"), vPoints);
        EXPECT_NE(scan(shape + " --points 5001 --seed 8"), vPoints);
    }
    for (const Point3& p : scan("patches --points 5000 --seed 7"))  // the widest patch looks down
        ASSERT_GT(p.z(), -std::cos(0.3));
}

TEST_F(ProgramTest, scansEvenly) {
    // Parts of equal area get equally many points, but for a few at their rims.
    std::vector<double> vBand(10);
    for (const Point3& p : scan("sphere --points 10000"))
        ++vBand[static_cast<std::size_t>(std::min(9.0, (p.z() + 1.0) * 5.0))];
    for (const double count : vBand)
        EXPECT_NEAR(count, 1000.0, 10.0);
    // The torus has the share 1/2 + 1/pi of r / R on its outer half.
    double numOuter = 0.0;
    for (const Point3& p : scan("torus --points 10000"))
        numOuter += std::hypot(p.x(), p.y()) > 1.0 ? 1.0 : 0.0;
    EXPECT_NEAR(numOuter, 10000.0 * (0.5 + 0.4 / 3.14159265), 20.0);
    // Rings round the missing patches, of one area though these aren't.
    const std::vector<Vector3> vAxes = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {-1, 0, 0}, {0, -1, 0}, {0, 0, -1}};
    std::vector<double> vRing(vAxes.size());
    double whole = 2.0;  // areas as heights of zones: the sphere has that of its diameter
    for (const Point3& p : scan("patches --points 50000"))
        for (std::size_t i = 0; i < vAxes.size(); ++i) {
            const double depth = std::cos(0.05 * static_cast<double>(i + 1)) - (p - Point3()) * vAxes[i];
            vRing[i] += depth < 0.08 ? 1.0 : 0.0;
        }
    for (std::size_t i = 0; i < vAxes.size(); ++i)
        whole -= 1.0 - std::cos(0.05 * static_cast<double>(i + 1));
    for (const double count : vRing)
        EXPECT_NEAR(count, 50000.0 * 0.08 / whole, 30.0);
}

TEST_F(ProgramTest, movesPointsByTheNoiseAlongTheNormal) {
    const int numPoints = 20000;
    const double spacing = std::sqrt(1.0 / numPoints);
    double sum = 0.0, sumOfSquares = 0.0;
    for (const Point3& p : scan("plane --points 20000 --noise 0.5")) {
        sum += p.z();
        sumOfSquares += p.z() * p.z();
        ASSERT_TRUE(p.x() >= 0.0 && p.x() <= 1.0 && p.y() >= 0.0 && p.y() <= 1.0) << p;
    }
    EXPECT_NEAR(sum / numPoints, 0.0, 0.02 * spacing);
    EXPECT_NEAR(std::sqrt(sumOfSquares / numPoints), 0.5 * spacing, 0.02 * spacing);
}

TEST_F(ProgramTest, keepsEveryDigitInTextFiles) {
    const std::vector<Point3> vPoints = scan("torus --points 100 --noise 1 --seed 5");
    ASSERT_EQ(run("scan torus scan.xyz --points 100 --noise 1 --seed 5").status, 0);
    EXPECT_EQ(points("scan.xyz"), vPoints);
}

TEST_F(ProgramTest, explainsItself) {
    for (const std::string arguments : {"--help", "reconstruct --help", "reduce --help", "fill --help", "flip --help",
                                        "smooth --help", "convert --help", "holes --help", "melt --help", "manifold --help",
                                        "cloud --help", "info --help", "spacing --help", "scan --help", "--version"}) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 0) << arguments;
        EXPECT_EQ(outcome.err, "") << arguments;
        EXPECT_NE(outcome.out, "") << arguments;
    }
}
