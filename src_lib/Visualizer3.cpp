// The text of a drawing. An OOGL list is "LIST", then objects in braces, each with an appearance of its own:
//
//     OFF   faces. Head: vertices, faces, 0. Then the vertices, then the faces with their corners' indices and a colour.
//     VECT  lines, of one vertex each for dots. Head: lines, vertices, colours. Then the number of vertices of each line,
//           then the number of colours of each line (1 for the first, 0 for the others, which take over the last colour),
//           then the vertices, then the colour.
//
// The faces of an object don't share vertices, so nothing has to be looked up, and each list of corners is written in its
// order. Text is collected in blocks by appendNumber, which is several times as fast as a stream.
#include "Visualizer3.h"

#include <array>
#include <locale>
#include <utility>

#include "AtomicFile.h"
#include "CEdge.h"
#include "CMesh.h"
#include "CTriangle.h"
#include "REdge.h"
#include "RTriangle.h"
#include "geometryFunctions.h"
#include "textNumbers.h"
#include "tools.h"

namespace TARN_KEL {

std::atomic<int> Visualizer3::nextColor{0};
std::atomic<bool>& Visualizer3::bDebugAuthorized = bDebugDrawing;

namespace {

constexpr int DIGITS = 15;
constexpr unsigned LINE_WIDTH = 2;
constexpr unsigned END_SIZE = 9;  // of the dots on the ends of lines
constexpr const char* MATERIAL = "material { backdiffuse 0 0 0 } lighting {ambient 0 0 1 }";

constexpr std::array<const char*, 27> COLOURS = {
    CLIGHTBLUE, CDARKBLUE,    CYELLOW,    CPINK,           CBLACK,         CLIGHTBROWN, CDARKBROWN,  CORANGE,      CPURPLE,
    CGRAY,      CLIGHTGRAY,   CRED,       CGREEN,          CWHITE,         CCRIMSON,    CDARKORANGE, CGOLDENROD,   COLIVE,
    CLAWNGREEN, CGREENYELLOW, CPALEGREEN, CMEDSPRINGGREEN, CLIGHTSEAGREAN, CCYAN,       CSTEELBLUE,  MIDNIGHTBLUE, CWHEAT};
constexpr int NUM_COLOURS = static_cast<int>(COLOURS.size());

/// Black, purple, light gray and white are hard to tell from the background or from their neighbours.
bool isPoorColour(int i) {
    return i == 4 || i == 8 || i == 10 || i == 13;
}

/// Gathers lines for a stream.
class Lines {
public:
    explicit Lines(std::ostream& stream) : out(stream) { text.reserve(BLOCK + 1024); }
    ~Lines() { flush(); }
    Lines(const Lines&) = delete;
    Lines& operator=(const Lines&) = delete;

    Lines& operator<<(std::string_view part) {
        text += part;
        return *this;
    }
    Lines& operator<<(std::size_t number) {
        appendInt(text, number);
        return *this;
    }
    void addPoint(const Point3& p) {
        appendNumber(text, p.x(), DIGITS);
        text += ' ';
        appendNumber(text, p.y(), DIGITS);
        text += ' ';
        appendNumber(text, p.z(), DIGITS);
        text += '\n';
        flushBlock();
    }
    /// "1 0 0 0" and the end of the line for (1, 0, 4).
    void addRow(std::size_t first, std::size_t others, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            *this << (i == 0 ? first : others) << (i + 1 < count ? " " : "\n");
            flushBlock();
        }
    }
    void flushBlock() {
        if (text.size() > BLOCK) flush();
    }

private:
    static constexpr std::size_t BLOCK = 1 << 16;

    void flush() {
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
        text.clear();
    }

