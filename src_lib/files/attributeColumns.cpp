// Columns of attributes: what they are, how readers fill them, and how those of several files become one.
#include "attributeColumns.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <stdexcept>

#include "largePages.h"
#include "pointReading.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr std::array<const char*, 10> TYPE_NAMES{"int8",   "uint8", "int16",  "uint16", "int32",
                                                 "uint32", "int64", "uint64", "float",  "double"};
constexpr std::array<const char*, 3> COLOUR_NAMES{"red", "green", "blue"}, NORMAL_NAMES{"nx", "ny", "nz"};

/// Other names of columns in files, without regard to capitals.
struct Alias {
    std::string_view alias, name;
};
constexpr std::array<Alias, 14> ALIASES{{{"red", "red"},
                                         {"green", "green"},
                                         {"blue", "blue"},
                                         {"alpha", "alpha"},
                                         {"intensity", "intensity"},
                                         {"diffuse_red", "red"},
                                         {"diffuse_green", "green"},
                                         {"diffuse_blue", "blue"},
                                         {"nx", "nx"},
                                         {"ny", "ny"},
                                         {"nz", "nz"},
                                         {"normal_x", "nx"},
                                         {"normal_y", "ny"},
                                         {"normal_z", "nz"}}};

/// Names of one letter, which are channels only where those of a whole colour are there.
constexpr std::array<Alias, 4> LETTERS{{{"r", "red"}, {"g", "green"}, {"b", "blue"}, {"a", "alpha"}}};
constexpr std::size_t NUM_CHANNELS = 3;  // of these letters, without alpha

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

/// In small letters, without what some programs put before it.
std::string plainName(std::string_view name) {
    std::string lower = lowerCase(name);
    constexpr std::string_view PREFIX = "scalar_";
    if (lower.rfind(PREFIX, 0) == 0) lower.erase(0, PREFIX.size());
    return lower;
}

/// The same by another word; a label may be anything.
bool isClassification(std::string_view name) {
    const std::string plain = plainName(name);
    return plain == "class" || plain == "classification";
}

bool isClassName(std::string_view name) {
    return isClassification(name) || plainName(name) == "label";
}

template <typename T>
bool isOf(const AttributeColumn& column) {
    return std::holds_alternative<std::vector<T>>(column.values);
}

/// isGood: bool(double), of known values.
template <typename IsGood>
bool allKnown(const AttributeColumn& column, const IsGood& isGood) {
    for (std::size_t i = 0; i < column.size(); ++i)
        if (column.isKnown(i) && !isGood(column.number(i))) return false;
    return true;
}

/// The three columns of these names, if they are there and of one type.
std::optional<std::array<const AttributeColumn*, 3>> findThree(const PointAttributes& attributes,
                                                               const std::array<const char*, 3>& names) {
    std::array<const AttributeColumn*, 3> found{};
    for (std::size_t i = 0; i < names.size(); ++i) {
        found[i] = attributes.find(names[i]);
        if (found[i] == nullptr || found[i]->values.index() != found[0]->values.index()) return std::nullopt;
    }
    return found;
}

bool isFraction(const AttributeColumn& column) {
    return (isOf<float>(column) || isOf<double>(column)) && allKnown(column, [](double v) { return v >= 0.0 && v <= 1.0; });
}

