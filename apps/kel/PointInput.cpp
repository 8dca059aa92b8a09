// Reads points of files, and chooses and places them.
#include "PointInput.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "../../src_lib/files/attributeColumns.h"
#include "../../src_lib/files/pointReading.h"
#include "../../src_lib/geometry/AffineMap.h"
#include "FileKinds.h"

using namespace TARN_KEL;

namespace {

[[noreturn]] void refuseMatrix(const std::string& filename, const std::string& why) {
    throw Failure("--transform takes a text with four rows of four numbers, the last one 0 0 0 1; " + filename + " " + why);
}

/// The numbers of a text, in which '#' begins comments, at most so many.
std::vector<double> readNumbers(const std::string& filename, std::size_t most) {
    constexpr std::size_t SHOWN = 40, MOST_BYTES = 65536;
    std::string bytes(MOST_BYTES + 1, '\0');
    std::ifstream file(filename, std::ios_base::binary);
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    if (bytes.size() > MOST_BYTES) refuseMatrix(filename, "has more than " + std::to_string(MOST_BYTES) + " bytes");
    std::istringstream in(bytes);
    std::vector<double> vNumber;
    std::string line;
    for (int lineNumber = 1; std::getline(in, line); ++lineNumber) {
        const std::string_view text = lineNumber == 1 ? withoutByteOrderMark(line) : line;
        for (const std::string_view word : wordsOf(text.substr(0, text.find('#')))) {
            const std::optional<double> number = numberOf(word);
            const std::string inLine = " in line " + std::to_string(lineNumber);
            if (!number || !std::isfinite(*number))
                refuseMatrix(filename, "has '" + std::string(word.substr(0, SHOWN)) + "'" + inLine);
            if (vNumber.size() == most) refuseMatrix(filename, "has more" + inLine);
            vNumber.push_back(*number);
        }
    }
    return vNumber;
}

/// Whether a map leaves no volume of a body, or nothing that can be computed with.
bool isSingular(const AffineMap& map) {
    constexpr double ROUNDED = 1e-12;
    const Vector3 x = map.column(0), y = map.column(1), z = map.column(2);
    const double volume = std::abs(x * crossProduct(y, z)), most = x.length() * y.length() * z.length();
    return !std::isfinite(most) || !(volume > ROUNDED * most);
}

/// A text of 16 numbers, row by row, of which the last row is 0 0 0 1.
AffineMap readMatrix(const std::string& filename) {
    constexpr std::size_t WIDTH = 4;
    const std::vector<double> vNumber = readNumbers(filename, WIDTH * WIDTH);
    if (vNumber.size() < WIDTH * WIDTH) refuseMatrix(filename, "has " + std::to_string(vNumber.size()) + " numbers");
    AffineMap map;
    auto it = vNumber.begin();
    for (auto& aRow : map.aRow) {
        std::copy_n(it, WIDTH, aRow.begin());
        it += WIDTH;
    }
    if (!std::equal(it, vNumber.end(), std::array<double, WIDTH>{0, 0, 0, 1}.begin()))
        refuseMatrix(filename, "has another last row");
    if (isSingular(map)) refuseMatrix(filename, "is of no use, as it flattens every body or has numbers beyond all measure");
    return map;
}

/// Turns the normals among the columns.
void turnNormals(const NormalMap& map, PointAttributes& attributes) {
    const AttributeColumn* const pX = attributes.find("nx");
    if (pX == nullptr || attributes.kindOf(*pX) != AttributeKind::NORMAL) return;
    std::array<AttributeColumn, 3> aNormal{*pX, *attributes.find("ny"), *attributes.find("nz")};
    std::visit(
        [&](auto& vX) {
            using Values = std::decay_t<decltype(vX)>;
            using T = typename Values::value_type;
            auto &vY = std::get<Values>(aNormal[1].values), &vZ = std::get<Values>(aNormal[2].values);
            for (std::size_t i = 0; i < vX.size(); ++i) {
                const Vector3 normal =
                    map({static_cast<double>(vX[i]), static_cast<double>(vY[i]), static_cast<double>(vZ[i])});
                vX[i] = static_cast<T>(normal.x());
                vY[i] = static_cast<T>(normal.y());
                vZ[i] = static_cast<T>(normal.z());
            }
        },
        aNormal[0].values);
    for (AttributeColumn& normal : aNormal)
        attributes.set(std::move(normal));
}

/// A coordinate that is no number is in no box.
bool isInBox(const Point3& p, const std::vector<double>& vBox) {
    return p.x() >= vBox[0] && p.y() >= vBox[1] && p.z() >= vBox[2] &&  //
           p.x() <= vBox[3] && p.y() <= vBox[4] && p.z() <= vBox[5];
}

/// Points and what they carry.
struct CarryingPoints {
    std::vector<Point3>& vPoints;
    PointAttributes& attributes;
};

/// Keeps the points whose numbers, from 0, are wanted. isWanted: bool(std::size_t). Returns how many are dropped.
template <typename IsWanted>
std::size_t keepPoints(const CarryingPoints& points, const IsWanted& isWanted) {
    std::vector<Point3>& vPoints = points.vPoints;
    std::vector<std::size_t> vRow;  // of those that are kept
    std::size_t numKept = 0;
    for (std::size_t i = 0; i < vPoints.size(); ++i) {
        if (!isWanted(i)) continue;
        vPoints[numKept++] = vPoints[i];
        if (!points.attributes.empty()) vRow.push_back(i);
    }
    const std::size_t numDropped = vPoints.size() - numKept;
    vPoints.resize(numKept);
    if (numDropped > 0) points.attributes = points.attributes.rows(vRow);
    return numDropped;
}

/// Keeps that many points, spread evenly over their order.
std::size_t thinTo(std::size_t maxPoints, const CarryingPoints& points) {
    if (points.vPoints.size() <= maxPoints) return 0;
    std::size_t sum = 0;  // of maxPoints a point; each time that it reaches their number a point is kept
    return keepPoints(points, [&, num = points.vPoints.size()](std::size_t) {
        sum += maxPoints;
        if (sum < num) return false;
        sum -= num;
        return true;
    });
}

/// Appends the points of a file that have one of these classes, by its first column of classes. Returns how many have
/// others.
std::size_t appendOfClasses(const std::string& filename, const std::vector<int>& vClasses, Program& program,
                            std::vector<Point3>& vPoints, PointAttributes* pAttributes) {
    std::vector<Point3> vOfFile;
    PointAttributes ofFile;
    std::size_t none = 0;
    program.appendPoints(filename, {}, vOfFile, none, &ofFile);
    const auto isClass = [&ofFile](const AttributeColumn& column) { return ofFile.kindOf(column) == AttributeKind::CLASS; };
    const auto it = std::find_if(ofFile.vColumns.begin(), ofFile.vColumns.end(), isClass);
    if (it == ofFile.vColumns.end())
        throw Failure("--classes chooses points by their classes, of which " + filename + " has none");
    const AttributeColumn classes = *it;
    const std::size_t numOthers = keepPoints({vOfFile, ofFile}, [&](std::size_t row) {
        return classes.isKnown(row) && std::find(vClasses.begin(), vClasses.end(), classes.number(row)) != vClasses.end();
    });
    if (pAttributes != nullptr) appendRows(std::move(ofFile.vColumns), vPoints.size(), vOfFile.size(), *pAttributes);
    vPoints.insert(vPoints.end(), vOfFile.begin(), vOfFile.end());
    return numOthers;
}

/// How many points each option left out.
struct LeftOut {
    std::size_t numOtherClasses = 0, numOutside = 0, numBetween = 0, numTooMany = 0;

