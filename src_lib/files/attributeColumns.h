// Columns of attributes while a file is read, and what readers and writers of them share.
#pragma once

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "kel.h"
#include "littleEndian.h"
#include "pointChoice.h"

namespace TARN_KEL {

/// The number of a list of values that a visitor of AttributeValues gets.
template <typename Vector>
using ValueOf = typename std::decay_t<Vector>::value_type;

/// What stands where a value isn't known.
template <typename T>
constexpr T unknownValue() {
    if constexpr (std::is_floating_point_v<T>)
        return std::numeric_limits<T>::quiet_NaN();
    else
        return 0;
}

template <typename T>
AttributeValues noValues() {
    return std::vector<T>();
}

/// A number as bytes, the low one first.
template <typename T>
T loadNumber(const char* p) {
    using Bits = std::conditional_t<
        sizeof(T) == 1, std::uint8_t,
        std::conditional_t<sizeof(T) == 2, std::uint16_t, std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>>;
    return std::bit_cast<T>(loadInt<Bits>(p));
}

/// The whole number nearest to a value, within the range of its type; halves go up, also below 0.
template <typename Int>
Int nearestInt(double value) {
    constexpr double LEAST = static_cast<double>(std::numeric_limits<Int>::min());
    constexpr Int HALF = std::numeric_limits<Int>::max() / 2 + 1;
    constexpr double END = static_cast<double>(HALF) * 2.0;  // the first one too large
    const double whole = std::floor(value + 0.5);
    if (!(whole > LEAST)) return std::numeric_limits<Int>::min();
    return whole < END ? static_cast<Int>(whole) : std::numeric_limits<Int>::max();
}

/// The name by which a column is known that has this one in a file, in whatever capitals; the same where there is no other.
std::string knownName(std::string_view name);

/// The columns of one file. Each takes the values of the points in turn.
///
/// A column that a point has no value for may be left behind; fill() makes up for that. Names are known by the words for
/// what PointAttributes knows: see readPointFile().
class AttributeColumns {
public:
    static constexpr std::size_t NONE = static_cast<std::size_t>(-1);
    static constexpr std::size_t MAX_COLUMNS = 256;  ///< as each may take memory for points of other files

    /// Adds an empty column; one whose name is taken gets a number behind it. Returns its number; NONE where it has no name
    /// or there are too many, or nobody wants it. Names of one letter wait for nameChannels().
    std::size_t add(std::string_view name, AttributeValues values);
    /// Has only columns of classes added, by which points may be chosen: nobody wants any to be kept.
    void wantClassesOnly() { bClassesOnly = true; }
    bool areAllWanted() const { return !bClassesOnly; }
    std::vector<AttributeColumn>& columns() { return vColumn; }
    bool isFull() const { return vColumn.size() == MAX_COLUMNS; }
    /// The number of columns that were left out: more than MAX_COLUMNS, or all.
    std::size_t numLeftOut() const { return numOthers; }
    /// Counts columns that were never added.
    void leaveOut(std::size_t num) { numOthers += num; }
    /// Notes how many bytes of each point nothing is known of.
    void leaveOutBytes(std::size_t num) { numBytesOthers = num; }
    std::size_t numBytesLeftOut() const { return numBytesOthers; }
    void leaveOutAll() {
        numOthers += vColumn.size();
        vColumn.clear();
        vFacts.clear();
    }
    /// Adds a line for the user on what is wrong with the file; the name comes before it.
    void note(std::string line) { vNote.push_back(std::move(line)); }
    const std::vector<std::string>& notes() const { return vNote; }