template <std::size_t N>
bool isAmong(const std::string& name, const std::array<const char*, N>& names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// ---- Types

/// Gives a column another type, with values times a factor; a whole one where both types are of whole numbers.
template <typename T>
void convertTo(AttributeColumn& column, double factor = 1.0) {
    if (isOf<T>(column) && factor == 1.0) return;
    std::vector<T> vConverted;
    vConverted.reserve(column.size());
    std::visit(
        [&](const auto& vValue) {
            for (std::size_t i = 0; i < vValue.size(); ++i) {
                const bool bKnown = column.isKnown(i);
                if constexpr (std::is_integral_v<T> && std::is_integral_v<ValueOf<decltype(vValue)>>)
                    vConverted.push_back(static_cast<T>(static_cast<T>(vValue[i]) * static_cast<T>(factor)));
                else if constexpr (std::is_integral_v<T>)
                    vConverted.push_back(bKnown ? nearestInt<T>(static_cast<double>(vValue[i]) * factor) : T{0});
                else
                    vConverted.push_back(bKnown ? static_cast<T>(static_cast<double>(vValue[i]) * factor)
                                                : unknownValue<T>());
            }
        },
        column.values);
    std::vector<unsigned char> vMissing;
    if (std::is_integral_v<T>)
        for (std::size_t i = 0; i < column.size(); ++i)
            if (!column.isKnown(i)) {
                vMissing.resize(column.size());
                vMissing[i] = 1;
            }
    column.values = std::move(vConverted);
    column.vMissing = std::move(vMissing);
}

bool isWhole(const AttributeColumn& column) {
    return std::visit([](const auto& v) { return std::is_integral_v<ValueOf<decltype(v)>>; }, column.values);
}

/// Gives two columns one type that holds the numbers of both.
void unifyNumbers(AttributeColumn& a, AttributeColumn& b) {
    const bool bInt64 = isWhole(a) && isWhole(b) && !isOf<std::uint64_t>(a) && !isOf<std::uint64_t>(b);
    for (AttributeColumn* pColumn : {&a, &b})
        bInt64 ? convertTo<std::int64_t>(*pColumn) : convertTo<double>(*pColumn);
}

/// The same for channels of colours.
void unifyColours(AttributeColumn& a, AttributeColumn& b) {
    const auto isInt = [](const AttributeColumn& c) { return isOf<std::uint8_t>(c) || isOf<std::uint16_t>(c); };
    const bool bInts = isInt(a) && isInt(b);
    for (AttributeColumn* pColumn : {&a, &b}) {
        const bool bByte = isOf<std::uint8_t>(*pColumn);
        const double unit = bByte ? 255.0 : isOf<std::uint16_t>(*pColumn) ? 65535.0 : 1.0;
        if (bInts && bByte)
            convertTo<std::uint16_t>(*pColumn, 65535.0 / 255.0);
        else if (!bInts)
            convertTo<double>(*pColumn, 1.0 / unit);
    }
}

/// Gives columns of one name one type.
void unifyTypes(PointAttributes& a, PointAttributes& b) {
    std::vector<std::pair<AttributeColumn*, AttributeColumn*>> vColours, vNumbers;  // before the first one changes
    for (AttributeColumn& ofA : a.vColumns) {
        for (AttributeColumn& ofB : b.vColumns) {
            if (ofA.name != ofB.name || ofA.values.index() == ofB.values.index()) continue;
            const bool bColours = a.kindOf(ofA) == AttributeKind::COLOUR && b.kindOf(ofB) == AttributeKind::COLOUR;
            (bColours ? vColours : vNumbers).emplace_back(&ofA, &ofB);
        }
    }
    for (const auto& [pA, pB] : vColours)
        unifyColours(*pA, *pB);
    for (const auto& [pA, pB] : vNumbers)
        unifyNumbers(*pA, *pB);
}

/// Gives the classification of a file the name that those of the files before it have.
void joinClassifications(PointAttributes& file, const PointAttributes& attributes) {
    const auto findIn = [](auto& vColumns, const PointAttributes& others) {
        return std::find_if(vColumns.begin(), vColumns.end(), [&others](const AttributeColumn& column) {
            return isClassification(column.name) && others.find(column.name) == nullptr;
        });
    };
    const auto it = findIn(file.vColumns, attributes);
    const auto older = findIn(attributes.vColumns, file);
    if (it != file.vColumns.end() && older != attributes.vColumns.end()) it->name = older->name;
}

AttributeColumn emptyLike(const AttributeColumn& column) {
    const auto none = [](const auto& v) { return AttributeValues(std::decay_t<decltype(v)>()); };
    return {column.name, std::visit(none, column.values), {}};
}

/// Appends unknown values up to that size. Of those that came since one was unknown, vMissing then says that they are known.
void fillColumn(AttributeColumn& column, std::size_t numRows) {
    std::visit(
        [&](auto& vValue) {
            using T = ValueOf<decltype(vValue)>;
            const bool bShort = vValue.size() < numRows;
            if (std::is_integral_v<T> && (bShort || !column.vMissing.empty())) column.vMissing.resize(vValue.size(), 0);
            if (!bShort) return;
            if (std::is_integral_v<T>) column.vMissing.resize(numRows, 1);
            vValue.resize(numRows, unknownValue<T>());
        },
        column.values);
}

/// Moves the rows of one column behind those of another one of the same type.
void appendColumn(AttributeColumn& column, AttributeColumn& more) {
    const std::size_t numBefore = column.size();
    std::visit(
        [&](auto& vValue) {
            const auto& vMore = std::get<std::decay_t<decltype(vValue)>>(more.values);
            vValue.insert(vValue.end(), vMore.begin(), vMore.end());
        },
        column.values);
    if (column.vMissing.empty() && more.vMissing.empty()) return;
    column.vMissing.resize(numBefore, 0);
    column.vMissing.insert(column.vMissing.end(), more.vMissing.begin(), more.vMissing.end());
    column.vMissing.resize(column.size(), 0);
}

/// Takes back what appendRows() has done to the columns of earlier files, unless it comes to its end.
class RowsUndo {
public:
    /// Copies the columns whose type the file will change. numBefore: rows of the others.
    RowsUndo(const PointAttributes& file, PointAttributes& attributes_, std::size_t numBefore_)
        : attributes(attributes_), numBefore(numBefore_) {
        for (const AttributeColumn& column : attributes.vColumns) {
            const AttributeColumn* const pMore = file.find(column.name);
            const bool bChanges = pMore != nullptr && pMore->values.index() != column.values.index();
            vOlder.push_back({bChanges ? std::optional(column) : std::nullopt, !column.vMissing.empty()});
        }
    }
    ~RowsUndo() {  // all lists become shorter, which throws nothing. NOLINT(bugprone-exception-escape)
        if (bKept) return;
        attributes.vColumns.erase(attributes.vColumns.begin() + static_cast<std::ptrdiff_t>(vOlder.size()),
                                  attributes.vColumns.end());
        for (std::size_t i = 0; i < vOlder.size(); ++i) {
            AttributeColumn& column = attributes.vColumns[i];
            if (vOlder[i].copy) {
                column = std::move(*vOlder[i].copy);
                continue;
            }
            std::visit([this](auto& vValue) { vValue.resize(numBefore); }, column.values);
            column.vMissing.resize(vOlder[i].bMissing ? numBefore : 0);
        }
    }
    RowsUndo(const RowsUndo&) = delete;
    RowsUndo& operator=(const RowsUndo&) = delete;

    void keep() { bKept = true; }

private:
    struct Older {
        std::optional<AttributeColumn> copy;
        bool bMissing;
    };

    PointAttributes& attributes;
    const std::size_t numBefore;
    std::vector<Older> vOlder;
    bool bKept = false;
};

}  // namespace

