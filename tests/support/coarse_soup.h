// A coarse mesh of a soup.
#pragma once

#include "support/coarse.h"
#include "support/fine.h"
#include "support/names.h"

namespace TARN_TEST {

/// Vertex i is the cell (i % 1000, i / 1000 % 1000, 1 + i / 1000000), where its point needn't lie.
class CoarsePlaces : public CoarseWorld {
public:
    explicit CoarsePlaces(const Soup& soup) {
        for (std::size_t i = 0; i < soup.vVtx.size(); ++i)
            put(code(static_cast<int>(i)), soup.vVtx[i]);
        for (const auto& t : soup.vT)
            vT.push_back(triangle(code(t[0]), code(t[1]), code(t[2])));
    }
    static VCD code(int i) {
        const auto n = static_cast<unsigned>(i);
        return cell(n % 1000, n / 1000 % 1000, 1 + n / 1000000);
    }
    Point3& vtx(int i) { return *mesh.getVtx(code(i)); }
    CEdge* edge(int i, int j) const { return mesh.getEdge(code(i), code(j)); }

    std::vector<CTriangle*> vT;
};

}  // namespace TARN_TEST
