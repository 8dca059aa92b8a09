// Which format a file has: by its first bytes where these tell, else by its extension.
#pragma once

#include <string>
#include <string_view>

#include "kel.h"

namespace TARN_KEL {

/// How the files of a format are read and written.
struct FileFormat {
    std::string_view extension;  ///< with its point, in small letters
    FileType type;               ///< of writers, and of the readers that go by the extension alone
    PointFormat points;
    MeshFormat triangles;
};

/// Whether a name ends with an extension: in small letters, as given, in capitals, or with a capital behind the point. Other
/// spellings, such as ".pLy", aren't recognised.
bool hasExtension(std::string_view filename, std::string_view extension);

/// The format that the name of a file stands for; one without anything when there is none.
const FileFormat& formatByName(std::string_view filename);
/// The format that the content of a regular file shows; null where none is certain. Reading the start of a FIFO would
/// consume it, so it shows nothing.
const FileFormat* formatByContent(const std::string& filename);
/// The one by the content if that shows one, else by the name.
const FileFormat& formatOf(const std::string& filename);

/// Whether the file of a mesh with that name has room for a column of its vertices: a PLY for any, an OBJ and an OFF for
/// colours and normals, others for none.
bool meshFileHolds(std::string_view filename, AttributeKind kind);

/// Prints a message when the name of a file stands for another format than its content shows. place: who says so.
void warnOfWrongName(const char* place, const std::string& filename);

/// What to do with an E57 file, which isn't read: a predicate.
inline constexpr const char* E57_REFUSED =
    "is an E57 file, which can't be read: convert it to an uncompressed .las or to .ply first";
/// Whether a file is one: by its first bytes, or by its name where they show no other format.
bool isE57(const std::string& filename);

}  // namespace TARN_KEL