// ---- What a caller sees

std::size_t AttributeColumn::size() const {
    return std::visit([](const auto& v) { return v.size(); }, values);
}

bool AttributeColumn::isKnown(std::size_t row) const {
    if (row < vMissing.size() && vMissing[row] != 0) return false;
    return std::visit(
        [row](const auto& v) {
            if constexpr (std::is_floating_point_v<ValueOf<decltype(v)>>)
                return !std::isnan(v[row]);
            else
                return true;
        },
        values);
}

double AttributeColumn::number(std::size_t row) const {
    return std::visit([row](const auto& v) { return static_cast<double>(v[row]); }, values);
}

std::string AttributeColumn::typeName() const {
    return TYPE_NAMES[values.index()];
}

std::size_t PointAttributes::numRows() const {
    return vColumns.empty() ? 0 : vColumns.front().size();
}

const AttributeColumn* PointAttributes::find(const std::string& name) const {
    const auto it = std::find_if(vColumns.begin(), vColumns.end(), [&](const auto& column) { return column.name == name; });
    return it != vColumns.end() ? &*it : nullptr;
}

void PointAttributes::set(AttributeColumn column) {
    const auto it =
        std::find_if(vColumns.begin(), vColumns.end(), [&](const auto& other) { return other.name == column.name; });
    if (it != vColumns.end())
        *it = std::move(column);
    else
        vColumns.push_back(std::move(column));
}

bool PointAttributes::hasColour() const {
    const auto three = findThree(*this, COLOUR_NAMES);
    if (!three) return false;
    if (isOf<std::uint8_t>(*three->front()) || isOf<std::uint16_t>(*three->front())) return true;
    return std::all_of(three->begin(), three->end(), [](const AttributeColumn* p) { return isFraction(*p); });
}

