// Point and mesh files in bytes per second, written to and read from the page cache; one processor.
//
// CopyFile, the yardstick, copies a file through a buffer. The folder is KEL_BENCH_DIR, by default /dev/shm, where no disk
// is involved.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "RMesh.h"
#include "kel.h"
#include "support/binary_stl.h"
#include "support/las.h"
#include "support/pcd.h"
#include "tinyply.h"
#ifdef KEL_HAS_GLTF
#include "GlbFile.h"
#include "GltfFile.h"
#endif

using TARN_KEL::Point3;

namespace {

std::string pathOf(const std::string& name) {
    const char* folder = std::getenv("KEL_BENCH_DIR");
    return std::string(folder != nullptr ? folder : "/dev/shm") + "/kel-bench-" + std::to_string(::getpid()) + '-' + name;
}

/// Points with all their digits.
std::vector<Point3> randomPoints(std::int64_t num) {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> spread(-100, 100);
    std::vector<Point3> vPoints;
    for (std::int64_t i = 0; i < num; ++i)
        vPoints.emplace_back(spread(random), spread(random), spread(random));
    return vPoints;
}

/// A sheet of about that many triangles.
void fillSheet(TARN_KEL::RMesh& rMesh, std::int64_t numTriangles) {
    const int side = static_cast<int>(std::sqrt(static_cast<double>(numTriangles) / 2));
    std::vector<Point3*> vVtx;
    for (int y = 0; y <= side; ++y)
        for (int x = 0; x <= side; ++x)
            vVtx.push_back(rMesh.createVertex(x * 0.1, y * 0.1, std::sin(x * 0.05), true));
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            Point3** const p = &vVtx[static_cast<std::size_t>(y * (side + 1) + x)];
            rMesh.createT(p[0], p[1], p[side + 1]);
            rMesh.createT(p[1], p[side + 2], p[side + 1]);
        }
    }
}

/// No lines of the library in the table while it lives.
struct Quiet {
    Quiet() { std::cout.setstate(std::ios_base::failbit); }
    ~Quiet() { std::cout.clear(); }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;
};

/// Times call() on the file, counts the bytes of the file, and removes it at the end.
template <typename Call>
void run(benchmark::State& state, const std::string& file, Call&& call) {
    const Quiet quiet;
    bool bOK = true;
    for (auto _ : state)
        bOK = call() && bOK;
    if (!bOK) state.SkipWithError("failed");
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(std::filesystem::file_size(file)));
    std::filesystem::remove(file);
}

void CopyFile(benchmark::State& state) {
    const std::string from = pathOf("from"), to = pathOf("to");
    std::ofstream(from) << std::string(static_cast<std::size_t>(state.range(0)) * 24, 'x');
    std::vector<char> buffer(1 << 18);
    run(state, from, [&] {
        std::ifstream in(from);
        std::ofstream out(to);
        while (in.read(buffer.data(), static_cast<std::streamsize>(buffer.size())) || in.gcount() > 0)
            out.write(buffer.data(), in.gcount());
        return static_cast<bool>(out.flush());
    });
    std::filesystem::remove(to);
}

template <typename Write>
void writePoints(benchmark::State& state, Write&& write) {
    std::vector<Point3> vPoints = randomPoints(state.range(0));
    const std::string file = pathOf("points");
    run(state, file, [&] { return write(file, vPoints); });
}

template <typename Write, typename Read>
void readPoints(benchmark::State& state, Write&& write, Read&& read) {
    std::vector<Point3> vPoints = randomPoints(state.range(0));
    const std::string file = pathOf("points");
    {
        const Quiet quiet;
        write(file, vPoints);
    }
    run(state, file, [&] {
        vPoints.clear();
        return read(file.c_str(), vPoints);
    });
}

constexpr auto WRITE_BIN = [](const std::string& file, std::vector<Point3>& v) {
    return TARN_KEL::writePoints_BIN(file.c_str(), v);
};
constexpr auto WRITE_TEXT = [](const std::string& file, const std::vector<Point3>& v) {
    return TARN_KEL::writePoints_ASCII(file.c_str(), v, 17);
};
constexpr auto WRITE_PLY = [](const std::string& file, std::vector<Point3>& v) {
    return TARN_KEL::writePointsPly(file, v, false);
};
constexpr auto WRITE_PLY_TEXT = [](const std::string& file, std::vector<Point3>& v) {
    return TARN_KEL::writePointsPly(file, v, true);
};
constexpr auto READ_PLY = [](const char* file, std::vector<Point3>& v) { return TARN_KEL::readPly(file, true, v); };
constexpr auto READ_SOUP = [](const char* file, std::vector<Point3>& v) { return TARN_KEL::readPly(file, false, v); };

