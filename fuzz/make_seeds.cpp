// make_seeds FOLDER: the files that the fuzzers start from, FOLDER/READER/..., by the writers of the library where it has
// one. They are small, so that most changes to a file hit something that matters.
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "RMesh.h"
#include "kel.h"
#include "support/binary_stl.h"
#include "support/fine.h"
#ifdef KEL_GLTF_SEED
#include "support/gltf.h"
#endif
#include "support/las.h"
#include "support/pcd.h"
#include "tinyply.h"

using namespace TARN_KEL;
using namespace TARN_TEST;
namespace fs = std::filesystem;

namespace {

void demand(bool bWritten, const std::string& what) {
    if (bWritten) return;
    std::cerr << "make_seeds: can't write " << what << std::endl;
    std::exit(1);
}

class Corpus {
public:
    explicit Corpus(fs::path folder_) : folder(std::move(folder_)) {}

    /// The place of a new seed. Readers of one format share seeds: see copy().
    std::string path(const std::string& reader, const std::string& name) const {
        fs::create_directories(folder / reader);
        return (folder / reader / name).string();
    }
    void copy(const std::string& reader, const std::string& toReader) const {
        fs::copy(folder / reader, folder / toReader, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    }

private:
    fs::path folder;
};

void makePoints(const Corpus& corpus) {
    std::vector<Point3> vPoints{{0, 0, 0}, {1.5, -2, 1e-3}, {1e7, 1.0 / 3.0, 5}, {-1e-300, 12345678, 0.1}};
    const auto write = [&](const std::string& reader, const std::string& name, bool bAscii) {
        std::string path = corpus.path(reader, name);
        demand(writePoints_auto(path, vPoints, bAscii), path);
    };
    write("points_ascii", "points.xyz", true);
    write("points_bin", "points.bin", false);
    write("ply_points", "points_text.ply", true);
    write("ply_points", "points_binary.ply", false);
    PointAttributes attributes;
    attributes.vColumns = {{"red", std::vector<std::uint8_t>{0, 9, 200, 255}, {}},
                           {"i", std::vector<std::int16_t>{-1, 0, 7, 1000}, {}},
                           {"nx", std::vector<float>{0, 1, -0.5F, 1e-9F}, {}},
                           {"d", std::vector<double>{0, 1, -0.5, 1e300}, {}}};
    for (const bool bAscii : {true, false}) {
        std::string name = corpus.path("ply_points", bAscii ? "columns_text.ply" : "columns_binary.ply");
        demand(writePoints_auto(name, vPoints, bAscii, Precision::DOUBLE, attributes), name);
    }
    const std::string path = corpus.path("points_ascii", "points_exact.xyz");
    demand(writePoints_ASCII(path.c_str(), vPoints, 17), path);
}

void makeSeed(const Corpus& corpus, const std::string& reader, const std::string& name, const std::string& bytes) {
    const std::string path = corpus.path(reader, name);
    std::ofstream out(path, std::ios_base::binary);
    out << bytes;
    demand(!out.flush().fail(), path);
}

void makeLas(const Corpus& corpus) {
    const std::vector<Point3> vPoints{{0, 0, 0}, {1.5, -2, 4}, {1e6, 0.25, 5}};
    for (const LasShape& shape :
         {LasShape{0, 0, 0, 0}, LasShape{2, 3, 0, 54}, LasShape{3, 5, 2, 0}, LasShape{4, 6, 0, 60}}) {
        const std::string name = std::to_string(shape.minor) + "_" + std::to_string(shape.format) + ".las";
        makeSeed(corpus, "points_las", name, lasFile(vPoints, shape));
    }
}

void makePcd(const Corpus& corpus) {
    const std::vector<Point3> vPoints{{0, 0, 0}, {1.5, -2, 4}, {100, 0.25, 5}, {1.5, -2, 4}};
    const PcdFields more{{"rgb", 'U'}, {"z", 'I', 2}, {"y", 'F', 8}, {"_", 'U', 1, 3}, {"x", 'U', 1}};
    for (const char* encoding : {"ascii", "binary", "binary_compressed"}) {
        makeSeed(corpus, "points_pcd", std::string(encoding) + ".pcd", pcdFile(vPoints, encoding));
        makeSeed(corpus, "points_pcd", std::string(encoding) + "_more.pcd", pcdFile(vPoints, encoding, more));
    }
}

void makePointTexts(const Corpus& corpus) {
    const std::string block = "2\n1 2 3 0.5 255 0 0\n-4e1 0.5 6 1 0 0 0\n";
    makeSeed(corpus, "points_ascii", "columns.xyz", "1 2 3 255 0 7\n4 5 6 1 2 3\n");
    makeSeed(corpus, "points_pts", "blocks.pts", block + block);
    const std::string scan = "1\n2\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n1 0 0 0\n0 1 0 0\n0 0 1 0\n5 6 7 1\n0 0 0 0\n1 2 3 0.5\n";
    makeSeed(corpus, "points_ptx", "scans.ptx", scan + scan);
    makeSeed(corpus, "points_csv", "commas.csv", "x,y,z,name\n1,2,3,a\n4,nan,6,\"b, c\"\n");
    makeSeed(corpus, "points_csv", "columns.csv", "x,y,z,r,g,b,label,q\n1,2,3,4,5,6,7,0.5\n1,2,3,,,,x\n");
    makeSeed(corpus, "points_csv", "semicolons.csv", "\"Z\";\"Y\";\"X\"\r\n1;2.5;-3\r\n4;5;6\r\n");
}

#ifdef KEL_GLTF_SEED
/// With everything that the reader looks at.
void makeGltf(const Corpus& corpus) {
    GltfBuilder file;
    const int places = file.add<float>({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0}, 3),
              indices = file.add<std::uint16_t>({0, 1, 2, 3}, 1);
    const int colours = file.add<std::uint8_t>({255, 0, 0, 255, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, 4, true);
    const int heights = file.add<float>({1, 2, 3, 4}, 1);
    file.addMesh({{"attributes", {{"POSITION", places}, {"COLOR_0", colours}, {"NORMAL", places}, {"_HEIGHT", heights}}},
                  {"indices", indices},
                  {"mode", 5}});
    file.addMesh({{"attributes", {{"POSITION", places}}}, {"mode", 0}});
    file.addNode({{"mesh", 0}, {"rotation", {0, 0, 1, 0}}, {"scale", {1, 2, -3}}, {"children", {1}}});
    file.addNode({{"mesh", 1}, {"translation", {1, 2, 3}}});
    file.json["scenes"] = {{{"nodes", {0}}}};
    makeSeed(corpus, "gltf", "strip.glb", file.glb());
}
#endif

void makeMesh(const Corpus& corpus, const std::string& name, const Soup& soup) {
    const MeshPtr pMesh = meshOf(soup);
    const auto write = [&](const std::string& reader, const std::string& ending, bool bAscii) {
        const std::string path = corpus.path(reader, name + ending);
        demand(writeMesh_auto(path, pMesh, bAscii), path);
    };
    write("stl", ".stl", true);
    write("ply_mesh", "_text.ply", true);
    write("ply_mesh", "_binary.ply", false);
    demand(toObj(pMesh, corpus.path("obj", name + ".obj"), Precision::DOUBLE), name + ".obj");
    demand(toOff(pMesh, corpus.path("off", name + ".off"), Precision::DOUBLE), name + ".off");
    for (const char* header : {"", "solid"})
        makeSeed(corpus, "stl", name + header + "_binary.stl", binaryStl(cornersOf(soup), header));
}

/// The same as texts.
void makeForeignTexts(const Corpus& corpus) {
    makeSeed(corpus, "obj", "foreign.obj",
             "# pyramid\nmtllib p.mtl\nv 0 0 0\nv 1 0 0 1.0\nv 1 1 0 0.5 0.5 1\nv 0 1 0\nvn 0 0 1\nv .5 .5 1e0\n"
             "f 4//1 3//1 2//1 1//1\ng sides\nf -5/1 -4/2/3 5\nf 2 \\\n3 5 # continued\nf 3 4 5\nf 4 1 5\n");
    makeSeed(corpus, "off", "foreign.off",
             "# pyramid\nCNOFF # counts\n5 5 8\n0 0 0 0 0 1 255 0 0 1\n1 0 0\n1 1 0\n\n0 1 0\n.5 .5 1e0\n"
             "4 3 2 1 0 0.5 0.5 1\n3 0 1 4\n3 1 2 4 # second\n3 2 3 4\n3 3 0 4\n");
}

/// A square pyramid as other programs write one: comments, doubles, colours, a square and triangles, short indices.
void makeForeignPly(const Corpus& corpus, const std::string& format) {
    struct Xyz {
        double x, y, z;
    };
    std::vector<Xyz> vVertex{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0.5, 0.5, 1}};
    std::vector<std::uint8_t> vRed{0, 64, 128, 192, 255};
    std::vector<std::int16_t> vSquare{3, 2, 1, 0};
    PLY::PlyFile file;
    std::istringstream header("ply\nformat " + format + " 1.0\ncomment pyramid\nobj_info from nowhere\nend_header\n");
    demand(file.parse_header(header), "the header of a PLY");
    file.add_properties_to_element("vertex", {"x", "y", "z"}, PLY::Type::FLOAT64, vVertex.size(),
                                   reinterpret_cast<std::uint8_t*>(vVertex.data()), PLY::Type::INVALID, 0);
    file.add_properties_to_element("vertex", {"red"}, PLY::Type::UINT8, vRed.size(), vRed.data(), PLY::Type::INVALID, 0);
    file.add_properties_to_element("face", {"vertex_index"}, PLY::Type::INT16, 1,
                                   reinterpret_cast<std::uint8_t*>(vSquare.data()), PLY::Type::INT32, 4);
    const std::string path = corpus.path("ply_mesh", "foreign_" + format + ".ply");
    std::ofstream out(path, std::ios_base::binary);
    file.write(out, format != "ascii");
    demand(!out.flush().fail(), path);
}

/// The same text with the line ends of another system.
void makeForeignLineEnds(const Corpus& corpus, const std::string& reader, const std::string& name) {
    std::ifstream in(corpus.path(reader, name), std::ios_base::binary);
    const std::string path = corpus.path(reader, "crlf_" + name);
    std::ofstream out(path, std::ios_base::binary);
    for (std::string line; std::getline(in, line);)
        out << line << "\r\n";
    demand(!out.flush().fail(), path);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "make_seeds FOLDER" << std::endl;
        return 1;
    }
    const Corpus corpus(argv[1]);
    makePoints(corpus);
    makeLas(corpus);
    makePcd(corpus);
    makePointTexts(corpus);
#ifdef KEL_GLTF_SEED
    makeGltf(corpus);
#endif
    makeMesh(corpus, "closed", tetrahedron());
    makeMesh(corpus, "sheet", sheet(3, 2));
    makeMesh(corpus, "torus", torus(5, 4));
    for (const char* format : {"ascii", "binary_little_endian", "binary_big_endian"})
        makeForeignPly(corpus, format);
    makeForeignTexts(corpus);
    makeForeignLineEnds(corpus, "points_ascii", "points.xyz");
    makeForeignLineEnds(corpus, "ply_mesh", "foreign_ascii.ply");
    makeForeignLineEnds(corpus, "stl", "closed.stl");
    corpus.copy("ply_mesh", "ply_points");
    corpus.copy("ply_mesh", "mesh_ply");
    corpus.copy("stl", "mesh_stl");
    corpus.copy("obj", "mesh_obj");
    corpus.copy("off", "mesh_off");
    return 0;
}
