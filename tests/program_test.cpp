// The command line program as a user meets it: exit status, files, and what it prints where.
#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>

#include "support/TempFolder.h"
#include "support/binary_stl.h"
#include "support/fine.h"
#include "support/las.h"
#include "support/pcd.h"
#include "support/prelude.h"
#include "support/sanitized.h"

using namespace TARN_KEL;
using namespace TARN_TEST;

namespace {

/// The program as a word of a shell: the one that was built, or another one that the environment names.
const std::string PROGRAM = [] {
    const char* const other = std::getenv("KEL_PROGRAM");
    return "'" + std::string(other != nullptr ? other : KEL_PROGRAM) + "'";
}();

struct Outcome {
    int status = -1;
    std::string out, err;
};

struct ProgramTest : SilentTest {
    /// Runs the program in the test's folder; the arguments are words of a shell.
    Outcome run(const std::string& arguments) const {
        const std::string command = "cd '" + folder.path("") + "' && " + PROGRAM + " " + arguments + " >'" +
                                    logs.path("out") + "' 2>'" + logs.path("err") + "'";
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, logs.read("out"), logs.read("err")};
    }
    std::vector<Point3> points(const std::string& name) const {
        std::vector<Point3> vPoints;
        EXPECT_TRUE(readPointFile(folder.path(name), vPoints)) << name;
        return vPoints;
    }
    /// The points of a file, and what they carry.
    std::pair<Points, PointAttributes> loaded(const std::string& name) const {
        std::pair<Points, PointAttributes> read;
        EXPECT_TRUE(readPointFile(folder.path(name), read.first, read.second)) << name;
        return read;
    }
    std::vector<Point3> scan(const std::string& arguments) const {
        EXPECT_EQ(run("scan --quiet " + arguments + " scan.bin").status, 0) << arguments;
        return points("scan.bin");
    }

    /// Makes mesh.ply of a scan of the unit sphere. Its vertices carry z as height, a class and a red of two values by the
    /// side of x = 0, a green that changes from one to the next, and one blue. No vertex moves.
    void makeMeshWithColumns() const {
        scan("sphere --points 2000 --seed 4");
        EXPECT_EQ(run("reconstruct scan.bin bare.ply --precision double").status, 0);
        std::vector<Point3> vVertices = points("bare.ply");
        std::vector<float> vHeight;
        std::vector<std::uint8_t> vClass, vRed, vGreen, vBlue(vVertices.size(), 128);
        for (const Point3& p : vVertices) {
            vHeight.push_back(static_cast<float>(p.z()));
            vClass.push_back(p.x() > 0.0 ? 7 : 2);
            vRed.push_back(p.x() > 0.0 ? 255 : 3);
            vGreen.push_back(static_cast<std::uint8_t>(vGreen.size() % 256));
        }
        PointAttributes given;
        given.vColumns = {{"red", vRed, {}}, {"green", vGreen, {}}, {"blue", vBlue, {}}};
        given.set({"height", vHeight, {}}), given.set({"class", vClass, {}});
        std::string cloud = folder.path("cloud.ply");
        EXPECT_TRUE(writePoints_auto(cloud, vVertices, false, Precision::DOUBLE, given));
        EXPECT_EQ(run("fit bare.ply cloud.ply mesh.ply --precision double").status, 0) << "gets the columns of the cloud";
    }

    TempFolder folder;  // where the program works
    TempFolder logs;
};

/// Four triangles around a vertex, which make a roof over a square; with bFloor closed by the two halves of the square.
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
    ASSERT_EQ(run("scan cube scan.bin --points 8000 --seed 3").status, 0);
    for (const std::string options : {"mesh.ply", "mesh.obj --factor 1.5", "mesh.obj --laplacian --threads 3",
                                      "mesh.stl --spacing 0.05", "mesh.stl --quiet"}) {
        const Outcome outcome = run("reconstruct scan.bin --json report.json " + options);
        EXPECT_EQ(outcome.status, 0) << options << outcome.err;
        const bool bQuiet = options.ends_with("--quiet");
        EXPECT_EQ(countIn(outcome.out, " vertices, "), bQuiet ? 0 : 1) << outcome.out;
        EXPECT_TRUE(!bQuiet || outcome.err.empty()) << outcome.err;
        const std::string report = folder.read("report.json");
        for (const char* part : {"\"points\": 8000", "\"read\": ", "\"reconstruct\": ", "\"write\": ", "\"peakMegabytes\": ",
                                 "\"components\": 1,"})
            EXPECT_EQ(countIn(report, part), 1) << part << report;
    }
    std::vector<Point3> vCorners;
    ASSERT_TRUE(readSTL_ASCII(folder.path("mesh.stl").c_str(), vCorners));
    EXPECT_GT(vCorners.size(), 5000U);
    for (const Point3& p : vCorners)
        ASSERT_NEAR((p - Point3(0.5, 0.5, 0.5)).getMaxAbsComponent(), 0.5, 0.03) << p;
    EXPECT_EQ(folder.numFiles(), 5U);
}