bool writeBytes(const std::string& name, const std::string& bytes) {
    return static_cast<bool>(std::ofstream(name, std::ios_base::binary) << bytes << std::flush);
}
/// Point format 3: with intensity, class, time and colour.
constexpr auto WRITE_LAS = [](const std::string& file, std::vector<Point3>& v) {
    return writeBytes(file, TARN_TEST::lasFile(v, {2, 3, 0, 0, {1e-3, 1e-3, 1e-3}, {0, 0, 0}}));
};
constexpr auto WRITE_PCD = [](const std::string& file, std::vector<Point3>& v) {
    return writeBytes(file, TARN_TEST::pcdFile(v, "binary", {{"x"}, {"y"}, {"z"}, {"intensity"}, {"ring", 'U', 2}}));
};
constexpr auto READ_LAS = [](const char* file, std::vector<Point3>& v) { return TARN_KEL::readPoints_LAS(file, v); };
/// With what the points carry.
constexpr auto READ_ALL = [](const char* file, std::vector<Point3>& v) {
    TARN_KEL::PointAttributes attributes;
    return TARN_KEL::readPointFile(file, v, attributes);
};

/// Doubles with a normal and a colour that the reader has to pass over.
bool writeScan(const std::string& name, std::vector<Point3>& v) {
    std::vector<double> vNormal(3 * v.size(), 0.5);
    std::vector<std::uint8_t> vColour(3 * v.size(), 100);
    PLY::PlyFile file;
    file.add_properties_to_element("vertex", {"x", "y", "z"}, PLY::Type::FLOAT64, v.size(),
                                   reinterpret_cast<std::uint8_t*>(v.data()), PLY::Type::INVALID, 0);
    file.add_properties_to_element("vertex", {"nx", "ny", "nz"}, PLY::Type::FLOAT64, v.size(),
                                   reinterpret_cast<std::uint8_t*>(vNormal.data()), PLY::Type::INVALID, 0);
    file.add_properties_to_element("vertex", {"r", "g", "b"}, PLY::Type::UINT8, v.size(), vColour.data(), PLY::Type::INVALID,
                                   0);
    std::ofstream out(name);
    file.write(out, true);
    return static_cast<bool>(out.flush());
}

/// Text with an intensity and a colour behind each place, in the format of the extension. head: what is before the points.
void readText(benchmark::State& state, const std::string& extension, const std::string& head, char separator) {
    const std::string file = pathOf("points") + extension;
    {
        std::ofstream out(file);
        out << head;
        std::size_t i = 0;
        for (const Point3& p : randomPoints(state.range(0))) {
            for (const double value : {p.x(), p.y(), p.z(), static_cast<double>(++i % 4096), static_cast<double>(i % 256)})
                out << value << separator;
            out << i % 255 << separator << i % 254 << '\n';
        }
    }
    std::vector<Point3> vPoints;
    run(state, file, [&] {
        vPoints.clear();
        return READ_ALL(file.c_str(), vPoints);
    });
}
void readScan(benchmark::State& state) {
    readText(state, ".ptx",
             std::to_string(state.range(0)) + "\n1\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0 1\n", ' ');
}

constexpr auto MESH_PLY = [](TARN_KEL::RMesh* p, const std::string& file) { return PLY::writePly(p, file, false); };
constexpr auto MESH_PLY_TEXT = [](TARN_KEL::RMesh* p, const std::string& file) { return PLY::writePly(p, file, true); };
constexpr auto MESH_STL_TEXT = [](TARN_KEL::RMesh* p, const std::string& file) { return TARN_KEL::writeSTL(p, file); };
constexpr auto MESH_LIST = [](TARN_KEL::RMesh* p, const std::string& file) { return TARN_KEL::writeList(p, file, true); };
/// The library reads it only.
bool writeStl(TARN_KEL::RMesh* pRMesh, const std::string& file) {
    std::vector<Point3> vCorners;
    pRMesh->getTriangleCorners(vCorners);
    return static_cast<bool>(std::ofstream(file) << TARN_TEST::binaryStl(vCorners) << std::flush);
}

template <typename Write>
void writeMesh(benchmark::State& state, Write&& write) {
    TARN_KEL::RMesh rMesh(0.1);
    fillSheet(rMesh, state.range(0));
    const std::string file = pathOf("mesh");
    run(state, file, [&] { return write(&rMesh, file); });
}

template <typename Write, typename Read>
void readMesh(benchmark::State& state, Write&& write, Read&& read) {
    TARN_KEL::RMesh rMesh(0.1);
    fillSheet(rMesh, state.range(0));
    const std::string file = pathOf("mesh");
    write(&rMesh, file);
    std::vector<Point3> vPoints;
    run(state, file, [&] {
        vPoints.clear();
        return read(file.c_str(), vPoints);
    });
}