    /// Has points chosen while they are read, and their rows with them. choice: must outlive this object. numBefore: of
    /// older points in the list to which they are appended.
    void chooseBy(const ChoosePoints& choice, std::size_t numBefore) {
        pChoice = &choice;
        numOlder = numBefore;
    }
    bool isChoosing() const { return pChoice != nullptr; }
    /// Chooses among the points of the file that have come since the last time, and drops the others with their rows; does
    /// nothing where none are chosen. vPoints: with the older ones. Columns may be behind.
    void settle(std::vector<Point3>& vPoints);
    /// The same as soon as many have come.
    void settleMany(std::vector<Point3>& vPoints) {
        constexpr std::size_t MANY = 16384;
        if (isChoosing() && vPoints.size() - numOlder - numSettled >= MANY) settle(vPoints);
    }
    /// The same where their rows haven't been appended yet. Returns for each a number, 0 where it was dropped.
    const std::vector<unsigned char>& settlePoints(std::vector<Point3>& vPoints, const ClassOf& classOf);
    /// The points of the file that are left in the list, where points are chosen.
    std::size_t numRowsOf(const std::vector<Point3>& vPoints) const { return vPoints.size() - numOlder; }

    /// Makes room for so many more rows in all columns, once it is sure that they are there. None is made where points are
    /// chosen.
    void reserve(std::size_t numRows);
    /// Appends values that lie as bytes, the low one first, a stride apart.
    void appendBytes(std::size_t column, const char* p, std::size_t stride, std::uint64_t num);
    /// Appends the value of a text; an unknown one where it is none of the column's type.
    void appendText(std::size_t column, std::string_view text);
    /// Appends a value.
    void append(std::size_t column, double value);
    void appendUnknown(std::size_t column) { fill(column, size(column) + 1); }
    /// Appends unknown values up to that size.
    void fill(std::size_t column, std::size_t numRows);
    void fillAll(std::size_t numRows);
    /// Gives the columns r, g and b, and a beside them, the names of channels, if all three are there.
    void nameChannels();
    /// What the channels of a colour are of which none exceeds 1.
    enum class Channels {
        BY_SPELLING,  ///< fractions where any has a decimal point or an exponent, else bytes
        FRACTIONS
    };
    /// Columns of doubles that a text without types has given: drops those without a known value, names channels, and gives
    /// colours and classes a type of whole numbers: bytes also for fractions that are multiples of 1/255, as far as a text
    /// shows. Rows that were dropped count.
    void chooseTypes(Channels channels = Channels::FRACTIONS);
    /// Notes how a number was spelled that appendText() gets.
    void noteSpelling(std::size_t column, std::string_view text);
    /// Gives columns of unsigned numbers of two bytes, all of which fit into one, one.
    void narrowBytes(const std::vector<std::size_t>& vColumns);
    /// Drops columns. vColumns: ascending.
    void drop(const std::vector<std::size_t>& vColumns);

private:
    /// What is known of the numbers of a column, or was of those that were dropped.
    struct Facts {
        double least = std::numeric_limits<double>::infinity(), greatest = -least;
        bool bWhole = true;       ///< whole numbers only
        bool bByteShares = true;  ///< multiples of 1/255 only, as far as six digits tell
        bool bDecimals = false;   ///< some were spelled with a decimal point or an exponent; only of texts

        void take(double number);
        bool isNone() const { return least > greatest; }
        /// There are some, all of them in that range.
        bool isIn(double lowest, double highest) const { return !isNone() && least >= lowest && greatest <= highest; }
        bool isWholeIn(double lowest, double highest) const { return bWhole && isIn(lowest, highest); }
    };

    std::size_t size(std::size_t column) const { return vColumn[column].size(); }
    /// NONE when there is none of that name.
    std::size_t find(std::string_view name) const;
    /// Whether no value is known, of those that were dropped neither.
    bool isUnknown(std::size_t column) const;
    /// Of all numbers that were read.
    Facts factsOf(std::size_t column) const;
    Facts& factsSoFar(std::size_t column);
    void chooseColourType(const std::vector<std::size_t>& vChannel, Channels channels);
    ClassOf classesFrom(std::size_t firstRow) const;
    void dropRows(std::size_t column, std::size_t firstRow, const std::vector<unsigned char>& vKept);

