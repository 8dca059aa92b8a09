// The picture of a fine mesh.
#include "REdge.h"
#include "RMesh.h"
#include "Visualizer3.h"
#include "tools.h"

namespace TARN_KEL {

void RMesh::show(Visualizer3* pVisualizer, const std::string& color, bool bNormals, bool bBackfaces) const {
    ASSEX(pVisualizer!=NULL);
    pVisualizer->setBackfaces(bBackfaces);
    std::vector<RTriangle*> vAlive;
    getAliveTriangles(vAlive);
    pVisualizer->writeTriangles(vAlive, color, bNormals);

    std::vector<REdge*> vAliveRE;
    getDegN(-99, vAliveRE);
    pVisualizer->writeDegrees(vAliveRE);
}

}  // namespace TARN_KEL
