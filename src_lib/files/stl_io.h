// Readers of STL files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

/// Does the work of readSTL_ASCII(); with bStrict that of readTriangles_auto(). Then words of a text may have capitals, its
/// lines end with '\n' or '\r', a loop that doesn't have three corners, or has no end, makes a bad file, and there is a
/// warning for a solid without its end.
bool readStl(const std::string& filename, bool bStrict, std::vector<Point3>& vPoints);

inline constexpr std::size_t STL_HEADER = 84;  ///< bytes of a binary file, with its count

/// Whether a file is a binary one by its first bytes, STL_HEADER of them or more, and its length. Conclusive when true.
bool isBinaryStl(std::string_view start, std::uint64_t fileLength);

/// Whether a file is a text by its first bytes.
bool isTextStl(std::string_view start);

}  // namespace TARN_KEL