    nlohmann::ordered_json toJson() const {
        return {{"otherClasses", numOtherClasses},
                {"outsideBox", numOutside},
                {"betweenEvery", numBetween},
                {"aboveMaximum", numTooMany}};
    }
    /// Empty where all points are taken.
    std::string toText() const {
        std::string text;
        const auto add = [&text](std::size_t num, const std::string& why) {
            if (num > 0) text += (text.empty() ? "points left out: " : ", ") + std::to_string(num) + " " + why;
        };
        add(numOtherClasses, "of other classes");
        add(numOutside, "outside --crop");
        add(numBetween, "by --every");
        add(numTooMany, "by --max-points");
        return text;
    }
};

/// Whether lengths can be computed at a place.
bool isUsable(const Point3& p) {
    constexpr double FARTHEST = 1e150;  // squares must be finite
    return (p - Point3(0, 0, 0)).getMaxAbsComponent() <= FARTHEST && isFinitePoint(p);
}

LeftOut choose(const PointChoice& choice, const CarryingPoints& points) {
    LeftOut leftOut;
    if (!choice.matrixFile.empty()) {
        const AffineMap map = readMatrix(choice.matrixFile);
        for (Point3& p : points.vPoints) {
            const bool bUsable = isUsable(p);
            p = map(p);
            if (bUsable && !isUsable(p)) throw Failure("The matrix in " + choice.matrixFile + " moves points beyond 1e150");
        }
        turnNormals(NormalMap(map), points.attributes);
    }
    if (!choice.vBox.empty())
        leftOut.numOutside = keepPoints(points, [&](std::size_t i) { return isInBox(points.vPoints[i], choice.vBox); });
    if (choice.every > 1) leftOut.numBetween = keepPoints(points, [&](std::size_t i) { return i % choice.every == 0; });
    if (choice.maxPoints > 0) leftOut.numTooMany = thinTo(choice.maxPoints, points);
    return leftOut;
}

}  // namespace

bool PointChoice::isAll() const {
    return vClasses.empty() && matrixFile.empty() && vBox.empty() && every == 1 && maxPoints == 0;
}

