// Reads points of files, and chooses and places them.
#include "PointInput.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <optional>
#include <span>
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

/// The positions, one after the other, of so many among more, spread evenly and up to the last one.
class EvenSteps {
public:
    EvenSteps(std::size_t some, std::size_t all) : numSome(some), whole(all / some), rest(all % some) {}
    std::size_t next() {
        position += whole;
        sumOfRests += rest;
        if (sumOfRests >= numSome) {
            sumOfRests -= numSome;
            ++position;
        }
        return sumOfRests > 0 ? position : position - 1;
    }

private:
    const std::size_t numSome, whole, rest;
    std::size_t position = 0, sumOfRests = 0;
};

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

/// Chooses and places points while they are read, those of one file after the other.
///
/// To which steps the last option will thin them is known in the end alone. Until then a point of each so many is kept, and
/// of twice as many each time that there are too many: so many that one of them is near each place of the steps.
class PointChooser {
public:
    /// theChoice: must outlive this object.
    explicit PointChooser(const PointChoice& theChoice) : choice(theChoice) {
        if (!choice.matrixFile.empty()) map = readMatrix(choice.matrixFile);
    }
    PointChooser(const PointChooser&) = delete;
    PointChooser& operator=(const PointChooser&) = delete;

    /// Appends the points of a file that are kept. pAttributes: gets their rows; null where nobody wants them.
    void append(const std::string& filename, Program& program, std::vector<Point3>& vPoints, PointAttributes* pAttributes) {
        const auto choose = [this](std::span<Point3> next, const ClassOf& classOf, std::vector<unsigned char>& vKept) {
            take(next, classOf, vKept);
        };
        program.appendPoints(filename, choose, vPoints, pAttributes);
        if (bNoClasses) throw Failure("--classes chooses points by their classes, of which " + filename + " has none");
        if (bTooFar) throw Failure("The matrix in " + choice.matrixFile + " moves points beyond 1e150");
    }
    /// To be called behind the last file.
    LeftOut finish(const CarryingPoints& points) {
        if (map) turnNormals(NormalMap(*map), points.attributes);
        if (choice.maxPoints > 0) {
            thin(points);
            leftOut.numTooMany = numSpread - points.vPoints.size();
        }
        return leftOut;
    }
    /// Of all files.
    std::size_t numRead() const { return numSeen; }

private:
    /// Without classes it keeps none until the file is read, and append() says so: what is thrown here the reader would tell
    /// as a fault of the file.
    void take(std::span<Point3> points, const ClassOf& classOf, std::vector<unsigned char>& vKept) {
        numSeen += points.size();
        if (!choice.vClasses.empty() && !classOf) bNoClasses = true;
        if (bNoClasses) return;
        for (std::size_t i = 0; i < points.size(); ++i)
            vKept[i] = isOfClasses(i, classOf) && isTaken(points[i]) ? 1 : 0;
    }
    bool isOfClasses(std::size_t i, const ClassOf& classOf) {
        if (choice.vClasses.empty()) return true;
        const std::optional<double> number = classOf(i);
        if (number && std::find(choice.vClasses.begin(), choice.vClasses.end(), *number) != choice.vClasses.end())
            return true;
        ++leftOut.numOtherClasses;
        return false;
    }
    /// Also places the point.
    bool isTaken(Point3& p) {
        if (map) {
            const bool bUsable = isUsable(p);
            p = (*map)(p);
            bTooFar = bTooFar || (bUsable && !isUsable(p));
        }
        if (!choice.vBox.empty() && !isInBox(p, choice.vBox)) {
            ++leftOut.numOutside;
            return false;
        }
        if (numInBox++ % choice.every != 0) {
            ++leftOut.numBetween;
            return false;
        }
        return choice.maxPoints == 0 || isSpread(numSpread++);
    }
    void thin(const CarryingPoints& points) const {
        if (numSpread <= choice.maxPoints) return;
        EvenSteps steps(choice.maxPoints, numSpread);
        const auto nextKept = [&] {  // near the next place
            return std::min(steps.next() + stride / 2, numSpread - 1) / stride * stride;
        };
        std::size_t next = nextKept();
        keepPoints(points, [&](std::size_t i) {
            if (vIndex[i] != next) return false;
            next = nextKept();
            return true;
        });
    }
    bool isSpread(std::size_t index) {
        constexpr std::size_t ENOUGH = 8;  // times the number
        while (index / stride / ENOUGH >= choice.maxPoints)
            stride *= 2;
        if (index % stride != 0) return false;
        vIndex.push_back(index);
        return true;
    }

    const PointChoice& choice;
    std::optional<AffineMap> map;
    LeftOut leftOut;
    std::size_t numSeen = 0, numInBox = 0;
    std::size_t numSpread = 0, stride = 1;
    std::vector<std::size_t> vIndex;  // of the points in the list, among those that may be spread
    bool bNoClasses = false, bTooFar = false;
};

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

std::vector<Point3> PointInput::read(Program& program, PointAttributes* pAttributes, const std::string& role) const {
    std::vector<Point3> vPoints;
    if (choice.isAll()) {
        for (const std::string& file : vFiles)
            program.appendPoints(file, vPoints, pAttributes);
        note(vPoints.size(), program, pAttributes, role);
        return vPoints;
    }
    PointAttributes none;
    const CarryingPoints points{vPoints, pAttributes != nullptr ? *pAttributes : none};
    PointChooser chooser(choice);
    for (const std::string& file : vFiles)
        chooser.append(file, program, vPoints, pAttributes);
    note(chooser.numRead(), program, pAttributes, role);
    LeftOut leftOut;
    program.step("choose", [&] { leftOut = chooser.finish(points); });
    program.report()["leftOut"] = leftOut.toJson();
    if (vPoints.empty()) throw Failure("No point of " + names() + " is left; " + leftOut.toText());
    if (const std::string text = leftOut.toText(); !text.empty()) program.say(text);
    return vPoints;
}

void PointInput::note(std::size_t numRead, Program& program, const PointAttributes* pAttributes,
                      const std::string& role) const {
    program.report()[role] = {{"file", names()}, {"points", numRead}};
    if (pAttributes != nullptr && !pAttributes->empty()) program.report()[role]["columns"] = toJson(*pAttributes);
}

std::string PointInput::names() const {
    std::string text = vFiles.front();
    for (std::size_t i = 1; i < vFiles.size(); ++i)
        text += ", " + vFiles[i];
    return text;
}
