// A segment with a direction.
#include "Segment3.h"

#include <utility>

namespace TARN_KEL {

void Segment3::swapSrcTrg() {
    std::swap(source, target);
}

double Segment3::getSqLen25D() const {
    return (target - source).sqLength();
}

bool Segment3::operator==(const Segment3& other) const {
    return (source == other.source && target == other.target) || (source == other.target && target == other.source);
}

}  // namespace TARN_KEL