    std::ostream& out;
    std::string text;
};

std::string appearance(unsigned lineWidth) {
    return "\n{\nappearance{linewidth " + std::to_string(lineWidth) + "}\n";
}

/// numLines lines of lineSize vertices each, in one colour. pointAt(i): the i-th vertex of all.
template <typename PointAt>
void writeVect(std::ostream& out, std::size_t numLines, std::size_t lineSize, const std::string& color, PointAt&& pointAt) {
    Lines lines(out);
    const std::size_t numPoints = numLines * lineSize;
    lines << "VECT\n" << numLines << " " << numPoints << " 1\n";
    lines.addRow(lineSize, lineSize, numLines);
    lines.addRow(1, 0, numLines);
    for (std::size_t i = 0; i < numPoints; ++i)
        lines.addPoint(pointAt(i));
    lines << color << "\n";
}

/// One object of dots.
template <typename PointAt>
void writeDots(std::ostream& out, std::size_t numPoints, unsigned size, const std::string& color, PointAt&& pointAt) {
    if (numPoints == 0) {
        TARN_KEL::out() << "Visualizer3::writePoints: no points" << std::endl;
        return;
    }
    out << appearance(size);
    writeVect(out, numPoints, 1, color, pointAt);
    out << "}\n";
}

/// The body of an OFF object: all corners, then each faceSize of them as a face.
void writeFaceLines(std::ostream& out, const std::vector<Point3>& vCorners, std::size_t faceSize, const std::string& color) {
    Lines lines(out);
    for (const Point3& corner : vCorners)
        lines.addPoint(corner);
    for (std::size_t face = 0; face < vCorners.size() / faceSize; ++face) {
        lines << faceSize << " ";
        for (std::size_t i = 0; i < faceSize; ++i)
            lines << face * faceSize + i << " ";
        lines << color << "\n";
        lines.flushBlock();
    }
}

/// Of length 1, from the centroid of each triangle that has an area.
std::vector<Segment3> normalsOf(const std::vector<Point3>& vCorners) {
    std::vector<Segment3> vNormals;
    for (std::size_t i = 0; i + 2 < vCorners.size(); i += 3) {
        const Point3 &p0 = vCorners[i], &p1 = vCorners[i + 1], &p2 = vCorners[i + 2];
        bool bOK = false;
        const Vector3 normal = getNormalVector(p0, p1, p2, bOK);
        if (!bOK) continue;
        const Point3 centroid = p0 + ((p1 - p0) + (p2 - p0)) / 3.0;
        vNormals.emplace_back(centroid, centroid + normal);
    }
    return vNormals;
}

/// The six faces of a box with four corners each, outward. Bit 0, 1, 2 of a corner: high in x, y, z.
constexpr std::array<int, 24> BOX_FACES = {0, 4, 6, 2, 1, 3, 7, 5, 0, 1, 5, 4, 2, 6, 7, 3, 0, 2, 3, 1, 4, 5, 7, 6};

void appendBox(const Point3& low, const Vector3& edges, std::vector<Point3>& vCorners) {
    for (const int corner : BOX_FACES)
        vCorners.push_back(low + Vector3((corner & 1) != 0 ? edges.x() : 0.0, (corner & 2) != 0 ? edges.y() : 0.0,
                                         (corner & 4) != 0 ? edges.z() : 0.0));
}

}  // namespace

Visualizer3::Visualizer3(const std::string& filename, const Calc* pGrid, bool bAuthorized_)
    : pCalc(pGrid), bAuthorized(bAuthorized_) {
    TARN_KEL::out() << (bAuthorized ? "Writing " : "Unauthorized write of ") << filename << std::endl;
    ASSEX(bAuthorized);
    if (!openFile(filename)) return;
    imbue(std::locale::classic());  // another one may put marks into the counts
    precision(DIGITS);
    *this << "LIST\n{\n";
}

Visualizer3::~Visualizer3() {
    if (std::uncaught_exceptions() > numExceptionsBefore) pFile.reset();
    closeFile();
}

// The stream's own file stays closed: its bytes go to the sink of the AtomicFile instead.
bool Visualizer3::openFile(const std::string& filename) {
    auto pNewFile = std::make_unique<AtomicFile>(filename);
    if (!pNewFile->isOpen()) {
        setstate(badbit);
        warning("Visualizer3::openFile()", filename + " not writeable");
        return false;
    }
    pFile = std::move(pNewFile);
    std::ios::rdbuf(pFile->stream().rdbuf());
    return true;
}

bool Visualizer3::closeFile() {
    if (!isValid()) return false;
    *this << "}\n";
    const bool bDone = good() && pFile->commit();
    std::ios::rdbuf(nullptr);  // what is written from now on goes nowhere
    pFile.reset();
    return bDone;
}

