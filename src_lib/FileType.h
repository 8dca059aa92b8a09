#pragma once

namespace TARN_KEL {

/// What getFileType() returns: the format of a file by its name.
enum FileType : int { FT_STL, FT_PLY, FT_ASCII, FT_BIN, FT_LIST, FT_UNKNOWN };

}  // namespace TARN_KEL
