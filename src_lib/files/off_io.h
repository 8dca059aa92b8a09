// Reader of OFF files.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

class AttributeColumns;

/// The same as readObj() for an OFF file, which has normals, too.
bool readOff(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices,
             AttributeColumns* pAttributes = nullptr);

/// How many bytes the word OFF takes at the start of a text, with what may be before it; 0 when it isn't there.
std::size_t offKeywordLength(std::string_view text);

}  // namespace TARN_KEL
