#pragma once

namespace TARN_KEL {

/// Which way a component without a border is to face: outward, or as most of its triangles do.
enum class Facing { OUTWARD, AS_MOST };

}  // namespace TARN_KEL