AttributeKind PointAttributes::kindOf(const AttributeColumn& column) const {
    if (isClassName(column.name)) return AttributeKind::CLASS;
    if (isAmong(column.name, COLOUR_NAMES) && hasColour()) return AttributeKind::COLOUR;
    if (isAmong(column.name, NORMAL_NAMES) && (isOf<float>(column) || isOf<double>(column)) &&
        findThree(*this, NORMAL_NAMES))
        return AttributeKind::NORMAL;
    return AttributeKind::NUMBER;
}

PointAttributes PointAttributes::rows(const std::vector<std::size_t>& vRows) const {
    PointAttributes chosen;
    const auto gathered = [&vRows](const auto& v) {
        std::decay_t<decltype(v)> vChosen;
        vChosen.reserve(vRows.size());
        for (const std::size_t row : vRows)
            vChosen.push_back(v[row]);
        return vChosen;
    };
    for (const AttributeColumn& column : vColumns) {
        ASSEX(column.vMissing.empty() || column.vMissing.size()==column.size());
        AttributeColumn& copy = chosen.vColumns.emplace_back();
        copy.name = column.name;
        copy.values = std::visit([&](const auto& v) { return AttributeValues(gathered(v)); }, column.values);
        if (!column.vMissing.empty()) copy.vMissing = gathered(column.vMissing);
    }
    return chosen;
}

// ---- While a file is read

std::string knownName(std::string_view name) {
    const std::string lower = lowerCase(name);
    for (const Alias& alias : ALIASES)
        if (alias.alias == lower) return std::string(alias.name);
    return std::string(name);
}

std::size_t AttributeColumns::add(std::string_view name, AttributeValues values) {
    const auto isTaken = [this](const std::string& text) {
        return std::any_of(vColumn.begin(), vColumn.end(), [&](const auto& column) { return column.name == text; });
    };
    if (name.empty() || (bClassesOnly && !isClassName(name))) return NONE;
    if (isFull()) {
        ++numOthers;
        return NONE;
    }
    std::string ownName = knownName(name);
    for (int number = 2; isTaken(ownName); ++number)
        ownName = std::string(name) + "_" + std::to_string(number);
    vColumn.push_back({std::move(ownName), std::move(values), {}});
    return vColumn.size() - 1;
}

void AttributeColumns::reserve(std::size_t numRows) {
    if (isChoosing()) return;
    for (AttributeColumn& column : vColumn)
        std::visit([numRows](auto& vValue) { reserveLarge(vValue, vValue.size() + numRows); }, column.values);
}

void AttributeColumns::appendBytes(std::size_t column, const char* p, std::size_t stride, std::uint64_t num) {
    std::visit(
        [&](auto& vValue) {
            using T = ValueOf<decltype(vValue)>;
            const std::size_t numBefore = vValue.size();
            vValue.resize(numBefore + num);
            T* pTo = vValue.data() + numBefore;  // as bytes that are stored might change where the vector says that it is
            for (std::uint64_t i = 0; i < num; ++i, p += stride)
                *pTo++ = loadNumber<T>(p);
        },
        vColumn[column].values);
}

void AttributeColumns::appendText(std::size_t column, std::string_view text) {
    const bool bTaken = std::visit(
        [&](auto& vValue) {
            using T = ValueOf<decltype(vValue)>;
            if constexpr (std::is_floating_point_v<T>) {
                vValue.push_back(static_cast<T>(numberOf(text).value_or(unknownValue<double>())));
                return true;
            } else {
                T value{};
                const char* const end = text.data() + text.size();
                const bool bNumber = !text.empty() && extractInt(text.data(), end, value) == end;
                if (bNumber) vValue.push_back(value);
                return bNumber;
            }
        },
        vColumn[column].values);
    if (!bTaken) appendUnknown(column);
}

void AttributeColumns::append(std::size_t column, double value) {
    std::visit(
        [value](auto& vValue) {
            using T = ValueOf<decltype(vValue)>;
            if constexpr (std::is_floating_point_v<T>)
                vValue.push_back(static_cast<T>(value));
            else
                vValue.push_back(nearestInt<T>(value));
        },
        vColumn[column].values);
}

void AttributeColumns::fill(std::size_t column, std::size_t numRows) {
    fillColumn(vColumn[column], numRows);
}

void AttributeColumns::fillAll(std::size_t numRows) {
    for (AttributeColumn& column : vColumn)
        fillColumn(column, numRows);
}

std::size_t AttributeColumns::find(std::string_view name) const {
    const auto it = std::find_if(vColumn.begin(), vColumn.end(), [&](const auto& column) { return column.name == name; });
    return it != vColumn.end() ? static_cast<std::size_t>(it - vColumn.begin()) : NONE;
}