// ---- Surfaces -----------------------------------------------------------------------------------------------------------

void Visualizer3::startList(std::size_t numVertices, std::size_t numFaces, bool bEdges) {
    const char* material = bBackfaces ? MATERIAL : "";
    *this << "\n{\nappearance { " << (bEdges ? "+edge " : "-edge  material ") << material << " }\nOFF\n"
          << numVertices << " " << numFaces << " 0\n";
}

void Visualizer3::endList() {
    *this << "}\n";
}

// Corners faceSize a face. Corners that are left over are written as vertices without a face.
void Visualizer3::writeFaces(const std::vector<Point3>& vCorners, std::size_t faceSize, const std::string& color) {
    precision(DIGITS);
    startList(vCorners.size(), vCorners.size() / faceSize, true);
    writeFaceLines(*this, vCorners, faceSize, color);
    endList();
}

void Visualizer3::writeTriangle(const Point3& p0, const Point3& p1, const Point3& p2, const std::string& color) {
    writeTriangles(std::vector<Point3>{p0, p1, p2}, color, false);
}

void Visualizer3::writeTriangle(const RTriangle* pRT, const std::string& color) {
    ASSEX(pRT!=NULL);
    writeTriangle(*pRT->aCorners[0], *pRT->aCorners[1], *pRT->aCorners[2], color);
}

void Visualizer3::writeTriangles(const std::vector<Point3>& vCorners, const std::string& color, bool bNormals) {
    writeFaces(vCorners, 3, color);
    if (bNormals) writeSegments(normalsOf(vCorners), color, false);
}

void Visualizer3::writeTriangles(const std::vector<RTriangle*>& vRT, const std::string& color, bool bNormals) {
    std::vector<Point3> vCorners;
    vCorners.reserve(3 * vRT.size());
    for (const RTriangle* pRT : vRT)
        for (const Point3* pCorner : pRT->aCorners)
            vCorners.push_back(*pCorner);
    writeTriangles(vCorners, color, bNormals);
}

void Visualizer3::writeTriangles(const std::vector<CTriangle*>& vCT, const std::string& color, bool bNormals) {
    std::vector<Point3> vCorners;
    vCorners.reserve(3 * vCT.size());
    for (const CTriangle* pCT : vCT)
        for (int i = 0; i < 3; ++i)
            vCorners.push_back(getPosition(pCT->getCorner(i)));
    writeTriangles(vCorners, color, bNormals);
}

Point3 Visualizer3::getPosition(VCD vcd) const {
    if (pCMesh != nullptr) return *pCMesh->getVtx(vcd);
    ASSEX(pCalc!=NULL);
    return pCalc->getMidPoint(vcd);
}

// ---- Points and lines ---------------------------------------------------------------------------------------------------

void Visualizer3::writePoint(const Point3& point, unsigned size, const std::string& color) {
    writePoints(std::vector<Point3>{point}, size, color);
}

void Visualizer3::writePoints(const std::vector<Point3>& vPoints, unsigned size, const std::string& color) {
    writeDots(*this, vPoints.size(), size, color, [&](std::size_t i) { return vPoints[i]; });
}

void Visualizer3::writePoints(const std::vector<Point3*>& vPoints, unsigned size, const std::string& color) {
    writeDots(*this, vPoints.size(), size, color, [&](std::size_t i) { return *vPoints[i]; });
}

void Visualizer3::writeSegments(const std::vector<Segment3>& vSegments, const std::string& color, bool bEnds) {
    if (vSegments.empty()) return;
    const auto endAt = [&](std::size_t i) {
        const Segment3& segment = vSegments[i / 2];
        return i % 2 == 0 ? segment.getSrc() : segment.getTrg();
    };
    *this << appearance(LINE_WIDTH) << "{\n";
    writeVect(*this, vSegments.size(), 2, color, endAt);
    *this << "}\n}\n";
    if (bEnds) writeDots(*this, 2 * vSegments.size(), END_SIZE, color, endAt);
}

void Visualizer3::writeSegments(const std::vector<REdge*>& vRE, const std::string& color, bool bEnds) {
    std::vector<Segment3> vSegments;
    vSegments.reserve(vRE.size());
    for (const REdge* pRE : vRE)
        vSegments.emplace_back(*pRE->pVtx0, *pRE->pVtx1);
    writeSegments(vSegments, color, bEnds);
}

