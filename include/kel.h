/// @mainpage KEL: surface reconstruction from unordered points
///
/// The header kel.h includes the whole public interface. A caller hands over points and gets a triangle mesh:
///
///     std::vector<TARN_KEL::Point3> vPoints;                       // any order, no normals
///     TARN_KEL::readPointFile(filename, vPoints);
///     TARN_KEL::MeshPtr pMesh = TARN_KEL::reconstruct(vPoints);
///     if (pMesh) TARN_KEL::writeMesh_auto("mesh.ply", pMesh, false);
///
/// Units: coordinates and lengths are doubles in the caller's own unit, angles are degrees.
///
/// Threads: each call runs on the caller's thread and uses all processors, or as many as setNumThreads() says, through one
/// worker pool of the library. Calls from several threads at once are independent, but a Mesh belongs to one thread at a
/// time. There is nothing to initialise.
///
/// Messages: the library prints on standard output; a few places that say so print on standard error. setMessageSink() sends
/// both elsewhere.
///
/// Failure: input that yields nothing gives a null MeshPtr, an empty result or -1.0, and a warning. Wrong use and violated
/// internal conditions print a report and throw KelBugException. File functions print a line and return false. Exceptions of
/// the caller's progress listener pass through; a stop flag ends a run by KelStoppedException. In every case the memory of
/// the run is freed, and the next run on the thread starts afresh.
#pragma once

#include <kel/attributes.h>
#include <kel/errors.h>
#include <kel/files.h>
#include <kel/fit.h>
#include <kel/library.h>
#include <kel/melt.h>
#include <kel/mesh.h>
#include <kel/messages.h>
#include <kel/options.h>
#include <kel/points.h>
#include <kel/process.h>
#include <kel/progress.h>
#include <kel/reconstruct.h>
#include <kel/simplify.h>
