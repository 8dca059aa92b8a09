// The operations that change a mesh. Each is a command of its own and a step after a reconstruction.
#pragma once

#include <kel.h>

#include <functional>
#include <string>

#include "CarriedColumns.h"
#include "Program.h"

/// Whether there is no mesh, or one without an edge.
bool isEmpty(const TARN_KEL::MeshPtr& pMesh);

// Each of these is one step of the program, with its entry in the report. They fail when no triangle is left.

/// maxEdge: length; maxAngle: degrees. See TARN_KEL::reduce().
void reduceMesh(const TARN_KEL::MeshPtr& pMesh, double maxEdge, double maxAngle, const TARN_KEL::KeepOptions& keep,
                Program& program);
/// See TARN_KEL::reduce() with options. Prints how many triangles are left, and the distance that was proved.
void reduceMesh(const TARN_KEL::MeshPtr& pMesh, const TARN_KEL::ReduceOptions& options, Program& program);
/// bAnneal: the slow way, which can escape from local minima. See TARN_KEL::edgeFlips() and edgeFlipsSimA().
void flipMesh(const TARN_KEL::MeshPtr& pMesh, bool bAnneal, const TARN_KEL::KeepOptions& keep, Program& program);
/// See TARN_KEL::laplacianSmoothing().
void smoothMesh(const TARN_KEL::MeshPtr& pMesh, int numRounds, const TARN_KEL::KeepOptions& keep, Program& program);
/// See TARN_KEL::smooth().
void smoothMesh(const TARN_KEL::MeshPtr& pMesh, const TARN_KEL::SmoothOptions& options, Program& program);

/// See TARN_KEL::makeManifold(). Prints what was done, if anything.
void makeMeshManifold(const TARN_KEL::MeshPtr& pMesh, bool bNoCrossings, Program& program);
/// Reports what made a mesh manifold, and prints it, if anything.
void noteManifold(const TARN_KEL::ManifoldReport& done, Program& program);
/// See TARN_KEL::removeSelfIntersections(). Prints how many are left.
void uncrossMesh(const TARN_KEL::MeshPtr& pMesh, Program& program);
/// Reports what a fit to points did, and prints it, if anything.
void noteFit(const TARN_KEL::FitReport& done, Program& program);
/// See TARN_KEL::fillHoles(). Prints how many holes were closed.
void fillMesh(const TARN_KEL::MeshPtr& pMesh, int maxEdges, const TARN_KEL::KeepOptions& keep, Program& program);

/// For CLI11: a number of rounds.
extern const CLI::Range smoothRounds;

/// For CLI11: a number of border edges of a hole.
extern const CLI::Range holeEdges;

inline constexpr const char* RAW_TEXT = "Allow edges of three and more triangles, and whatever else isn't manifold";
inline constexpr const char* MESH_IN = "Triangles: .ply, .stl, .obj, .off, .glb or .gltf";
inline constexpr const char* POINTS_OUT =
    "The points: .xyz, .txt, .asc, .bin, .las, .ply or .list (for the Geomview viewer)";
inline constexpr const char* MESH_OUT =
    "The mesh: .ply, .stl, .obj, .off, .glb, .3mf (for printers) or .list (for the Geomview viewer)";

/// The two files of a command that reads triangles.
struct MeshFiles {
    std::string in;
    std::string out;
};
/// Adds IN and OUT to a command.
void addMeshFiles(CLI::App& command, Program& program, MeshFiles& files, const char* outText = MESH_OUT);

/// Options of all commands that change a mesh.
struct MeshChange {
    MeshFiles files;
    bool bRaw = false;  ///< the mesh may be non-manifold
    bool bNoCrossings = false;
    bool bAttributes = true;  ///< what the vertices carry is kept
    bool bMerges = false;     ///< a vertex of the changed mesh stands for several

    TARN_KEL::KeepOptions keep() const { return {!bRaw, bNoCrossings}; }
};
/// Adds IN, OUT, --raw, --no-attributes and --no-crossings to a command; the last one not where the command always does
/// without crossings.
void addMeshChange(CLI::App& command, Program& program, MeshChange& change, bool bOfferNoCrossings = true);
/// Adds --raw.
void addRawOption(CLI::App& command, bool& bRaw);
/// --pinholes and --close. Returns the first one.
CLI::Option* addHoleOptions(CLI::App& command, int& maxPinholeEdges, int& maxHoleEdges);
/// Adds --no-crossings.
CLI::Option* addNoCrossingsOption(CLI::App& command, bool& bNoCrossings);
/// Reads a mesh, makes it manifold unless bRaw is set, changes and writes it, with what its vertices carry. pElse: what is
/// carried over if they carry nothing; may be null.
void changeMesh(const MeshChange& change, const std::function<void(const TARN_KEL::MeshPtr&)>& work, Program& program,
                const CarriedColumns* pElse = nullptr);

/// Adds a flag that switches a step off.
void addSwitch(CLI::App& command, const std::string& name, bool& bStep, const std::string& text);
