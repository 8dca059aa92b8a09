// Points of CSV files with a header.
//
// The first line names the columns, behind comments that begin with '#' and a line such as "sep=;", if any. Names of columns
// end before a unit, as in "X [m]"; x, y and z in either case and with or without quotes may be anywhere among them, and the
// other columns may hold anything; their numbers are attributes. Columns are separated by commas, semicolons or tabs: by the
// one of them that gives the header all three names. A cell that begins with a quote ends at the next one, two quotes in it
// stand for one; line ends in cells are refused. A line with more cells than the header is refused: decimal commas make
// such lines of a table that is separated by commas, and elsewhere cells that are no numbers.
#include "csv_io.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "attributeColumns.h"
#include "pointReading.h"

namespace TARN_KEL {

namespace {

/// Where the coordinates are in a line.
struct CsvTable {
    char separator = ',';
    std::size_t numColumns = 0;
    std::array<std::size_t, 3> aColumn{};
    std::vector<std::size_t> vAttribute;  ///< of each column its number among those that are kept; none where none is
};

/// A name without the unit behind it, as in "X [m]".
std::string_view withoutUnit(std::string_view name) {
    std::string_view plain = name.substr(0, name.find_first_of("[("));
    while (!plain.empty() && isSpace(plain.back()))
        plain.remove_suffix(1);
    return plain.empty() ? name : plain;
}

bool isAxis(std::string_view name) {
    return name.size() == 1 && std::string_view("xyzXYZ").find(name) != std::string_view::npos;
}

/// The place after the cell at p: a separator or end.
const char* endOfCell(const char* p, const char* end, char separator) {
    if (p != end && *p == '"') {
        do {
            p = std::find(p + 1, end, '"');
            if (p != end) ++p;
        } while (p != end && *p == '"');
    }
    return std::find(p, end, separator);
}

/// Whether the quotes that a cell begins with don't end in its line.
bool isOpen(std::string_view cell) {
    return !cell.empty() && cell.front() == '"' && std::count(cell.begin(), cell.end(), '"') % 2 != 0;
}

/// What a cell says, without the quotes and blanks around it. Quotes within it stay doubled.
std::string_view contentOf(std::string_view cell) {
    const auto trim = [&](const auto& isDropped) {
        while (!cell.empty() && isDropped(cell.front()))
            cell.remove_prefix(1);
        while (!cell.empty() && isDropped(cell.back()))
            cell.remove_suffix(1);
    };
    trim(isSpace);
    trim([](char c) { return c == '"'; });
    trim(isSpace);
    return cell;
}

/// Calls take(column, content) for the cells of a line. Returns their number; an empty one behind a last separator isn't
/// one.
template <typename Take>
std::size_t forCells(std::string_view line, char separator, const Take& take) {
    const char* p = line.data();
    const char* end = p + line.size();
    if (p != end && end[-1] == '\r') --end;
    std::size_t column = 0;
    while (p != end) {
        const char* const behind = endOfCell(p, end, separator);
        take(column++, std::string_view(p, static_cast<std::size_t>(behind - p)));
        p = behind != end ? behind + 1 : end;
    }
    return column;
}

/// The table of a header whose names are separated so; empty when not all of x, y and z are among them.
std::optional<CsvTable> tableOf(std::string_view header, char separator) {
    CsvTable table;
    table.separator = separator;
    std::array<bool, 3> aFound{};
    table.numColumns = forCells(header, separator, [&](std::size_t column, std::string_view cell) {
        const std::string_view name = withoutUnit(contentOf(cell));
        if (!isAxis(name)) return;
        const std::size_t axis = std::string_view("xyzXYZ").find(name) % 3;
        if (aFound[axis]) return;
        table.aColumn[axis] = column;
        aFound[axis] = true;
    });
    return aFound[0] && aFound[1] && aFound[2] ? std::optional(table) : std::nullopt;
}

/// The table of a line that names x, y and z. separators: those that may be between the names, in the order of trial.
/// pAttributes: null where none are kept.
std::optional<CsvTable> tableOf(std::string_view line, std::string_view separators, AttributeColumns* pAttributes) {
    line.remove_prefix(std::min(line.find_first_not_of("#/"), line.size()));  // some mark the header as a comment
    for (const char separator : separators) {
        std::optional<CsvTable> table = tableOf(line, separator);
        if (!table) continue;
        if (pAttributes != nullptr)
            forCells(line, separator, [&](std::size_t, std::string_view cell) {
                const std::string_view name = withoutUnit(contentOf(cell));
                table->vAttribute.push_back(isAxis(name) ? AttributeColumns::NONE
                                                         : pAttributes->add(name, std::vector<double>()));
            });
        return table;
    }
    return std::nullopt;
}

/// The separator that a line such as "sep=;" names, as spreadsheets write it before the header.
std::optional<char> separatorOf(std::string_view line) {
    constexpr std::string_view WORD = "sep=";
    const std::string_view content = contentOf(line);
    if (content.size() != WORD.size() + 1) return std::nullopt;
    return content.starts_with(WORD) || content.starts_with("SEP=") ? std::optional(content.back()) : std::nullopt;
}

/// Reads up to the header, which comments may stand before. Empty for a file of nothing, which has no points.
std::optional<CsvTable> readCsvHeader(NumberedLines& lines, AttributeColumns* pAttributes) {
    std::string separators = ",;\t";
    bool bText = false;
    for (std::string_view line; lines.next(line); bText = true) {
        if (std::optional<CsvTable> table = tableOf(line, separators, pAttributes)) return table;
        if (const std::optional<char> separator = separatorOf(line))
            separators = *separator;
        else if (line.front() != '#')
            lines.refuseLine("expected a header with x, y and z, separated by commas, semicolons or tabs");
    }
    if (bText) refuse("ends before a header with x, y and z");
    return std::nullopt;
}

/// Whether all cells of a line are empty, as spreadsheets leave them behind the last row.
bool isEmptyRow(std::string_view line, char separator) {
    return std::all_of(line.begin(), line.end(), [separator](char c) { return c == separator || isSpace(c); });
}

/// numAbsent: increased by the number of cells that the line lacks.
Point3 pointOfCells(std::string_view line, const CsvTable& table, const NumberedLines& lines, AttributeColumns* pAttributes,
                    std::uint64_t& numAbsent) {
    std::array<double, 3> aValue{};
    std::array<bool, 3> aFound{};
    const std::size_t numCells = forCells(line, table.separator, [&](std::size_t column, std::string_view cell) {
        if (isOpen(cell)) lines.refuseLine("it ends within quotes, and line ends in cells can't be read");
        for (std::size_t axis = 0; axis < aValue.size(); ++axis) {
            if (table.aColumn[axis] != column) continue;
            std::optional<double> value = numberOf(cell);
            if (!value) value = numberOf(contentOf(cell));
            if (!value) lines.refuseLine(std::string("expected a number, with a decimal point if any, for ") + "xyz"[axis]);
            aValue[axis] = *value;
            aFound[axis] = true;
        }
        if (column < table.vAttribute.size() && table.vAttribute[column] != AttributeColumns::NONE)
            pAttributes->appendText(table.vAttribute[column], contentOf(cell));
    });
    if (numCells > table.numColumns)
        lines.refuseLine("more cells than the " + std::to_string(table.numColumns) + " columns of the header");
    if (!aFound[0] || !aFound[1] || !aFound[2]) lines.refuseLine("it ends before x, y and z");
    numAbsent += table.numColumns - numCells;
    return {aValue[0], aValue[1], aValue[2]};
}

void readCsvPoints(BlockReader& reader, std::vector<Point3>& vPoints, AttributeColumns* pAttributes) {
    const std::size_t numBefore = vPoints.size();
    NumberedLines lines(reader);
    std::optional<CsvTable> found = readCsvHeader(lines, pAttributes);
    if (!found) return;
    CsvTable& table = *found;
    std::uint64_t numAbsent = 0;
    for (std::string_view line; lines.next(line);) {
        if (isEmptyRow(line, table.separator)) continue;
        const std::uint64_t numAbsentBefore = numAbsent;
        vPoints.push_back(pointOfCells(line, table, lines, pAttributes, numAbsent));
        if (numAbsent > lines.numBytes() && !table.vAttribute.empty()) {  // memory must not be what a header claims
            pAttributes->leaveOutAll();
            table.vAttribute.clear();
        }
        if (pAttributes == nullptr) continue;
        if (numAbsent != numAbsentBefore) pAttributes->fillAll(vPoints.size() - numBefore);
        pAttributes->settleMany(vPoints);
    }
    if (pAttributes != nullptr) pAttributes->chooseTypes();
}

}  // namespace

bool readCsv(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes) {
    return readAllOrNothing(filename, vPoints,
                            [pAttributes](const InputFile&, BlockReader& reader, std::vector<Point3>& vAppended) {
                                readCsvPoints(reader, vAppended, pAttributes);
                            });
}

}  // namespace TARN_KEL
