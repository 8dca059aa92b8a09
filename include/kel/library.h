// The library as a whole: its threads and its version.
#pragma once

namespace TARN_KEL {

/// Sets how many threads of its pool the library uses, in the whole process. No result depends on the number.
///
/// It takes effect for phases that start afterwards, also those of a run that is in progress. It may be called while other
/// threads run, but not by a listener or a message sink.
///
/// @param numThreads  at most 1024 are used; 0 or less, which is the default: one per processor of the machine
void setNumThreads(int numThreads);

/// The version of the library that is linked.
///
/// @param[out] major  set to the major version
/// @param[out] minor  set to the minor version; another minor version may have another interface
void getVersion(int& major, int& minor);

/// Prints "KEL, version " and the version on standard output.
void printVersion();

/// True for a released library, as all are.
bool isRelease();

}  // namespace TARN_KEL