void addPointChoice(CLI::App& command, Program& program, PointChoice& choice) {
    constexpr const char* GROUP = "Which points are taken, in this order, and where to";
    CLI::Option* pClasses =
        command
            .add_option("--classes", choice.vClasses, "Points with one of these classes only, of files that have classes")
            ->delimiter(',')
            ->allow_extra_args(false)
            ->check(CLI::Range(0, 255))
            ->type_name("C,C,...");
    CLI::Option* pTransform = command.add_option(
        "--transform", choice.matrixFile,
        "Multiply the points, with 1 behind z, by the matrix in this text: four rows of four numbers, the last 0 0 0 1");
    pTransform->transform(program.pipes().plainInputName());
    CLI::Option* pCrop = command.add_option("--crop", choice.vBox, "Points in this box only; after --transform")
                             ->delimiter(',')
                             ->allow_extra_args(false)
                             ->check(finiteNumber)
                             ->type_name("x0,y0,z0,x1,y1,z1");
    CLI::Option* pEvery =
        command.add_option("--every", choice.every, "The first of each N points only")->check(positiveCount)->type_name("N");
    CLI::Option* pMax =
        command.add_option("--max-points", choice.maxPoints, "At most N points, spread evenly over their order")
            ->check(positiveCount)
            ->type_name("N");
    for (CLI::Option* pOption : {pClasses, pTransform, pCrop, pEvery, pMax})
        pOption->group(GROUP);
}

void addPointFiles(CLI::App& command, Program& program, PointInput& input, const std::string& inText) {
    Pipes& pipes = program.pipes();
    pipes.addInputFormat(command);
    const auto takeFiles = [&input, &pipes, &command](std::vector<std::string> vNames) {
        if (CLI::Option* const pOut = command.get_option_no_throw("OUT")) {
            pOut->clear();
            if (vNames.size() > 1) {  // a single name leaves none for OUT, which is then missed
                pOut->add_result(vNames.back());
                vNames.pop_back();
            }
        }
        for (const std::string& name : vNames)
            input.vFiles.push_back(pipes.input(name));
    };
    command.add_option_function<std::vector<std::string>>("IN", takeFiles, inText + "; several files are one cloud")
        ->required();
}

void addPointFiles(CLI::App& command, Program& program, PointInput& input, std::string& out, const std::string& inText,
                   const std::string& outText) {
    addPointFiles(command, program, input, inText);
    CLI::Option* const pOut = program.addOutput(command, out, outText);
    // While names are gathered, all of them in IN, OUT must not be missing: the last number of --origin would be kept for
    // it.
    command.preparse_callback([pOut](std::size_t) { pOut->add_result(""); });
}

void PointInput::require() const {
    for (const std::string& file : vFiles)
        Program::requirePointInput(file);
    if (!choice.matrixFile.empty()) {
        Program::requireTextInput(choice.matrixFile);
        readMatrix(choice.matrixFile);
    }
    const auto& vBox = choice.vBox;
    if (!vBox.empty() && vBox.size() != 6)
        throw Failure("--crop takes six numbers with commas between them, not " + std::to_string(vBox.size()));
    if (!vBox.empty() && (vBox[0] > vBox[3] || vBox[1] > vBox[4] || vBox[2] > vBox[5]))
        throw Failure("--crop takes the least coordinates of a box before the greatest");
}

std::vector<std::string> PointInput::readFiles() const {
    std::vector<std::string> vRead = vFiles;
    if (!choice.matrixFile.empty()) vRead.push_back(choice.matrixFile);
    return vRead;
}

std::vector<Point3> PointInput::read(Program& program, PointAttributes* pAttributes) const {
    std::vector<Point3> vPoints;
    std::size_t numOtherClasses = 0;
    for (const std::string& file : vFiles) {
        if (choice.vClasses.empty() || isLasFile(file))  // the reader of .las needs no room for the other points
            program.appendPoints(file, choice.vClasses, vPoints, numOtherClasses, pAttributes);
        else
            numOtherClasses += appendOfClasses(file, choice.vClasses, program, vPoints, pAttributes);
    }
    program.report()["input"] = {{"file", names()}, {"points", vPoints.size() + numOtherClasses}};
    if (pAttributes != nullptr && !pAttributes->empty()) program.report()["input"]["columns"] = toJson(*pAttributes);
    if (choice.isAll()) return vPoints;
    LeftOut leftOut;
    PointAttributes none;
    program.step("choose", [&] { leftOut = choose(choice, {vPoints, pAttributes != nullptr ? *pAttributes : none}); });
    leftOut.numOtherClasses = numOtherClasses;
    program.report()["leftOut"] = leftOut.toJson();
    if (vPoints.empty()) throw Failure("No point of " + names() + " is left; " + leftOut.toText());
    if (const std::string text = leftOut.toText(); !text.empty()) program.say(text);
    return vPoints;
}

std::string PointInput::names() const {
    std::string text = vFiles.front();
    for (std::size_t i = 1; i < vFiles.size(); ++i)
        text += ", " + vFiles[i];
    return text;
}
