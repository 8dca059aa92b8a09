// progress_bar: points in memory instead of a file, a listener that hears the progress and stops a run that takes too long,
// and the triangles of the mesh.
#include <kel.h>

#include <chrono>
#include <cmath>
#include <iostream>
#include <stdexcept>

using namespace TARN_KEL;

namespace {

using Clock = std::chrono::steady_clock;

/// Prints the progress, and ends the run after a minute.
class ImpatientListener : public ProgressBase {
public:
    void update(const std::string& name, double fraction) override {
        std::cerr << "\r" << name << " " << static_cast<int>(100.0 * fraction) << "%";
        if (Clock::now() - start > std::chrono::minutes(1)) throw std::runtime_error("took too long");
    }

private:
    const Clock::time_point start = Clock::now();
};

/// A spiral from pole to pole of the unit sphere, which covers it evenly.
std::vector<Point3> spiral(int numPoints) {
    std::vector<Point3> vPoints;
    for (int i = 0; i < numPoints; ++i) {
        const double z = 1.0 - (2.0 * i + 1.0) / numPoints;
        const double r = std::sqrt(1.0 - z * z);
        const double angle = 2.39996322972865332 * i;  // the golden angle
        vPoints.emplace_back(r * std::cos(angle), r * std::sin(angle), z);
    }
    return vPoints;
}

}  // namespace

int main() {
    std::vector<Point3> vPoints = spiral(20000);
    ImpatientListener listener;
    subscribe(&listener);
    try {
        const MeshPtr pMesh = reconstruct_auto(vPoints, false, 1.1, -1);
        unsubscribe();
        if (!pMesh) return 1;
        std::vector<Point3*> vCorners;  // three per triangle, owned by the mesh
        pMesh->getTriangles(vCorners);
        std::cout << "\n" << vCorners.size() / 3 << " triangles\n";
    } catch (const std::exception& e) {
        unsubscribe();
        std::cerr << "\n" << e.what() << "\n";
        return 1;
    }
}