void AttributeColumns::nameChannels() {
    std::array<AttributeColumn*, LETTERS.size()> aColumn{};
    for (std::size_t i = 0; i < LETTERS.size(); ++i) {
        if (find(LETTERS[i].name) != NONE) continue;
        const auto isLetter = [&](const auto& column) { return lowerCase(column.name) == LETTERS[i].alias; };
        const auto it = std::find_if(vColumn.begin(), vColumn.end(), isLetter);
        if (it != vColumn.end()) aColumn[i] = &*it;
    }
    if (std::find(aColumn.begin(), aColumn.begin() + NUM_CHANNELS, nullptr) != aColumn.begin() + NUM_CHANNELS) return;
    for (std::size_t i = 0; i < LETTERS.size(); ++i)
        if (aColumn[i] != nullptr) aColumn[i]->name = LETTERS[i].name;
}

// ---- Types of texts

void AttributeColumns::Facts::take(double number) {
    constexpr double MOST_BYTE = 255.0;
    constexpr double ROUNDED = 1e-3;  // six digits tell bytes apart, and from most fractions
    least = std::min(least, number);
    greatest = std::max(greatest, number);
    bWhole = bWhole && number == std::floor(number);
    bByteShares = bByteShares && std::abs(number * MOST_BYTE - std::round(number * MOST_BYTE)) <= ROUNDED;
}

AttributeColumns::Facts& AttributeColumns::factsSoFar(std::size_t column) {
    if (vFacts.size() < vColumn.size()) vFacts.resize(vColumn.size());
    return vFacts[column];
}

void AttributeColumns::noteSpelling(std::size_t column, std::string_view text) {
    bool& bDecimals = factsSoFar(column).bDecimals;
    bDecimals = bDecimals || text.find_first_of(".eE") != std::string_view::npos;
}

AttributeColumns::Facts AttributeColumns::factsOf(std::size_t column) const {
    Facts facts = column < vFacts.size() ? vFacts[column] : Facts();
    for (std::size_t i = 0; i < size(column); ++i)
        if (vColumn[column].isKnown(i)) facts.take(vColumn[column].number(i));
    return facts;
}

bool AttributeColumns::isUnknown(std::size_t column) const {
    return (column >= vFacts.size() || vFacts[column].isNone()) && allKnown(vColumn[column], [](double) { return false; });
}

void AttributeColumns::chooseTypes(Channels channels) {
    constexpr double LEAST = std::numeric_limits<std::int32_t>::min(), MOST = std::numeric_limits<std::int32_t>::max();
    std::vector<std::size_t> vUnknown;
    for (std::size_t i = 0; i < vColumn.size(); ++i) {
        if (isUnknown(i))
            vUnknown.push_back(i);
        else if (const Facts facts = isClassName(vColumn[i].name) ? factsOf(i) : Facts(); facts.isWholeIn(LEAST, MOST))
            convertTo<std::int32_t>(vColumn[i]);
    }
    drop(vUnknown);
    nameChannels();
    const std::vector<std::size_t> vColour{find(COLOUR_NAMES[0]), find(COLOUR_NAMES[1]), find(COLOUR_NAMES[2])};
    if (std::find(vColour.begin(), vColour.end(), NONE) != vColour.end()) return;
    chooseColourType(vColour, channels);
    if (const std::size_t alpha = find("alpha"); alpha != NONE)
        chooseColourType({alpha}, Channels::FRACTIONS);  // often from 0 to 1 beside bytes
}

// Nothing above 1 means fractions; 256 is what some make of full brightness.
void AttributeColumns::chooseColourType(const std::vector<std::size_t>& vChannel, Channels channels) {
    constexpr double MOST_BYTE = 255.0, FULL_BYTE = 256.0, MOST_SHORT = 65535.0;
    std::vector<Facts> vOfChannel;
    vOfChannel.reserve(vChannel.size());
    for (const std::size_t channel : vChannel)
        vOfChannel.push_back(factsOf(channel));
    const auto all = [&](const auto& isGood) { return std::all_of(vOfChannel.begin(), vOfChannel.end(), isGood); };
    const auto areWhole = [&](double most) {
        return all([most](const Facts& facts) { return facts.isWholeIn(0.0, most); });
    };
    const bool bSpelledWhole =
        channels == Channels::BY_SPELLING && all([](const Facts& facts) { return facts.bWhole && !facts.bDecimals; });
    const bool bFractions = !bSpelledWhole && all([](const Facts& facts) { return facts.isIn(0.0, 1.0); });
    const bool bBytes = bFractions ? all([](const Facts& facts) { return facts.bByteShares; }) : areWhole(FULL_BYTE);
    const bool bShorts = !bFractions && areWhole(MOST_SHORT);
    for (const std::size_t channel : vChannel) {
        if (bBytes)
            convertTo<std::uint8_t>(vColumn[channel], bFractions ? MOST_BYTE : 1.0);
        else if (bShorts)
            convertTo<std::uint16_t>(vColumn[channel]);
    }
}

