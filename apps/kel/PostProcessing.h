// What changes a mesh once it is there: each a command of its own and a step behind a reconstruction.
#pragma once

#include <kel.h>

#include <functional>
#include <string>

#include "Program.h"

/// No mesh, or one without an edge.
bool isEmpty(const TARN_KEL::MeshPtr& pMesh);

// One step of the program each, with its entry in the report. It fails when no triangle is left.

/// maxEdge: length; maxAngle: degrees. See TARN_KEL::reduce().
void reduceMesh(const TARN_KEL::MeshPtr& pMesh, double maxEdge, double maxAngle, Program& program);
/// bAnneal: the slow way, which gets out of local minima. See TARN_KEL::edgeFlips() and edgeFlipsSimA().
void flipMesh(const TARN_KEL::MeshPtr& pMesh, bool bAnneal, Program& program);
/// See TARN_KEL::laplacianSmoothing().
void smoothMesh(const TARN_KEL::MeshPtr& pMesh, int numRounds, Program& program);

/// For CLI11: a number of rounds.
extern const CLI::Range smoothRounds;

/// The two files of a command from mesh to mesh.
struct MeshFiles {
    std::string in;
    std::string out;
};
/// Adds IN and OUT to a command.
void addMeshFiles(CLI::App& command, MeshFiles& files);
/// Reads, changes and writes a mesh.
void changeMesh(const MeshFiles& files, const std::function<void(const TARN_KEL::MeshPtr&)>& change, Program& program);

inline constexpr const char* MESH_IN = "Triangles: .ply or .stl";
inline constexpr const char* POINTS_OUT = "The points: .xyz, .txt, .asc, .bin, .ply or .list (for the Geomview viewer)";
inline constexpr const char* MESH_OUT = "The mesh: .ply, .stl, .obj or .list (for the Geomview viewer)";