constexpr auto MESH_OBJ = [](const TARN_KEL::MeshPtr& pMesh, const std::string& file) {
    return TARN_KEL::toObj(pMesh, file, TARN_KEL::Precision::FLOAT);
};
constexpr auto MESH_OFF = [](const TARN_KEL::MeshPtr& pMesh, const std::string& file) {
    return TARN_KEL::toOff(pMesh, file, TARN_KEL::Precision::FLOAT);
};
constexpr auto READ_CORNERS = [](const std::string& file, std::vector<Point3>& vCorners) {
    return TARN_KEL::readTriangles_auto(file, vCorners);
};
#ifdef KEL_HAS_GLTF
constexpr auto MESH_GLB = [](const TARN_KEL::MeshPtr& pMesh, const std::string& file) {
    return writeGlb(file, pMesh, {}, {});
};
constexpr auto READ_GLB = [](const std::string& file, std::vector<Point3>& vVertices) {
    vVertices = readGltf(file).vVertices;
    return !vVertices.empty();
};
#endif
/// A mesh in the format of the extension.
template <typename Write, typename Read>
void readNumberedMesh(benchmark::State& state, const std::string& extension, Write&& write, Read&& read) {
    auto pRMesh = std::make_unique<TARN_KEL::RMesh>(0.1);
    fillSheet(*pRMesh, state.range(0));
    const std::string file = pathOf("mesh") + extension;
    {
        const Quiet quiet;
        write(std::make_shared<TARN_KEL::Mesh>(pRMesh.release()), file);
    }
    std::vector<Point3> vCorners;
    run(state, file, [&] {
        vCorners.clear();
        return read(file, vCorners);
    });
}

}  // namespace

#define KEL_SIZES Arg(20000)->Arg(200000)->Arg(2000000)->Unit(benchmark::kMillisecond)
BENCHMARK(CopyFile)->KEL_SIZES;
BENCHMARK_CAPTURE(writePoints, bin, WRITE_BIN)->KEL_SIZES;
BENCHMARK_CAPTURE(readPoints, bin, WRITE_BIN, TARN_KEL::readPoints_BIN)->KEL_SIZES;
BENCHMARK_CAPTURE(writePoints, text, WRITE_TEXT)->KEL_SIZES;
BENCHMARK_CAPTURE(readPoints, text, WRITE_TEXT, TARN_KEL::readPoints_ASCII)->KEL_SIZES;
BENCHMARK_CAPTURE(writePoints, ply, WRITE_PLY)->KEL_SIZES;
BENCHMARK_CAPTURE(readPoints, ply, WRITE_PLY, READ_PLY)->KEL_SIZES;
BENCHMARK_CAPTURE(readPoints, ply_scan, writeScan, READ_PLY)->KEL_SIZES;
BENCHMARK_CAPTURE(writePoints, ply_text, WRITE_PLY_TEXT)->KEL_SIZES;
BENCHMARK_CAPTURE(readPoints, ply_text, WRITE_PLY_TEXT, READ_PLY)->KEL_SIZES;
BENCHMARK_CAPTURE(readPoints, las, WRITE_LAS, READ_LAS)->KEL_SIZES;
BENCHMARK_CAPTURE(readPoints, las_attributes, WRITE_LAS, READ_ALL)->KEL_SIZES;
BENCHMARK_CAPTURE(readPoints, pcd, WRITE_PCD, TARN_KEL::readPoints_PCD)->KEL_SIZES;
BENCHMARK_CAPTURE(readPoints, pcd_attributes, WRITE_PCD, READ_ALL)->KEL_SIZES;
BENCHMARK_CAPTURE(readText, pts, ".pts", "", ' ')->KEL_SIZES;
BENCHMARK_CAPTURE(readText, csv, ".csv", "x,y,z,intensity,red,green,blue\n", ',')->KEL_SIZES;
BENCHMARK(readScan)->KEL_SIZES;
BENCHMARK_CAPTURE(readNumberedMesh, obj, ".obj", MESH_OBJ, READ_CORNERS)->KEL_SIZES;
BENCHMARK_CAPTURE(readNumberedMesh, off, ".off", MESH_OFF, READ_CORNERS)->KEL_SIZES;
#ifdef KEL_HAS_GLTF
BENCHMARK_CAPTURE(readNumberedMesh, glb, ".glb", MESH_GLB, READ_GLB)->KEL_SIZES;
#endif
BENCHMARK_CAPTURE(writeMesh, ply, MESH_PLY)->KEL_SIZES;
BENCHMARK_CAPTURE(readMesh, ply, MESH_PLY, READ_SOUP)->KEL_SIZES;
BENCHMARK_CAPTURE(writeMesh, ply_text, MESH_PLY_TEXT)->KEL_SIZES;
BENCHMARK_CAPTURE(readMesh, ply_text, MESH_PLY_TEXT, READ_SOUP)->KEL_SIZES;
BENCHMARK_CAPTURE(readMesh, stl, writeStl, TARN_KEL::readSTL_ASCII)->KEL_SIZES;
BENCHMARK_CAPTURE(writeMesh, stl_text, MESH_STL_TEXT)->KEL_SIZES;
BENCHMARK_CAPTURE(readMesh, stl_text, MESH_STL_TEXT, TARN_KEL::readSTL_ASCII)->KEL_SIZES;
BENCHMARK_CAPTURE(writeMesh, list, MESH_LIST)->KEL_SIZES;