void AttributeColumns::narrowBytes(const std::vector<std::size_t>& vColumns) {
    for (const std::size_t column : vColumns)
        convertTo<std::uint8_t>(vColumn[column]);
}

void AttributeColumns::drop(const std::vector<std::size_t>& vColumns) {
    for (auto it = vColumns.rbegin(); it != vColumns.rend(); ++it) {
        vColumn.erase(vColumn.begin() + static_cast<std::ptrdiff_t>(*it));
        if (*it < vFacts.size()) vFacts.erase(vFacts.begin() + static_cast<std::ptrdiff_t>(*it));
    }
}

// ---- Points that are chosen

ClassOf AttributeColumns::classesFrom(std::size_t firstRow) const {
    const auto isClass = [](const AttributeColumn& column) { return isClassName(column.name); };
    const auto it = std::find_if(vColumn.begin(), vColumn.end(), isClass);
    if (it == vColumn.end()) return {};
    return [&classes = *it, firstRow](std::size_t i) -> std::optional<double> {
        if (!classes.isKnown(firstRow + i)) return std::nullopt;
        return classes.number(firstRow + i);
    };
}

const std::vector<unsigned char>& AttributeColumns::settlePoints(std::vector<Point3>& vPoints, const ClassOf& classOf) {
    const std::size_t first = numOlder + numSettled;
    vKeptLast.assign(vPoints.size() - first, 0);
    (*pChoice)(std::span(vPoints).subspan(first), classOf, vKeptLast);
    std::size_t numKept = 0;
    for (std::size_t i = 0; i < vKeptLast.size(); ++i)
        if (vKeptLast[i] != 0) vPoints[first + numKept++] = vPoints[first + i];
    vPoints.resize(first + numKept);
    numSettled += numKept;
    return vKeptLast;
}

void AttributeColumns::settle(std::vector<Point3>& vPoints) {
    if (!isChoosing() || vPoints.size() == numOlder + numSettled) return;
    const std::size_t firstRow = numSettled;
    fillAll(vPoints.size() - numOlder);
    const std::vector<unsigned char>& vKept = settlePoints(vPoints, classesFrom(firstRow));
    if (std::find(vKept.begin(), vKept.end(), 0) == vKept.end()) return;
    for (std::size_t column = 0; column < vColumn.size(); ++column)
        dropRows(column, firstRow, vKept);
}

void AttributeColumns::dropRows(std::size_t column, std::size_t firstRow, const std::vector<unsigned char>& vKept) {
    AttributeColumn& values = vColumn[column];
    const bool bFacts = isOf<double>(values);  // types are chosen for no others
    Facts& facts = factsSoFar(column);
    const auto compact = [&](auto& v) {
        std::size_t numRows = firstRow;
        for (std::size_t i = 0; i < vKept.size(); ++i)
            if (vKept[i] != 0) v[numRows++] = v[firstRow + i];
        v.resize(numRows);
    };
    if (bFacts)
        for (std::size_t i = 0; i < vKept.size(); ++i)
            if (vKept[i] == 0 && values.isKnown(firstRow + i)) facts.take(values.number(firstRow + i));
    std::visit(compact, values.values);
    if (!values.vMissing.empty()) compact(values.vMissing);
}

void WordColumns::take(std::string_view words) {
    if (pColumns == nullptr) return;
    if (!std::exchange(bDecided, true)) addColumns(wordsOf(words).size());
    if (numFilled != numRows) pColumns->fillAll(numRows);
    const char* p = words.data();
    const char* const end = p + words.size();
    std::size_t column = 0;
    for (p = skipSpace(p, end); column < numColumns && p != end; ++column) {
        const char* const behind = endOfWord(p, end);
        const std::string_view word(p, static_cast<std::size_t>(behind - p));
        pColumns->appendText(column, word);
        if (channels == AttributeColumns::Channels::BY_SPELLING) pColumns->noteSpelling(column, word);
        p = skipSpace(behind, end);
    }
    numFilled = ++numRows;
    if (column < numColumns) pColumns->fillAll(numRows);
}