    std::vector<AttributeColumn> vColumn;
    std::vector<Facts> vFacts;  // of what isn't in the columns; may be shorter than these
    std::vector<std::string> vNote;
    std::size_t numOthers = 0, numBytesOthers = 0;
    bool bClassesOnly = false;
    const ChoosePoints* pChoice = nullptr;
    std::vector<unsigned char> vKeptLast;
    std::size_t numOlder = 0, numSettled = 0;  // points
};

/// The columns of a reader that has no use for those of classes alone: null where nobody wants others.
inline AttributeColumns* wantedColumns(AttributeColumns* pColumns) {
    return pColumns != nullptr && pColumns->areAllWanted() ? pColumns : nullptr;
}

/// What the lines of a text have behind the coordinates, where the number of words there tells what they are.
class WordColumns {
public:
    /// The names of the first words, as far as they are known, of so many.
    using NamesFor = std::function<std::vector<std::string_view>(std::size_t numWords)>;

    /// pColumns: empty, or null where nobody wants them. channels: see AttributeColumns::chooseTypes().
    WordColumns(AttributeColumns* pColumns_, NamesFor namesFor_,
                AttributeColumns::Channels channels_ = AttributeColumns::Channels::FRACTIONS)
        : pColumns(pColumns_), namesFor(std::move(namesFor_)), channels(channels_) {}

    /// Takes the words of the next row. The first ones that are taken decide which columns there are. Words that are
    /// missing, or no numbers, are values that aren't known.
    void take(std::string_view words);
    /// Leaves the rows up to that one without values.
    void skipTo(std::size_t row) { numRows = row; }
    /// AttributeColumns::settleMany(), where each point has had its words taken.
    void settleMany(std::vector<Point3>& vPoints);
    /// Gives all columns a value for each row, and types. To be called once, in the end.
    void finish();

private:
    void addColumns(std::size_t numWords);

    AttributeColumns* pColumns;
    const NamesFor namesFor;
    const AttributeColumns::Channels channels;
    std::size_t numRows = 0, numColumns = 0;
    std::size_t numFilled = 0;  ///< rows that all columns have
    bool bDecided = false;
};

/// Throws unless there is no column or a row for each of so many points, also of what is missing.
void requireRows(const PointAttributes& attributes, std::size_t numPoints);

/// The normal of each row, of length 1, or 0 where none is known; none at all where there is no normal.
std::vector<Vector3> normalsOf(const PointAttributes& attributes);

/// The colour of each row as three numbers from 0 to 1, 0 where none is known; none at all where there is no colour.
std::vector<Vector3> coloursOf(const PointAttributes& attributes);
/// The same colour as whole numbers from 0 to 255.
Vector3 asBytes(const Vector3& colour);
/// The one kind that a text of points holds behind their coordinates: the colour, else the normal.
AttributeKind kindInText(const PointAttributes& attributes);

/// Appends the rows of a file behind those of numBefore points. Leaves attributes unchanged where memory runs out, which
/// throws.
void appendRows(std::vector<AttributeColumn> vOfFile, std::size_t numBefore, std::size_t numOfFile,
                PointAttributes& attributes);

/// The linear light of a colour's channel in sRGB, both from 0 to 1.
inline double linearLight(double number) {
    return number <= 0.04045 ? number / 12.92 : std::pow((number + 0.055) / 1.055, 2.4);
}

/// The channel that has a linear light: the reverse.
inline double colourOfLight(double light) {
    return light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1.0 / 2.4) - 0.055;
}

/// Calls use(column, value of full brightness) for red, green and blue in turn, when there is a colour.
template <typename Use>
void forColour(const PointAttributes& attributes, const Use& use) {
    if (!attributes.hasColour()) return;
    for (const char* name : {"red", "green", "blue"}) {
        const AttributeColumn& column = *attributes.find(name);
        use(column, column.typeName() == "uint8" ? 255.0 : column.typeName() == "uint16" ? 65535.0 : 1.0);
    }
}

}  // namespace TARN_KEL