void Visualizer3::writeSegments(const std::vector<CEdge*>& vCE, const std::string& color, bool bEnds) {
    std::vector<Segment3> vSegments;
    vSegments.reserve(vCE.size());
    for (const CEdge* pCE : vCE)
        vSegments.emplace_back(getPosition(pCE->v0), getPosition(pCE->v1));
    writeSegments(vSegments, color, bEnds);
}

// ---- Cells --------------------------------------------------------------------------------------------------------------

void Visualizer3::writeCb(CCD ccd, const std::string& color) {
    writeCbs(VCCD{ccd}, color);
}

void Visualizer3::writeCbs(const VCCD& vCCD, const std::string& color) {
    ASSEX(pCalc!=NULL);
    double x = 0.0, y = 0.0, z = 0.0;
    pCalc->getSteps(x, y, z);
    std::vector<Point3> vCorners;
    vCorners.reserve(vCCD.size() * BOX_FACES.size());
    for (const CCD ccd : vCCD)
        appendBox(pCalc->getRefPoint(ccd), {x, y, z}, vCorners);
    writeFaces(vCorners, 4, color);
}

void Visualizer3::writeRCD(RCD rcd, const std::string& color) {
    writeRCD(VRCD{rcd}, color);
}

void Visualizer3::writeRCD(const VRCD& vRCD, const std::string& color) {
    ASSEX(pCalc!=NULL);
    VCCD vCCD;
    vCCD.reserve(vRCD.size());
    for (const RCD rcd : vRCD)
        vCCD.push_back(pCalc->rcd2ccd(rcd));
    writeCbs(vCCD, color);
}

void Visualizer3::writeRCC(RCC rcc, unsigned size, const std::string& color) {
    writeRCC(VRCC{rcc}, size, color);
}

void Visualizer3::writeRCC(const VRCC& vRCC, unsigned size, const std::string& color) {
    ASSEX(pCalc!=NULL);
    // A lattice point has the code of the cell above it.
    writeDots(*this, vRCC.size(), size, color, [&](std::size_t i) { return pCalc->getRefPoint(pCalc->rcd2ccd(vRCC[i])); });
}

void Visualizer3::writePoints(const VCCD& vCCD, unsigned size, const std::string& color) {
    ASSEX(pCalc!=NULL);
    writeDots(*this, vCCD.size(), size, color, [&](std::size_t i) { return pCalc->getMidPoint(vCCD[i]); });
}

// ---- Colours ------------------------------------------------------------------------------------------------------------

std::string Visualizer3::getColor(int i) {
    if (i < 0) return COLOURS[0];
    // The last colour isn't in the cycle of the higher indices.
    return COLOURS[static_cast<std::size_t>(i < NUM_COLOURS ? i : i % (NUM_COLOURS - 1))];
}

std::string Visualizer3::getNextColor() {
    int before = nextColor;
    int i = 0;
    do {
        i = isPoorColour(before) ? before + 1 : before;
    } while (!nextColor.compare_exchange_weak(before, (i + 1) % NUM_COLOURS));
    return getColor(i);
}

const char* Visualizer3::getDegreeColor(int degree) {
    switch (degree) {
    case 1:
        return CRED;
    case 3:
        return CPURPLE;
    case 4:
        return CLIGHTBLUE;
    default:
        return degree >= 5 ? CPINK : nullptr;
    }
}

// ---- Whole files --------------------------------------------------------------------------------------------------------

bool writeDrawing(const std::string& filename, const Calc* pCalc, bool bAuthorized,
                  const std::function<void(Visualizer3&)>& draw) {
    Visualizer3 visualizer(filename, pCalc, bAuthorized);
    if (!visualizer.isValid()) return false;
    draw(visualizer);
    if (visualizer.closeFile()) return true;
    warning(KEL_PLACE, "Failed to write " + filename);
    return false;
}

void writeDebugDrawing(const std::string& filename, const Calc* pCalc, const std::function<void(Visualizer3&)>& draw) {
    writeDrawing(filename, pCalc, Visualizer3::bDebugAuthorized, draw);
}

}  // namespace TARN_KEL