void WordColumns::addColumns(std::size_t numWords) {
    for (const std::string_view name : namesFor(numWords)) {
        if (pColumns->add(name, noValues<double>()) == AttributeColumns::NONE) break;
        ++numColumns;
    }
    if (numWords > numColumns) pColumns->leaveOut(numWords - numColumns);
}

void WordColumns::settleMany(std::vector<Point3>& vPoints) {
    if (pColumns == nullptr || !pColumns->isChoosing()) return;
    pColumns->settleMany(vPoints);
    numFilled = numRows = pColumns->numRowsOf(vPoints);
}

void WordColumns::finish() {
    if (pColumns == nullptr) return;
    pColumns->fillAll(numRows);
    pColumns->chooseTypes(channels);
}

// ---- Several files

void requireRows(const PointAttributes& attributes, std::size_t numPoints) {
    const std::size_t numRows = numPoints;
    for (const AttributeColumn& column : attributes.vColumns) {
        ASSEX(column.size()==numRows);
        ASSEX(column.vMissing.empty() || column.vMissing.size()==numRows);
    }
}

std::vector<Vector3> normalsOf(const PointAttributes& attributes) {
    const auto three = findThree(attributes, NORMAL_NAMES);
    std::vector<Vector3> vNormals;
    if (!three || attributes.kindOf(*three->front()) != AttributeKind::NORMAL) return vNormals;
    vNormals.reserve(attributes.numRows());
    for (std::size_t row = 0; row < attributes.numRows(); ++row) {
        const Vector3 normal((*three)[0]->number(row), (*three)[1]->number(row), (*three)[2]->number(row));
        const double length = normal.length();
        vNormals.push_back(std::isfinite(length) && length > 0.0 ? normal / length : Vector3());
    }
    return vNormals;
}

std::vector<Vector3> coloursOf(const PointAttributes& attributes) {
    std::vector<std::array<double, 3>> vChannels(attributes.numRows());
    std::size_t channel = 0;
    forColour(attributes, [&](const AttributeColumn& column, double brightest) {
        for (std::size_t i = 0; i < vChannels.size(); ++i)
            vChannels[i][channel] = column.isKnown(i) ? column.number(i) / brightest : 0.0;
        ++channel;
    });
    std::vector<Vector3> vColours;
    if (channel == 0) return vColours;
    vColours.reserve(vChannels.size());
    for (const auto& [red, green, blue] : vChannels)
        vColours.emplace_back(red, green, blue);
    return vColours;
}

AttributeKind kindInText(const PointAttributes& attributes) {
    return attributes.hasColour() ? AttributeKind::COLOUR : AttributeKind::NORMAL;
}

Vector3 asBytes(const Vector3& colour) {
    constexpr double MOST = 255.0;
    return {std::round(colour.x() * MOST), std::round(colour.y() * MOST), std::round(colour.z() * MOST)};
}

void appendRows(std::vector<AttributeColumn> vOfFile, std::size_t numBefore, std::size_t numOfFile,
                PointAttributes& attributes) {
    PointAttributes file{std::move(vOfFile)};
    joinClassifications(file, attributes);
    RowsUndo undo(file, attributes, numBefore);
    unifyTypes(file, attributes);
    for (AttributeColumn& column : file.vColumns) {
        const auto it = std::find_if(attributes.vColumns.begin(), attributes.vColumns.end(),
                                     [&](const auto& older) { return older.name == column.name; });
        if (it == attributes.vColumns.end() && numBefore == 0) {  // without a copy, which takes as long as reading
            attributes.vColumns.push_back(std::move(column));
            continue;
        }
        AttributeColumn& older = it != attributes.vColumns.end() ? *it : attributes.vColumns.emplace_back(emptyLike(column));
        fillColumn(older, numBefore);
        appendColumn(older, column);
    }
    for (AttributeColumn& column : attributes.vColumns)
        fillColumn(column, numBefore + numOfFile);
    undo.keep();
}

}  // namespace TARN_KEL