TEST_F(ProgramTest, refusesInOneLineAndWritesNothing) {
    const std::string corner = "vertex 0 0 0\n", begin = "outer loop\n" + corner, end = "vertex 0 1 0\nendloop\n";
    const std::string las = lasFile({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
    for (const auto& [name, bytes] :
         std::map<std::string, std::string>{{"good.xyz", "0 0 0\n1 0 0\n0 1 0\n"},
                                            {"copy.xyz", "0 0 0\n1 0 0\n0 1 0\n"},
                                            {"empty.xyz", ""},
                                            {"empty.stl", ""},
                                            {"text.stl", "no triangle\n"},
                                            {"good.stl", begin + "vertex 1 0 0\n" + end},
                                            {"flat.stl", begin + corner + end},
                                            {"cut.stl", begin + "vertex 1 0 0\n" + end + begin + "vertex 1"},
                                            {"ball.stl", roof(true)},
                                            {"points.ply",
                                             "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\n"
                                             "property float z\nend_header\n1 2 3\n"},
                                            {"text.xyz", "no number\n"},
                                            {"bad.las", "no header\n"},
                                            {"bad.off", "no header\n"},
                                            {"points.obj", "v 0 0 0\n"},
                                            {"matrix.txt", "1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0 1\n"},
                                            {"bad.txt", "1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 1 1\n"},
                                            {"long.txt", "1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0 1\n1\n"},
                                            {"flat.txt", "1 2 3 0\n4 5 6 0\n7 8 9 0\n0 0 0 1\n"},
                                            {"far.txt", "1 0 0 1e200\n0 1 0 0\n0 0 1 0\n0 0 0 1\n"},
                                            {"cut.xyz", las.substr(0, las.size() - 1)},
                                            {"bad.ply", "no header\n"},
                                            {"scan.e57", "any"},
                                            {"e57.xyz", "ASTM-E57"},
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
          "bad.ply o.ply", "bad.las o.ply", "cut.xyz o.ply", "scan.e57 o.ply", "good.xyz o.ply --quiet"}},
        {"reconstruct scan.bin", {"", "o.pLy", "none/o.ply", ".", "scan.bin"}},
        {"reconstruct scan.bin o.ply --factor", {"nan", "0", "1e999", "1x", "''"}},
        {"reconstruct scan.bin o.ply --spacing", {"inf", "0.1 --factor 1", "1e9 --quiet", "1e-9 --quiet"}},
        {"reconstruct scan.bin o.ply --precision", {"", "single", "2"}},
        {"reconstruct scan.bin o.ply --json", {"o.ply", "$PWD/o.ply", "none/r.json", "-"}},
        {"reconstruct scan.bin o.ply --crop", {"0,0,0,1,1", "0,0,0,1,1,1,1", "0,0,0,1,1,nan", "0,0,1,1,1,0", "9,9,9,9,9,9"}},
        {"reconstruct scan.bin o.ply --every", {"", "0", "-1", "1.5", "1e3", "99999999999999999999", "1000000 --quiet"}},
        {"reconstruct scan.bin o.ply --max-points", {"0", "1 --quiet"}},
        {"reconstruct scan.bin o.ply --classes", {"2", "256", "2,x"}},
        {"reconstruct scan.bin o.ply --transform",
         {"none.txt", "good.xyz", "bad.txt", "long.txt", "flat.txt", "far.txt", "-"}},
        {"reconstruct scan.bin", {"none.xyz o.ply", "good.stl o.ply", "o.ply --transform matrix.txt --json matrix.txt"}},
        {"reconstruct -",
         {"o.ply </dev/null", "o.ply <good.xyz", "o.ply --format foo <good.xyz", "- o.ply <points.ply",
          "- --out-format las <points.ply"}},
        {"reconstruct - o.ply --format xyz", {"<&-"}},
        {"fit - -", {"o.ply <good.stl"}},
        {"fit ball.stl points.ply points.ply", {""}},
        {"convert scan.bin o.xyz", {"--format bin", "--out-format xyz"}},
        {"reconstruct scan.bin o.ply", {"extra", "--grow 1.5", "--reduce 1", "--reduce 1 nan", "--smooth 1 --smooth 2"}},
        {"spacing", {"none.xyz", "empty.xyz", "scan.bin --json scan.bin"}},
        {"melt good.stl",
         {"o.ply", "o.ply --spacing 0", "o.ply --spacing 1 --feature-angle -1", "o.xyz --spacing 1",
          "good.stl --spacing 1"}},
        {"melt", {"good.xyz o.ply --spacing 1", "flat.stl o.ply --spacing 1 --quiet", "cut.stl o.ply --spacing 1"}},
        {"cloud",
         {"good.stl o.xyz", "good.stl o.stl --spacing 1", "none.stl o.xyz --spacing 1", "flat.stl o.xyz --spacing 1 --quiet",
          "cut.stl o.xyz --spacing 1"}},
        {"reduce",
         {"good.stl o.ply --max-edge 1", "good.stl o.ply --max-edge -1 --max-angle 1",
          "good.stl good.stl --max-edge 1 --max-angle 1", "points.ply o.ply --max-edge 1 --max-angle 1"}},
        {"reduce good.stl o.ply",
         {"", "--keep-vertices", "--triangles 0", "--triangles 1.5", "--ratio 0", "--ratio 1.5", "--distance 0",
          "--ratio 0.5 --triangles 3", "--triangles 3 --max-edge 1 --max-angle 1", "--triangles 3 --keep-features 200"}},
        {"fill good.stl", {"o.ply", "o.ply --max-edges 2", "o.ply --max-edges 4.5", "o.xyz --max-edges 4"}},
        {"flip",
         {"good.stl", "good.stl o.ply --json good.stl", "empty.stl o.ply", "text.stl o.ply", "flat.stl o.ply --quiet"}},
        {"smooth good.stl o.ply",
         {"", "-n 0", "-n 1.5", "-n 1000001", "-n 1 --taubin 1", "--taubin 0", "--taubin 1 --bilateral 1",
          "--taubin 1 --edge-angle 20", "-n 1 --move-borders", "--bilateral 1 --edge-angle 0"}},
        {"convert",
         {"good.stl o.foo", "good.stl none/o.ply", "good.stl o.stl --ascii", "scan.bin o.stl", "scan.bin o.laz",
          "scan.bin ./scan.bin", "points.ply points.ply", "points.ply scan.bin points.ply", "good.stl o.ply --every 2",
          "bad.bin o.ply", "bad.off o.ply", "points.obj o.stl", "good.stl o.ply --stl-binary", "good.xyz o.xyz --stl-binary",
          "good.stl o.off --normals", "good.stl o.stl --stl-binary --precision double",
          "good.stl o.glb --precision double"}},
        {"holes", {"good.stl o.ply", "good.stl none/o.list", "points.ply o.list"}},
        {"info",
         {"", "none.ply", "bad.ply", "bad.bin", "empty.stl", "cut.stl", "scan.bin --join",
          "points.ply --reference scan.bin"}},
        {"info good.stl",
         {"--within 1", "--reference text.xyz", "--reference good.xyz --within 0", "--json good.stl",
          "--reference good.xyz --json good.xyz"}},
        {"scan sphere o.bin", {"", "--points 0", "--points 5 --noise -1", "--points 5 --seed -1"}}};
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
    for (const std::string name : {"scan.e57", "e57.xyz"})
        EXPECT_EQ(countIn(run("spacing " + name).err, name + " is an E57 file, which can't be read: convert it"), 1);
    EXPECT_EQ(run("spacing text.xyz").err,
              "kel: There is no point in text.xyz: no line begins with three numbers; the first that isn't a comment: 'no "
              "number'\n");
    folder.write("bad.txt", "# pose\n1 0 0 0\n0 1 0,5 0\n");
    EXPECT_EQ(countIn(run("spacing scan.bin --transform bad.txt").err, "bad.txt has '0,5' in line 3\n"), 1);
    EXPECT_EQ(run("melt text.stl o.ply --spacing 1").err, "kel: There is no triangle in text.stl\n");
    for (const std::string command : {"melt", "cloud"}) {
        const Outcome tooFine = run(command + " good.stl o.ply --spacing 1e-6 --quiet");
        EXPECT_TRUE(tooFine.status == 1 && tooFine.err.starts_with("kel: A spacing of 1e-06 makes up to ")) << tooFine.err;
    }
}

TEST_F(ProgramTest, changesAMeshAsTheLibraryDoes) {
    std::vector<Point3> vPoints = scan("torus --points 5000 --noise 0.5 --seed 4"), vCorners;
    ASSERT_EQ(run("reconstruct scan.bin mesh.ply --plain --quiet").status, 0);
    ASSERT_TRUE(readSTL_ASCII(folder.write("soup.stl", roof(true)).c_str(), vCorners));
    using Change = std::function<void(const MeshPtr&)>;
    const Change manifold = [](const auto& p) { makeManifold(p); };
    const Change reduced = [](const auto& p) { reduce(p, 0.3, 20.0, true); };
    const Change flips = [](const auto&p) { edgeFlips(p, true); }, anneal = [](const auto&p) { edgeFlipsSimA(p, true); };
    const Change smooth = [](const auto& p) { laplacianSmoothing(p, 3, true); };
    const Change taubin = [](const auto& p) { TARN_KEL::smooth(p, {SmoothMethod::TAUBIN, 4, false}); };
    const Change bilateral = [](const auto& p) { TARN_KEL::smooth(p, {SmoothMethod::BILATERAL, 4, true, 0.01, 15.0}); };
    const Change target = [](const auto& p) { EXPECT_LE(reduce(p, {500}).numAfter, 500U); };
    const Change within = [](const auto& p) { EXPECT_LE(reduce(p, {1, 0.02, false, true, true, 60.0}).distance, 0.02); };
    const Change close = [](const auto& p) { EXPECT_GT(fillHoles(p, 12, true), 0); };
    const Change closeRaw = [](const auto& p) { EXPECT_GT(fillHoles(p, 12, false), 0); };
    const Change taubinFree = [](const auto& p) { TARN_KEL::smooth(p, {.numRounds = 4, .bNoCrossings = true}); };
    const Change manifoldFree = [](const auto& p) { makeManifold(p, true); };
    const Change fitted = [&](const auto& p) { fit(p, vPoints, {.bNoise = false}); };
    const Change fittedByCell = [&](const auto& p) { fit(p, vPoints, {.cellEdge = 0.1}); };
    const Change uncross = [](const auto& p) { removeSelfIntersections(p); };
    const Change reducedFree = [](const auto& p) { reduce(p, 0.3, 20.0, KeepOptions()); };
    const Change flipsFree = [](const auto& p) { edgeFlips(p, KeepOptions()); };
    const Change smoothFree = [](const auto& p) { laplacianSmoothing(p, 3, KeepOptions()); };
    const std::string
        onScan =
            "reconstruct scan.bin o.ply --keep-outliers --no-even --min-piece 0 --pinholes 0 --keep-crossings --no-fit ",
        melted = "melt soup.stl o.ply --spacing 0.05";
    const auto start = [&](const std::string& arguments) {
        if (arguments == melted) return melt(vCorners, MeltOptions{.spacing = 0.05});
        if (arguments.starts_with(melted)) return melt(vCorners, 0.05, arguments == melted + " --plain" ? 10.0 : 100.0);
        if (arguments.starts_with(onScan)) return reconstruct_auto(vPoints, false, 1.1, -1);
        return readMesh_auto(folder.path("mesh.ply"));
    };
    std::set<std::string> sBytes = {folder.read("mesh.ply")};
    const std::vector<std::pair<std::string, std::vector<Change>>> vCases = {
        {"reduce mesh.ply o.ply --max-edge 0.3 --max-angle 20", {manifold, reduced}},
        {"reduce mesh.ply o.ply --triangles 500", {manifold, target}},
        {"reduce mesh.ply o.ply --triangles 1 --distance 0.02 --keep-vertices --keep-borders --keep-features 60",
         {manifold, within}},
        {"smooth mesh.ply o.ply --taubin 4 --move-borders", {manifold, taubin}},
        {"smooth mesh.ply o.ply --bilateral 4 --edge-angle 15", {manifold, bilateral}},
        {"flip mesh.ply o.ply", {manifold, flips}},
        {"flip mesh.ply o.ply --anneal", {manifold, anneal}},
        {"smooth mesh.ply o.ply -n 3", {manifold, smooth}},
        {"fill mesh.ply o.ply --max-edges 12", {manifoldFree, close}},
        {"manifold mesh.ply o.ply --uncross", {manifold, uncross}},
        {"fit mesh.ply scan.bin o.ply --keep-noise", {manifold, fitted}},
        {"fit mesh.ply scan.bin o.ply --cell 0.1", {manifold, fittedByCell}},
        {"reduce mesh.ply o.ply --max-edge 0.3 --max-angle 20 --no-crossings", {manifoldFree, reducedFree}},
        {"flip mesh.ply o.ply --no-crossings", {manifoldFree, flipsFree}},
        {"smooth mesh.ply o.ply -n 3 --no-crossings", {manifoldFree, smoothFree}},
        {"smooth mesh.ply o.ply --taubin 4 --no-crossings", {manifoldFree, taubinFree}},
        {melted, {}},
        {melted + " --plain", {}},
        {melted + " --no-complete --raw --pinholes 0 --feature-angle 100", {}},
        {onScan, {manifold}},
        {onScan + "--raw --close 12", {closeRaw}},
        {onScan + "--close 12 --smooth 3", {manifold, close, smooth}},
        {onScan + "--reduce 0.3 20 --flip --smooth 3", {manifold, reduced, flips, smooth}},
        {onScan + "--smooth 3 --reduce 0.3 20 --flip --flip", {manifold, smooth, reduced, flips}}};
    for (const auto& [arguments, vChanges] : vCases) {
        const Outcome outcome = run(arguments + " --json report.json");
        ASSERT_EQ(outcome.status, 0) << arguments << outcome.err;
        const MeshPtr pMesh = start(arguments);
        for (const Change& change : vChanges)
            change(pMesh);
        ASSERT_TRUE(writeMesh_auto(logs.path("o.ply"), pMesh, false));
        EXPECT_TRUE(folder.read("o.ply") == logs.read("o.ply")) << arguments;
        EXPECT_TRUE(sBytes.insert(folder.read("o.ply")).second) << arguments;
        std::vector<Point3*> vLeft;
        pMesh->getTriangles(vLeft);
        EXPECT_EQ(countIn(folder.read("report.json"), "\"triangles\": " + std::to_string(vLeft.size() / 3) + ","), 1);
    }
    for (const double angle : {10.0, 100.0}) {
        const Outcome cloud = run("cloud soup.stl o.bin --spacing 0.05 --feature-angle " + std::to_string(angle));
        std::vector<Point3> vCloud;
        outputOf([&] { toCloud(vCorners, 0.05, angle, vCloud); });
        EXPECT_EQ(points("o.bin"), vCloud);
        EXPECT_EQ(cloud.out, "o.bin: " + std::to_string(vCloud.size()) + " points\n");
    }
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
    convert("mesh.ply bytes.stl --stl-binary");
    EXPECT_TRUE(folder.read("bytes.stl").size() == 84 + 50 * vCorners.size() / 3);
    for (const std::string arguments :
         {"m.obj o.ply", "mesh.ply m.off", "m.off f.ply", "bytes.stl y.ply", "m.off o.bin", "o.bin v2.ply"})
        convert(arguments);
    for (const char* name : {"o.ply", "f.ply", "y.ply"})
        EXPECT_TRUE(folder.read(name) == folder.read("m.ply")) << name;
    const std::vector<Point3> vOff = points("v2.ply"), vPly = points("mesh.ply");
    EXPECT_EQ(std::set(vOff.begin(), vOff.end()), std::set(vPly.begin(), vPly.end()));
    convert("m.off n.obj --normals");
    EXPECT_EQ(countIn(folder.read("n.obj"), "\nvn "), countIn(folder.read("m.obj"), "\nv ") + 1);
    convert("n.obj n.ply --no-attributes");
    EXPECT_TRUE(folder.read("n.ply") == folder.read("m.ply"));
    EXPECT_EQ(countIn(run("info m.off").out, "the mesh is               manifold"), 1);
    for (const std::string arguments :
         {"scan.bin p.xyz", "p.xyz p.bin", "scan.bin p.ply", "p.ply text.ply --ascii", "text.ply t.ply", "p.ply p.list",
          "mesh.ply v.xyz", "v.xyz v.ply", "scan.bin w.las", "w.las l.bin", "mesh.ply v.las"})
        convert(arguments);
    EXPECT_TRUE(folder.read("p.bin") == folder.read("scan.bin"));
    EXPECT_EQ(folder.read("t.ply").size(), folder.read("p.ply").size());
    EXPECT_EQ(points("v.ply"), points("mesh.ply"));
    EXPECT_EQ(points("v.las").size(), points("v.ply").size());
    EXPECT_EQ(points("w.las").size(), points("scan.bin").size());
    EXPECT_EQ(points("w.las"), points("l.bin"));
    EXPECT_EQ(countIn(folder.read("p.list"), "OFF"), 0);
    EXPECT_EQ(countIn(folder.read("m.list"), "OFF"), 1);
    EXPECT_EQ(countIn(run("convert mesh.ply v.xyz").err, "kel: warning: Of the mesh"), 1);
}

TEST_F(ProgramTest, choosesAndPlacesPointsOfSeveralFiles) {
    std::vector<Point3> vAll = scan("sphere --points 1001 --pattern random"), vMore = scan("cube --points 500 --noise 9");
    writePoints_BIN(folder.path("a.bin").c_str(), vAll);
    vAll.insert(vAll.end(), vMore.begin(), vMore.end());
    const auto chosen = [&](const std::string& options, const std::string& line = "") {
        const Outcome outcome = run("convert a.bin scan.bin o.bin --json report.json " + options);
        EXPECT_EQ(outcome.status, 0) << options << outcome.err;
        EXPECT_TRUE(line.empty() || countIn(outcome.out, line + "\n") == 1) << outcome.out;
        EXPECT_GE(countIn(folder.read("report.json"), "\"points\": 1501"), 1);
        return points("o.bin");
    };
    EXPECT_EQ(chosen(""), vAll);
    std::vector<Point3> vMoved, vInBox, vThird;
    for (const Point3& p : vAll) {
        vMoved.emplace_back(p.y() * 2 + 10, -p.x(), p.z() + 0.5);
        const Point3& q = vMoved.back();
        if (q.x() >= 9 && q.x() <= 10 && q.y() >= -0.5 && q.y() <= 1 && q.z() >= 0 && q.z() <= 1.25) vInBox.push_back(q);
    }
    for (std::size_t i = 0; i < vInBox.size(); i += 3)
        vThird.push_back(vInBox[i]);
    ASSERT_TRUE(vThird.size() > 20 && vInBox.size() < 1000);
    folder.write("turn.txt", "\xef\xbb\xbf# pose\n0 2 0 10\r\n-1 0 0 0\t0 0 1 .5 0 0 0 1");
    ASSERT_EQ(std::system(("gzip '" + folder.path("turn.txt") + "'").c_str()), 0);
    const std::string turn = "--transform turn.txt.gz ", crop = "--crop 9,-0.5,0,10,1,1.25 ";
    const std::string numOutside = std::to_string(vAll.size() - vInBox.size());
    EXPECT_EQ(chosen(turn), vMoved);
    EXPECT_EQ(chosen(crop + turn, "points left out: " + numOutside + " outside --crop"), vInBox);
    EXPECT_EQ(chosen("--every 3 " + crop + turn, "points left out: " + numOutside + " outside --crop, " +
                                                     std::to_string(vInBox.size() - vThird.size()) + " by --every"),
              vThird);
    for (const std::size_t most : {1U, 2U, 7U, 750U, 1000U, 1500U}) {
        const std::vector<Point3> vSpread = chosen("--max-points " + std::to_string(most));
        ASSERT_EQ(vSpread.size(), most);
        std::size_t last = 0;
        for (std::size_t k = 1; k <= most; ++k) {
            const auto i = static_cast<std::size_t>(std::ranges::find(vAll, vSpread[k - 1]) - vAll.begin()) + 1;
            ASSERT_GT(i, std::exchange(last, i)) << "in their order";
            const std::size_t place = (k * vAll.size() + most - 1) / most;
            ASSERT_LE(4 * most * (i > place ? i - place : place - i), vAll.size()) << most << ": evenly spread";
        }
    }
    EXPECT_EQ(chosen("--max-points 1501"), vAll);
    ASSERT_EQ(run("convert --crop -9,-9,-9,9,9,9 a.bin before.bin").status, 0) << "an option before the names";
    EXPECT_EQ(points("before.bin").size(), 1001U);
    std::string las = lasFile({{1, 2.5, 0.125}, {-3.75, -1e6, 4}, {0, 0, 1}});
    for (std::size_t i = 0; i < 3; ++i)
        putNumber(las, 227 + 20 * i + 15, 2 + i, 1);
    folder.write("p.las", las);
    EXPECT_EQ(run("convert p.las p.las o.bin --classes 2,4").out, "points left out: 2 of other classes\no.bin: 4 points\n");
    EXPECT_EQ(points("o.bin"), (std::vector<Point3>{{1, 2.5, 0.125}, {0, 0, 1}, {1, 2.5, 0.125}, {0, 0, 1}}));
    folder.write("p.csv", "x,y,z,Label\n9,9,9,2\n1,1,1,3\n8,8,8,\n7,7,7,4\n");
    EXPECT_EQ(run("convert p.las p.csv o.ply --classes 2,4").out, "points left out: 3 of other classes\no.ply: 4 points\n");
    EXPECT_EQ(points("o.ply"), (std::vector<Point3>{{1, 2.5, 0.125}, {0, 0, 1}, {9, 9, 9}, {7, 7, 7}}));
    EXPECT_EQ(
        countIn(run("convert a.bin o.bin --classes 2").err, "kel: --classes chooses points by their classes, of which"), 1);
    EXPECT_EQ(run("reconstruct a.bin scan.bin o.ply --quiet --max-points 900").status, 0);
    EXPECT_EQ(run("spacing a.bin --every 2").out,
              run("convert a.bin h.bin --every 2 --quiet && " + PROGRAM + " spacing h.bin").out);
}

TEST_F(ProgramTest, fitsToChosenPoints) {
    run("scan sphere scan.bin --points 2000");
    run("reconstruct scan.bin mesh.ply --no-fit");
    run("convert scan.bin some.bin --crop=-2,-2,-2,2,2,0.5 --every 2");
    const Outcome outcome = run("fit mesh.ply scan.bin chosen.ply --crop=-2,-2,-2,2,2,0.5 --every 2");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(run("fit mesh.ply some.bin same.ply").status, 0);
    EXPECT_EQ(folder.read("chosen.ply"), folder.read("same.ply"));
    EXPECT_GT(run("fit mesh.ply scan.bin o.ply --crop 5,5,5,6,6,6").status, 0);
}

TEST_F(ProgramTest, saysThatMeltKeepsNoColours) {
    for (const std::string colour : {"", " 1 0 0"}) {
        folder.write("soup.obj", "v 0 0 0" + colour + "\nv 1 0 0" + colour + "\nv 0 1 0" + colour + "\nf 1 2 3\n");
        const Outcome outcome = run("melt soup.obj o.ply --spacing 0.1");
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(countIn(outcome.err, "The colours in soup.obj aren't kept"), colour.empty() ? 0 : 1) << outcome.err;
    }
}

TEST_F(ProgramTest, takesMemoryForTheChosenPointsAlone) {
    std::vector<Point3> vMany(1500000, Point3(1, 2, 3));
    vMany.back() = Point3(5, 5, 5);
    std::string bytes = lasFile(vMany, {2, 3, 20});
    putNumber(bytes, bytes.size() - (34 + 20) + 15, 1, 1);  // the class of the last one; that of the others is another
    folder.write("many.las", bytes);
    for (const std::string options : {"--every 100000", "--crop 4,4,4,9,9,9", "--max-points 1000", "--classes 1"}) {
        const Outcome outcome = run("convert many.las few.ply --json report.json " + options);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        if (SANITIZED) continue;
        const double peak = nlohmann::json::parse(folder.read("report.json"))["peakMegabytes"];
        EXPECT_LT(peak, 40.0) << options << ": the points alone would be 36 of them";
    }
}

TEST_F(ProgramTest, readsAndWritesPipes) {
    scan("sphere --points 2000");
    setenv("TMPDIR", folder.path("").c_str(), 1);
    for (const std::string arguments :
         {"reconstruct scan.bin o.ply", "reconstruct scan.bin o.obj", "convert scan.bin o.xyz", "convert scan.bin o.las"}) {
        const std::string kind = arguments.substr(arguments.size() - 3);
        const Outcome toFile = run(arguments);
        const std::size_t numFiles = folder.numFiles();
        const std::string piped = arguments.substr(0, arguments.find(' ')) + " - - --format bin --json r.json <scan.bin";
        const Outcome outcome = run(piped + (kind == "ply" ? "" : " --out-format " + kind));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_TRUE(outcome.out == folder.read("o." + kind)) << kind;
        const std::string lastLine = toFile.out.substr(toFile.out.find("o." + kind) + 5);
        EXPECT_EQ(countIn(outcome.err, "standard output" + lastLine), 1) << outcome.err;
        EXPECT_EQ(countIn(folder.read("r.json"), "\"standard input\""), 1);
        std::filesystem::remove(folder.path("r.json"));
        EXPECT_EQ(folder.numFiles(), numFiles) << "temporary files are removed";
    }
    folder.write("p.las", lasFile({{1, 2.5, 0.125}, {-3.75, -1e6, 4}}));
    for (const std::string arguments : {"convert o.ply m.off", "convert o.ply m.stl"})
        ASSERT_EQ(run(arguments + " --quiet").status, 0);
    for (const std::string name : {"o.ply", "m.off", "m.stl", "p.las"}) {
        ASSERT_EQ(run("convert " + name + " file.ply").status, 0);
        EXPECT_EQ(run("convert - pipe.ply --quiet <" + name).err, "");
        EXPECT_TRUE(folder.read("pipe.ply") == folder.read("file.ply")) << name;
    }
    const Outcome told = run("convert - - --format las --out-format obj <o.ply");
    EXPECT_EQ(countIn(told.err, "standard input is read as .ply"), 1) << told.err;
    EXPECT_EQ(countIn(told.err, "\x1b") + countIn(told.err, "/kel-") + countIn(told.err, "Writing"), 0) << told.err;
    EXPECT_EQ(run("info - <o.ply").out, run("info o.ply").out);
    const auto gzip = [&](const std::string& name) {
        EXPECT_EQ(std::system(("gzip -k '" + folder.path(name) + "'").c_str()), 0);
        return folder.read(name + ".gz");
    };
    const std::string packed = gzip("scan.bin");
    gzip("o.ply");
    EXPECT_EQ(run("info o.ply.gz").out, run("info - <o.ply.gz").out);
    for (const std::string in : {"scan.bin.gz", "- --format bin <scan.bin.gz"})
        EXPECT_EQ(run("spacing " + in).out, run("spacing scan.bin").out);
    for (const std::string& bytes : {std::string(), std::string("1 2 3\n"), packed.substr(0, packed.size() - 9),
                                     packed.substr(0, packed.size() / 2) + packed}) {
        folder.write("bad.bin.gz", bytes);
        const std::string err = run("spacing bad.bin.gz").err;
        EXPECT_TRUE(err.starts_with("kel: The file bad.bin.gz ") && countIn(err, "\n") == 1) << err;
    }
    EXPECT_EQ(run("convert - o.xyz --format ply <scan.bin").err.rfind("kel: Can't read points from standard input", 0), 0U);
    EXPECT_EQ(run("convert scan.bin - >/dev/full 2>/dev/null #").status, 1);
    const std::size_t numFiles = folder.numFiles();
    scan("sphere --points 20000");
    run("convert scan.bin - --out-format xyz 2>said | head -n 1 >/dev/null #");
    EXPECT_EQ(folder.read("said"), "kel: Can't write to standard output\n");
    EXPECT_EQ(folder.numFiles(), numFiles + 1) << "a reader that stops early leaves no temporary files";
    const Outcome ended =
        run("--version >/dev/null; sleep 3 | " + PROGRAM +
            " convert - o.xyz --format xyz & kel=$!; "
            "for i in $(seq 200); do ls kel-*/* >/dev/null 2>&1 && break; sleep 0.01; done; kill -TERM $kel; wait $kel #");
    EXPECT_EQ(ended.status, 128 + SIGTERM);
    EXPECT_EQ(folder.numFiles(), numFiles + 1) << "nor does a signal";
    unsetenv("TMPDIR");
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

TEST_F(ProgramTest, leavesOlderFilesAloneWhenItFailsAndWritesThroughLinks) {
    folder.write("good.xyz", "0 0 0\n1 0 0\n0 1 0\n");
    scan("sphere --points 2000");
    for (const std::string name : {"mesh.obj", "report.json"}) {
        folder.write("real " + name, "older");
        std::filesystem::create_symlink("real " + name, folder.path(name));
    }
    const std::string arguments = " mesh.obj --quiet --json report.json";
    EXPECT_EQ(run("reconstruct good.xyz" + arguments).status, 1);
    EXPECT_EQ(folder.read("mesh.obj") + folder.read("report.json"), "olderolder");
    for (const std::string command : {"reduce in.ply in.ply --ratio 0.5", "convert in.ply ./in.ply",
                                      "info in.ply --json in.ply", "spacing s.bin.gz --json s.bin.gz"}) {
        ASSERT_EQ(run("convert scan.bin s.bin && " + PROGRAM +
                      " reconstruct scan.bin in.ply && gzip -f in.ply s.bin && cp in.ply.gz in.ply")
                      .status,
                  0);
        const std::string before = folder.read("in.ply") + folder.read("s.bin.gz");
        EXPECT_EQ(countIn(run(command).err, " would overwrite "), 1) << command;
        EXPECT_TRUE(folder.read("in.ply") + folder.read("s.bin.gz") == before) << "compressed, whatever its name";
    }
    EXPECT_EQ(run("reconstruct scan.bin" + arguments).status, 0);
    for (const std::string name : {"mesh.obj", "report.json"})
        EXPECT_TRUE(std::filesystem::is_symlink(folder.path(name)) && folder.read(name).size() > 100U);
}

// Each kind of file keeps some digits; where that moves vertices, the report is about what is in the file.
TEST_F(ProgramTest, reportsTheMeshThatTheFileHolds) {
    const std::vector<Point3> vPoints = scan("plane --points 8000");
    const auto meshIn = [&](const std::string& name) {
        const std::string report = folder.read(name);
        return report.substr(std::min(report.size(), report.find("\"mesh\": ")));
    };
    for (const auto& [far, file, options, warning] :
         {std::tuple(0.0, "mesh.ply", "", ""),
          {3e5, "mesh.ply", "", ""},
          {3e5, "mesh.ply", "--precision float", "kel: warning: Single precision"},
          {0.0, "mesh.stl", "", ""},
          {1e8, "mesh.stl", "", "kel: warning: Most programs read an .stl in single precision"},
          {1e8, "mesh.stl", "--precision float", "kel: warning: Ten digits"}}) {
        std::vector<Point3> vMoved = vPoints;
        for (Point3& p : vMoved)
            p = p + Vector3(far, 0.0, 0.0);
        writePoints_BIN(folder.path("scan.bin").c_str(), vMoved);
        const Outcome outcome = run(std::string("reconstruct scan.bin --json report.json ") + options + " " + file);
        EXPECT_TRUE(*warning == 0 ? outcome.err.empty() : countIn(outcome.err, warning) == 1) << file << outcome.err;
        ASSERT_EQ(run(std::string("info --json info.json ") + file).status, 0);
        EXPECT_GT(meshIn("info.json").size(), 100U);
        EXPECT_EQ(meshIn("report.json"), meshIn("info.json"));
    }
    EXPECT_EQ(countIn(run("convert mesh.stl mesh.ply --ascii --precision float").err, "kel: warning: Six digits"), 1);
}

// A scan in metres and map coordinates. With the same cells it must give the same mesh as at the origin, also in files.
TEST_F(ProgramTest, keepsTheShapeOfAFineScanFarFromTheOrigin) {
    constexpr double FAR = 5e6, SPACING = 0.01, TOLERANCE = 1e-4 * SPACING;
    std::vector<Point3> vNear = scan("sphere --points 4000 --noise 0.1 --seed 5"), vFar;
    const double scale = SPACING / std::stod(run("spacing scan.bin").out);
    const auto onLattice = [&](double v) { return std::ldexp(std::round(std::ldexp(v * scale, 29)), -29); };
    for (Point3& p : vNear) {  // the lattice makes the shift exact
        p = Point3(onLattice(p.x()), onLattice(p.y()), onLattice(p.z()));
        vFar.push_back(p + Vector3(FAR, FAR, FAR));
    }
    writePoints_BIN(folder.path("near.bin").c_str(), vNear);
    writePoints_BIN(folder.path("far.bin").c_str(), vFar);
    ASSERT_EQ(run("reconstruct --quiet near.bin near.ply --precision double --origin -1 -1 -1").status, 0);
    ASSERT_EQ(run("reconstruct --quiet far.bin far.ply --origin 4999999 4999999 4999999").status, 0);
    for (const std::string arguments :
         {"far.ply text.ply --ascii", "text.ply again.ply", "far.ply far.stl", "far.stl stl.ply", "far.bin p.ply",
          "p.ply p.bin", "far.ply far.obj", "far.obj obj.ply", "far.ply far.off", "far.off off.ply", "far.ply far.glb"})
        ASSERT_EQ(run("convert --quiet " + arguments).status, 0) << arguments;
    for (const char* name : {"again.ply", "stl.ply", "obj.ply", "off.ply"})
        EXPECT_TRUE(folder.read(name) == folder.read("far.ply")) << name;
    EXPECT_TRUE(folder.read("p.bin") == folder.read("far.bin"));
    const auto expectNear = [TOLERANCE](const std::vector<Point3>& a, const std::vector<Point3>& b) {
        ASSERT_EQ(a.size(), b.size());
        for (std::size_t i = 0; i < a.size(); ++i)
            ASSERT_LT((a[i] - b[i]).length(), TOLERANCE) << i;
    };
    ASSERT_EQ(run("convert --quiet far.bin far.las").status, 0);
    expectNear(points("far.las"), vFar);
#ifdef KEL_HAS_GLTF
    ASSERT_EQ(run("convert --quiet far.glb glb.ply").status, 0);
    expectNear(points("glb.ply"), points("far.ply"));
#endif
    const Outcome moved = run("convert far.ply far.stl --stl-binary");
    EXPECT_EQ(countIn(moved.err, "far.stl is moved by -5000000 -5000000 -5000000"), 1) << moved.err;
    EXPECT_EQ(countIn(moved.out, " 0 border edges"), 1) << "no place is lost " << moved.out;
    folder.write("two.off",
                 "OFF\n6 2 0\n0 0 0\n1e-2 0 0\n0 1e-2 0\n1e6 0 0\n1000000.01 0 0\n1e6 1e-2 0\n3 0 1 2\n3 3 4 5\n");
    EXPECT_EQ(countIn(run("convert two.off two.glb").err, "leaves 4 of 6 places apart: write .ply"), 1) << "too wide";

    std::vector<Point3> vVertices, vMoved;
    std::vector<int> vIndices, vMovedIndices;
    ASSERT_TRUE(PLY::readPly(folder.path("near.ply"), vVertices, vIndices));
    ASSERT_TRUE(PLY::readPly(folder.path("far.ply"), vMoved, vMovedIndices));
    EXPECT_GT(vIndices.size(), 3000U);
    ASSERT_TRUE(vIndices == vMovedIndices && vVertices.size() == vMoved.size());
    for (std::size_t i = 0; i < vVertices.size(); ++i)
        ASSERT_LT((vMoved[i] - (vVertices[i] + Vector3(FAR, FAR, FAR))).length(), TOLERANCE) << i;
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

TEST_F(ProgramTest, tellsWhatACloudHas) {
    folder.write("p.csv", "x,y,z,label,height\n5000000.25,0,-1,2,0.5\n5000002,1,-1,2,\n5000000,2,3,7,1\nnan,0,0,3,1e9\n");
    const Outcome outcome = run("info p.csv --json report.json");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    for (const char* line : {"points                    4\n", "points left out           1 (a coordinate isn't finite)\n",
                             "x                         5000000 to 5000002\n", "y                         0 to 2\n",
                             "z                         -1 to 3\n", "label                     int32, 2 to 7\n",
                             "height                    double, 0.5 to 1000000000, not known of 1 points\n"})
        EXPECT_EQ(countIn(outcome.out, line), 1) << line << outcome.out;
    const auto report = nlohmann::json::parse(folder.read("report.json"))["cloud"];
    EXPECT_EQ(report["least"], (std::vector<double>{5000000, 0, -1}));
    EXPECT_EQ(report["columns"]["label"], "int32");
    scan("plane --points 3000");
    const std::string spacing = run("spacing scan.bin").out.substr(0, 6);
    EXPECT_EQ(countIn(run("info scan.bin").out, "spacing                   " + spacing), 1);
    EXPECT_EQ(run("info - --format bin <scan.bin").out, run("info scan.bin").out);
}

TEST_F(ProgramTest, knowsFilesByTheirContent) {
    scan("plane --points 500");
    ASSERT_EQ(run("reconstruct scan.bin mesh.ply --quiet").status, 0);
    for (const std::string arguments :
         {"mesh.ply mesh.off", "mesh.ply mesh.stl", "mesh.ply bytes.stl --stl-binary", "scan.bin p.las"})
        ASSERT_EQ(run("convert " + arguments + " --quiet").status, 0);
    const std::vector<Point3> vPoints = points("p.las");
    const std::string pcd = pcdFile(vPoints, "ascii");
    folder.write("p.pcd", pcd);
    folder.write("plain.pcd", pcd.substr(pcd.find("VERSION")));
    std::vector<std::string> vName{"mesh.ply", "mesh.off", "mesh.stl", "bytes.stl", "p.las", "p.pcd", "plain.pcd"};
#ifdef KEL_HAS_GLTF
    ASSERT_EQ(run("convert mesh.ply mesh.glb --quiet").status, 0);
    vName.push_back("mesh.glb");
#endif
    for (const std::string& name : vName) {
        const std::string kind = name.substr(name.find('.')), wrong = kind == ".ply" ? "wrong.xyz" : "wrong.ply";
        folder.write(wrong, folder.read(name));
        folder.write("wrong.dat", folder.read(name));
        ASSERT_EQ(
            run("convert " + name + " right.off --quiet").status + run("convert " + name + " right.bin --quiet").status,
            kind == ".stl" || name.starts_with("p") ? 1 : 0);  // no points in an .stl, no mesh of points
        for (const std::string& in : {wrong, std::string("wrong.dat"), "- <" + wrong}) {
            const Outcome outcome = run("convert " + in + " o.off");
            const bool bMesh = name.starts_with("mesh") || name.starts_with("bytes");
            EXPECT_EQ(outcome.status, bMesh ? 0 : 1) << name << " as " << in << outcome.err;
            if (bMesh) {
                EXPECT_TRUE(folder.read("o.off") == folder.read("right.off")) << name << " as " << in;
                EXPECT_EQ(countIn(outcome.err, " is read as " + kind + ", which its content is"), in == wrong ? 1 : 0)
                    << outcome.err;
            } else {
                EXPECT_EQ(run("convert " + in + " o.bin --quiet").status, 0) << name << " as " << in;
                EXPECT_TRUE(folder.read("o.bin") == folder.read("right.bin")) << name << " as " << in;
            }
        }
        std::filesystem::remove(folder.path(wrong));
    }
    // What a signature mustn't take: words of texts, and three points whose bytes end as an .stl without triangles does.
    for (const std::string text :
         {"solid ground\n1 2 3\n", "OFFSET 4\n1 2 3\n", "VERSION of today\n1 2 3\n", "plywood\n1 2 3\n"}) {
        folder.write("p.xyz", text);
        EXPECT_EQ(points("p.xyz"), (std::vector<Point3>{{1, 2, 3}})) << text;
    }
    std::vector<Point3> vThree{{1, 2, 3}, {4, 5, 6}, {7, 8, 0}};
    writePoints_BIN(folder.path("three.bin").c_str(), vThree);
    EXPECT_EQ(points("three.bin"), vThree);
    // Compressed, and its name doesn't say so.
    ASSERT_EQ(std::system(("gzip '" + folder.path("three.bin") + "'").c_str()), 0);
    std::filesystem::rename(folder.path("three.bin.gz"), folder.path("three.bin"));
    EXPECT_EQ(run("convert three.bin o.bin --quiet").status, 0);
    EXPECT_EQ(points("o.bin"), vThree);
}

TEST_F(ProgramTest, printsTheSpacingAlone) {
    std::vector<Point3> vPoints = scan("plane --points 10000 --seed 2");
    const Outcome outcome = run("spacing scan.bin");
    EXPECT_EQ(std::strtod(outcome.out.c_str(), nullptr), estimateAvgSpacing(vPoints));
    EXPECT_TRUE(outcome.status == 0 && countIn(outcome.out, "\n") == 1 && countIn(outcome.err, "warning") == 0);
    folder.write("one.xyz", "3 4 5\n3 4 5\n");
    EXPECT_EQ(countIn(run("spacing one.xyz").err, "kel: warning: All points"), 1);
}

TEST_F(ProgramTest, scansAsItIsAsked) {
    std::set<std::vector<Point3>> sScan;
    for (const std::string arguments :
         {"sphere --points 500", "torus --points 500", "torus --points 501", "torus --points 500 --seed 8",
          "torus --points 500 --noise 1", "torus --points 500 --pattern random"}) {
        EXPECT_TRUE(sScan.insert(scan(arguments)).second) << arguments;
        EXPECT_EQ(sScan.count(scan(arguments)), 1U) << arguments;
    }
}

TEST_F(ProgramTest, explainsItself) {
    for (const std::string command : {"", "reconstruct ", "reduce ", "fill ", "flip ", "smooth ", "convert ", "holes ",
                                      "melt ", "manifold ", "cloud ", "info ", "spacing ", "scan "}) {
        const Outcome outcome = run(command + "--help");
        EXPECT_TRUE(outcome.status == 0 && outcome.err.empty() && !outcome.out.empty()) << command;
    }
    EXPECT_EQ(run("--version").status, 0);
}

TEST_F(ProgramTest, carriesWhatPointsCarryToMeshesAndPoints) {
    std::ostringstream csv;
    csv << "x,y,z,red,green,blue,label,height,nx,ny,nz\n";
    const std::vector<Point3> vPoints = scan("sphere --points 6000 --seed 2");
    for (const Point3& p : vPoints)
        csv << p.x() << ',' << p.y() << ',' << p.z() << (p.x() > 0.0 ? ",255,0,10," : ",0,255,10,") << (p.z() > 0.0 ? 3 : 8)
            << ',' << p.z() << ',' << p.x() << ',' << p.y() << ',' << p.z() << '\n';
    folder.write("scan.csv", csv.str());
    for (const std::string options : {"", "--flip --smooth 1", "--reduce 0.05 20", "--plain", "--normals"}) {
        const Outcome outcome = run("reconstruct scan.csv mesh.ply --json report.json " + options);
        ASSERT_EQ(outcome.status, 0) << options << outcome.err;
        EXPECT_EQ(countIn(outcome.out, "carried over: red, green, blue, label, height, nx, ny, nz\n"), 1);
        EXPECT_EQ(countIn(folder.read("report.json"), "\"label\": \"int32\""), 2) << "of the input and the output";
        const auto [vVertices, made] = loaded("mesh.ply");
        ASSERT_EQ(made.vColumns.size(), 8U) << options;
        for (std::size_t i = 0; i < vVertices.size(); ++i) {
            const Point3& p = vVertices[i];
            ASSERT_NEAR(made.find("height")->number(i), p.z(), 0.1) << options;
            ASSERT_NEAR(made.find("nx")->number(i), p.x(), 0.2) << options;
            ASSERT_EQ(made.find("blue")->number(i), 10);
            if (std::abs(p.x()) > 0.1) {
                ASSERT_EQ(made.find("red")->number(i), p.x() > 0.0 ? 255 : 0) << p;
            }
            if (std::abs(p.z()) > 0.1) {
                ASSERT_EQ(made.find("label")->number(i), p.z() > 0.0 ? 3 : 8) << p;
            }
        }
    }
    EXPECT_EQ(countIn(run("info mesh.ply").out, "columns                   red, green, blue, label, height, nx, ny, nz\n"),
              1);
    EXPECT_EQ(countIn(run("convert mesh.ply o.stl").err, "o.stl can't hold red, green, blue, label, height, nx"), 1);
    EXPECT_EQ(countIn(run("convert mesh.ply o.stl --no-attributes").err, "can't hold"), 0);
    EXPECT_EQ(run("reconstruct scan.csv mesh.ply --no-attributes").status, 0);
    EXPECT_TRUE(loaded("mesh.ply").second.empty());
    EXPECT_EQ(countIn(run("reconstruct scan.csv mesh.obj").out, "carried over: red, green, blue, nx, ny, nz\n"), 1);
    EXPECT_GT(countIn(folder.read("mesh.obj"), " 0 1 0.0392157\n"), 500);
    EXPECT_EQ(countIn(folder.read("mesh.obj"), "\nvn "), countIn("\n" + folder.read("mesh.obj"), "\nv "));
    EXPECT_EQ(
        countIn(run("reconstruct scan.csv mesh.glb").out, "carried over: red, green, blue, label, height, nx, ny, nz\n"), 1);
    ASSERT_EQ(run("convert mesh.glb back.ply").status, 0);
    const auto [vOfGlb, ofGlb] = loaded("back.ply");
    for (std::size_t i = 0; i < vOfGlb.size(); ++i)
        ASSERT_NEAR(ofGlb.find("nx")->number(i), vOfGlb[i].x(), 0.2);
    EXPECT_EQ(countIn(run("reconstruct scan.csv mesh.off").out, "carried over: red, green, blue, nx, ny, nz\n"), 1);
    const Outcome asText = run("convert scan.csv o.xyz");
    EXPECT_EQ(countIn(asText.err, "o.xyz can't hold label, height, nx, ny, nz\n"), 1) << asText.err;
    for (const std::string name : {"mesh.off", "o.xyz"}) {
        const auto [vRead, read] = loaded(name);
        ASSERT_EQ(read.vColumns.size(), name == "mesh.off" ? 6U : 3U);
        for (std::size_t i = 0; i < vRead.size(); ++i)
            if (std::abs(vRead[i].x()) > 0.1) {
                ASSERT_EQ(read.find("red")->number(i), vRead[i].x() > 0.0 ? 255 : 0) << name;
            }
    }

    // Rows follow their points, in every order of what chooses them.
    folder.write("turn.txt", "0 -1 0 0\n2 0 0 0\n0 0 1 0\n0 0 0 1\n");
    ASSERT_EQ(run("convert scan.csv some.ply --precision double --crop -1,-0.5,-1,1,1,0.9 --every 2 --max-points 700 "
                  "--transform turn.txt")
                  .status,
              0);
    const auto [vSome, some] = loaded("some.ply");
    ASSERT_EQ(vSome.size(), 700U);
    for (std::size_t i = 0; i < vSome.size(); ++i) {
        const Point3& p = vSome[i];
        ASSERT_NEAR(some.find("height")->number(i), p.z(), 1e-5);
        ASSERT_EQ(some.find("red")->number(i), p.y() > 0.0 ? 255 : 0);
        const Vector3 normal = Vector3(4.0 * p.x(), p.y(), 4.0 * p.z()) / Vector3(4.0 * p.x(), p.y(), 4.0 * p.z()).length();
        ASSERT_NEAR(some.find("nx")->number(i), normal.x(), 1e-4) << "normal to the ellipsoid that became of the sphere";
        ASSERT_NEAR(some.find("ny")->number(i), normal.y(), 1e-4);
    }
    EXPECT_EQ(run("convert scan.csv some.las").err, "");
    const auto [vLas, ofLas] = loaded("some.las");
    EXPECT_TRUE(ofLas.hasColour() && ofLas.find("classification") != nullptr);
    ASSERT_EQ(vLas.size(), 6000U);
    for (std::size_t i = 0; i < vLas.size(); ++i)
        ASSERT_NEAR(ofLas.find("height")->number(i), vLas[i].z(), 1e-5);
}

TEST_F(ProgramTest, writesColoursOfMeshesWith8BitsAChannel) {
    for (const auto& [type, full] : {std::pair<std::string, std::string>{"ushort", " 65535"}, {"double", " 1.0"}}) {
        std::string text = "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty float z\n";
        for (const std::string name : {"red", "green", "blue", "alpha"})
            text += "property " + type + " " + name + "\n";
        folder.write("mesh.ply", text + "element face 1\nproperty list uchar int vertex_indices\nend_header\n0 0 0" + full +
                                     " 0 0" + full + "\n1 0 0 0" + full + " 0" + full + "\n0 1 0 0 0" + full + full +
                                     "\n3 0 1 2\n");
        ASSERT_EQ(run("convert mesh.ply o.ply").status, 0);
        const PointAttributes made = loaded("o.ply").second;
        ASSERT_EQ(made.vColumns.size(), 4U);
        for (const AttributeColumn& column : made.vColumns) {
            const auto& vValue = std::get<std::vector<std::uint8_t>>(column.values);
            EXPECT_EQ(std::accumulate(vValue.begin(), vValue.end(), 0), column.name == "alpha" ? 765 : 255) << type;
        }
    }
}

TEST_F(ProgramTest, readsAMeshFromANamedPipe) {
    scan("sphere --points 2000 --seed 4");
    ASSERT_EQ(run("reconstruct scan.bin mesh.ply").status, 0);
    const std::string bytes = folder.read("mesh.ply"), pipe = folder.path("pipe.ply");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string command : {"reduce pipe.ply o.ply --ratio 0.5", "fit pipe.ply scan.bin o.ply", "info pipe.ply"}) {
        std::thread writer([&] { std::ofstream(pipe, std::ios::binary) << bytes; });
        const Outcome outcome = run(command);
        writer.join();
        EXPECT_EQ(outcome.status, 0) << command << outcome.err;
    }
}

TEST_F(ProgramTest, keepsWhatVerticesCarryWhenAMeshChanges) {
    makeMeshWithColumns();
    for (const std::string command : {"reduce mesh.ply o.ply --ratio 0.3", "smooth mesh.ply o.ply --taubin 5",
                                      "flip mesh.ply o.ply", "fill mesh.ply o.ply --max-edges 5", "manifold mesh.ply o.ply",
                                      "convert mesh.ply o.ply --ascii", "fit mesh.ply scan.bin o.ply"}) {
        ASSERT_EQ(run(command).status, 0) << command;
        const auto [vChanged, kept] = loaded("o.ply");
        ASSERT_EQ(kept.vColumns.size(), 5U) << command;
        ASSERT_EQ(kept.find("height")->typeName(), "float");
        for (std::size_t i = 0; i < vChanged.size(); ++i) {
            ASSERT_NEAR(kept.find("height")->number(i), vChanged[i].z(), 0.1) << command;
            if (std::abs(vChanged[i].x()) > 0.15) {
                ASSERT_EQ(kept.find("class")->number(i), vChanged[i].x() > 0.0 ? 7 : 2) << command;
            }
        }
        EXPECT_EQ(run(command + " --no-attributes").status, 0);
        EXPECT_EQ(countIn(run("info o.ply").out, "columns"), 0) << command;
    }
}

// A number for each vertex shows whether any was mixed with others.
TEST_F(ProgramTest, leavesVerticesThatStayWhatTheyHad) {
    scan("sphere --points 2000 --seed 4");
    ASSERT_EQ(run("reconstruct scan.bin bare.ply --precision double").status, 0);
    std::vector<Point3> vVertices;
    std::vector<int> vIndices;
    ASSERT_TRUE(readTriangles_auto(folder.path("bare.ply"), vVertices, vIndices));
    const auto write = [&](const std::string& name) {
        std::vector<std::size_t> vRow;
        const MeshPtr pMesh = makeMesh(vVertices, vIndices, 0.0, false, vRow);
        PointAttributes ids;
        ids.set({"id", std::vector<std::int32_t>(vRow.begin(), vRow.end()), {}});
        ASSERT_TRUE(writeMesh_auto(folder.path(name), pMesh, false, Precision::DOUBLE, ids));
    };
    write("one.ply");
    const std::size_t numOne = vVertices.size();
    vVertices.insert(vVertices.end(), vVertices.begin(), vVertices.begin() + static_cast<std::ptrdiff_t>(numOne));
    for (std::size_t i = 0, num = vIndices.size(); i < num; ++i)
        vIndices.push_back(vIndices[i] + static_cast<int>(numOne));
    write("two.ply");  // at each place two vertices
    for (const std::string command :
         {"smooth one.ply o.ply -n 5 --raw", "smooth one.ply o.ply --taubin 9", "flip one.ply o.ply",
          "manifold one.ply o.ply", "fit one.ply scan.bin o.ply", "convert one.ply o.ply", "convert two.ply o.ply"}) {
        ASSERT_EQ(run(command).status, 0) << command;
        const auto [vChanged, kept] = loaded("o.ply");
        std::set<double> sId;
        for (std::size_t i = 0; i < vChanged.size(); ++i)
            sId.insert(kept.find("id")->number(i));
        EXPECT_EQ(sId.size(), command.find("two") != std::string::npos ? 2 * numOne : numOne) << command;
    }
}

// A red sheet over a blue one, closer than their triangles are long.
TEST_F(ProgramTest, mixesNoColoursThroughAThinWall) {
    constexpr int N = 40;
    for (const double thickness : {0.1, 1.0, 2.0}) {
        Soup plate = turned(sheet(N, N));
        append(moved(sheet(N, N), [thickness](const Point3& p) { return p + Vector3(0.0, 0.0, thickness); }), plate);
        const MeshPtr pMesh = meshOf(plate);
        std::vector<std::uint8_t> vRed, vGreen, vBlue;
        for (const Point3& p : verticesOf(pMesh)) {
            vRed.push_back(p.z() > 0.0 ? 255 : 0);
            vGreen.push_back(0);
            vBlue.push_back(p.z() > 0.0 ? 0 : 255);
        }
        PointAttributes colours;
        colours.vColumns = {{"red", vRed, {}}, {"green", vGreen, {}}, {"blue", vBlue, {}}};
        ASSERT_TRUE(writeMesh_auto(folder.path("plate.ply"), pMesh, false, Precision::DOUBLE, colours));
        ASSERT_EQ(run("convert plate.ply plate.off").status + run("reduce plate.off o.off --ratio 0.1").status, 0);
        const auto [vChanged, kept] = loaded("o.off");
        for (std::size_t i = 0; i < vChanged.size(); ++i) {
            const bool bTop = vChanged[i].z() > thickness / 2;
            const auto isInside = [](double v) { return v > 1.0 && v < N - 1; };
            if (!isInside(vChanged[i].x()) || !isInside(vChanged[i].y())) continue;
            EXPECT_EQ(kept.find("red")->number(i), bTop ? 255 : 0) << thickness << vChanged[i];
            EXPECT_EQ(kept.find("blue")->number(i), bTop ? 0 : 255) << thickness << vChanged[i];
        }
    }
}

// What the reader of another program takes from it, readsTheGlbThatItWrites tells; here is what the format demands besides.
TEST_F(ProgramTest, writesGlbAsTheFormatWantsIt) {
    folder.write("mesh.ply",
                 "ply\nformat ascii 1.0\nelement vertex 3\nproperty double x\nproperty double y\nproperty double z\n"
                 "property uchar red\nproperty uchar green\nproperty uchar blue\nproperty float h(m)\nproperty int "
                 "H_m_\nelement face 1\n"
                 "property list uchar int vertex_indices\nend_header\n5000000.25 100 -3 255 0 128 1.5 1\n"
                 "5000001 100 -3 255 0 128 nan 16777217\n5000000 101.5 -3.125 255 0 128 3 3\n3 0 1 2\n");
    const Outcome written = run("convert mesh.ply mesh.glb --normals");
    ASSERT_EQ(written.status, 0);
    EXPECT_EQ(countIn(written.err, "whole numbers above 16777216 are rounded: H_m_\n"), 1) << written.err;
    const std::string file = folder.read("mesh.glb");
    const auto number = [&file](std::size_t pos) {
        std::uint32_t value = 0;
        std::memcpy(&value, file.data() + pos, sizeof value);
        return value;
    };
    const std::size_t textLength = number(12), first = 28 + textLength;
    ASSERT_EQ(file.substr(0, 4) + file.substr(16, 4) + file.substr(first - 4, 4), std::string("glTFJSONBIN\0", 12));
    ASSERT_EQ(number(4), 2U);
    ASSERT_EQ(number(8), file.size());
    ASSERT_EQ(first + number(first - 8), file.size());
    const auto json = nlohmann::json::parse(file.substr(20, textLength));
    for (const auto& view : json["bufferViews"])
        EXPECT_EQ(view["byteOffset"].get<std::size_t>() % 4, 0U);
    const auto& attributes = json["meshes"][0]["primitives"][0]["attributes"];
    EXPECT_TRUE(attributes.contains("COLOR_0") && attributes.contains("NORMAL") && attributes.contains("_H_M_") &&
                attributes.contains("_H_M__2"));
    const auto& places = json["accessors"][attributes["POSITION"].get<std::size_t>()];
    const auto centre = json["nodes"][0]["translation"].get<std::array<double, 3>>();
    for (std::size_t axis = 0; axis < 3; ++axis) {
        EXPECT_EQ(places["min"][axis].get<double>() + centre[axis], (std::array{5000000.0, 100.0, -3.125}[axis]));
        EXPECT_EQ(places["max"][axis].get<double>() + centre[axis], (std::array{5000001.0, 101.5, -3.0}[axis]));
    }
}

#ifdef KEL_HAS_GLTF
TEST_F(ProgramTest, readsTheGlbThatItWrites) {
    makeMeshWithColumns();
    ASSERT_EQ(run("convert mesh.ply mesh.glb").status, 0);
    ASSERT_EQ(run("convert mesh.ply m.ply").status, 0);
    ASSERT_EQ(run("convert mesh.glb back.ply").status, 0);
    std::vector<Point3> vThere, vBack;
    std::vector<int> vThereIndex, vBackIndex;
    PointAttributes there, back;
    ASSERT_TRUE(readTriangles_auto(folder.path("m.ply"), vThere, vThereIndex, there));
    ASSERT_TRUE(readTriangles_auto(folder.path("back.ply"), vBack, vBackIndex, back));
    ASSERT_EQ(vThereIndex.size(), vBackIndex.size());
    ASSERT_EQ(back.vColumns.size(), 5U);
    for (std::size_t i = 0; i < vThereIndex.size(); ++i) {
        const auto a = static_cast<std::size_t>(vThereIndex[i]), b = static_cast<std::size_t>(vBackIndex[i]);
        ASSERT_LT((vThere[a] - vBack[b]).length(), 1e-6);
        for (const AttributeColumn& column : there.vColumns)
            ASSERT_EQ(column.number(a), back.find(column.name)->number(b)) << column.name;
    }
    EXPECT_EQ(run("info mesh.glb").out, run("info - <mesh.glb").out);
    EXPECT_EQ(countIn(run("info mesh.glb").out, "columns                   red, green, blue, class, height\n"), 1);
    EXPECT_EQ(run("convert mesh.glb o.xyz --quiet && " + PROGRAM + " spacing mesh.glb").status, 0);
    EXPECT_EQ(points("o.xyz").size(), vBack.size()) << "its vertices are a cloud";
    EXPECT_EQ(run("melt mesh.glb o.ply --spacing 0.1 --quiet").status, 0);
    EXPECT_EQ(run("reduce mesh.glb o.glb --ratio 0.5 --quiet").status, 0);
    folder.write("bad.glb", folder.read("mesh.glb").substr(0, 1000));
    for (const std::string command :
         {"info bad.glb", "convert bad.glb o.ply", "spacing bad.glb", "convert bad.glb bad.ply"}) {
        const Outcome outcome = run(command);
        EXPECT_TRUE(outcome.status == 1 && outcome.err.starts_with("kel: Can't read bad.glb: it is too short: it has 1000 "))
            << command << outcome.err;
    }
}
#endif

#ifdef KEL_HAS_3MF
TEST_F(ProgramTest, writesThreeMfThatSaysWhatAPlySays) {
    scan("torus --points 2000 --seed 4");
    ASSERT_EQ(run("reconstruct scan.bin mesh.ply --quiet").status, 0);
    ASSERT_EQ(run("convert mesh.ply o.3mf").status, 0);
    folder.write("p.3mf", run("convert mesh.ply - --out-format 3mf").out);
    EXPECT_TRUE(folder.read("p.3mf") == folder.read("o.3mf")) << "the same bytes";
    // The package is an archive with one model; its vertices and triangles as an OFF file.
    folder.write("off.py",
                 "import sys, zipfile, xml.etree.ElementTree as tree\n"
                 "model = tree.fromstring(zipfile.ZipFile(sys.argv[1]).read('3D/3dmodel.model'))\n"
                 "find = lambda name: [e for e in model.iter() if e.tag.endswith('}' + name)]\n"
                 "v, t = find('vertex'), find('triangle')\n"
                 "assert model.attrib['unit'] == 'millimeter' and len(find('item')) == 1\n"
                 "print('OFF\\n', len(v), len(t), 0)\n"
                 "for e in v: print(e.attrib['x'], e.attrib['y'], e.attrib['z'])\n"
                 "for e in t: print(3, e.attrib['v1'], e.attrib['v2'], e.attrib['v3'])\n");
    const auto toOff = [this](const std::string& package) {
        EXPECT_EQ(std::system(("cd '" + folder.path("") + "' && python3 off.py " + package + " >back.off").c_str()), 0);
    };
    toOff("o.3mf");
    const std::string ofPackage = run("info back.off").out, ofMesh = run("info mesh.ply").out;
    for (const std::string line : {"vertices", "triangles", "edges by degree", "Euler", "closed pieces", "the mesh is"}) {
        const std::size_t pos = ofMesh.find("\n" + line) + 1;  // of the first line -1 + 1
        EXPECT_EQ(countIn(ofPackage, ofMesh.substr(pos, ofMesh.find('\n', pos) - pos) + "\n"), 1) << line << ofPackage;
    }
    std::vector<Point3> vBack, vMesh;
    ASSERT_TRUE(readTriangles_auto(folder.path("back.off"), vBack) && readTriangles_auto(folder.path("mesh.ply"), vMesh));
    ASSERT_EQ(vBack.size(), vMesh.size());
    for (std::size_t i = 0; i < vBack.size(); ++i)
        ASSERT_LE((vBack[i] - vMesh[i]).getMaxAbsComponent(), 1.1e-6) << "the last one of six decimals";
    ASSERT_EQ(run("convert mesh.ply mesh.off --precision double").status, 0);
    const MeshPtr pFar = readMesh_auto(folder.path("mesh.off"));
    for (Point3* p : listOf<Point3*>([&](auto& v) { pFar->getPoints(v); }))
        *p = *p + Vector3(5e6, 5e6, 5e6);
    ASSERT_TRUE(writeMesh_auto(folder.path("far.ply"), pFar, false, Precision::DOUBLE));
    const Outcome moved = run("convert far.ply far.3mf");
    EXPECT_EQ(countIn(moved.err, "far.3mf is moved by -5000000 -5000000 -5000000"), 1) << moved.err;
    EXPECT_EQ(countIn(moved.err, "leaves"), 0) << "no place is lost " << moved.err;
    toOff("far.3mf");
    const std::vector<Point3> vNear = points("back.off"), vMade = points("mesh.off");
    ASSERT_EQ(vNear.size(), vMade.size());
    for (std::size_t i = 0; i < vNear.size(); ++i)
        ASSERT_LE((vNear[i] - vMade[i]).getMaxAbsComponent(), 2e-6);
    // Colours, as a group of the package that the corners of triangles refer to.
    folder.write("red.off", "COFF\n4 2 0\n0 0 0 255 0 0\n1 0 0 0 255 0\n0 1 0 0 0 254\n1 1 0 7 8 9\n3 0 1 2\n3 1 3 2\n");
    folder.write("colours.py",
                 "import sys, zipfile, xml.etree.ElementTree as tree\n"
                 "model = tree.fromstring(zipfile.ZipFile(sys.argv[1]).read('3D/3dmodel.model'))\n"
                 "find = lambda name: [e for e in model.iter() if e.tag.endswith('}' + name)]\n"
                 "group, = find('colorgroup')\n"
                 "c = [e.attrib['color'][:7] for e in group]\n"
                 "for t in find('triangle'):\n"
                 "    assert t.attrib['pid'] == group.attrib['id']\n"
                 "    print(*sorted((int(t.attrib['v%d' % k]), c[int(t.attrib['p%d' % k])]) for k in (1, 2, 3)))\n");
    const Outcome coloured = run("convert red.off red.3mf");
    EXPECT_EQ(coloured.status, 0) << coloured.err;
    EXPECT_EQ(countIn(coloured.out + coloured.err, "can't hold"), 0) << coloured.err;
    ASSERT_EQ(std::system(("cd '" + folder.path("") + "' && python3 colours.py red.3mf >colours.txt").c_str()), 0);
    EXPECT_EQ(folder.read("colours.txt"),
              "(0, '#FF0000') (1, '#00FF00') (2, '#0000FE')\n(1, '#00FF00') (2, '#0000FE') (3, '#070809')\n");
    folder.write("tiny.off", "OFF\n4 2 0\n0 0 0\n1e-7 0 0\n0 1 0\n1 1 0\n3 0 1 2\n3 1 3 2\n");
    EXPECT_EQ(countIn(run("convert tiny.off o.3mf").err, "kel: warning: Single precision with six decimals"), 1);
    std::filesystem::create_symlink("/dev/full", folder.path("full.3mf"));
    EXPECT_EQ(run("convert mesh.ply full.3mf").status, 1);
    EXPECT_EQ(run("convert o.3mf o.ply").status, 1) << "is only written";
}
#endif

TEST_F(ProgramTest, saysInItsOwnWordsWhatItLeftOut) {
    scan("sphere --points 3000 --outliers 0.01");
    const Outcome outcome = run("reconstruct scan.bin o.ply");
    EXPECT_EQ(countIn(outcome.out, "outliers left out (--keep-outliers keeps them): 30\n"), 1);
    EXPECT_EQ(outcome.err, "");
}
