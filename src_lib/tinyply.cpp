// The generic PLY layer.
//
// Reading first makes a plan of each element: the type and width of each property, and the buffer that it is read into, if
// any. Before the body is read, the plan is compared with the length of the stream, if that is known: a value takes at least
// its width in binary and two characters in text, so a wrong count is found without reading or reserving anything. The body
// is then read in one pass. Binary items without lists have a fixed width and are copied row by row; everything else is read
// property by property. Buffers grow with the bytes read, so that a stream of unknown length can't make them grow beyond it.
//
// Writing has a plan as well: the pieces of an item, where properties that lie side by side in memory become one piece.
//
// In text a value is a word. A word must be a number of the type in the header as a whole, else it is an error: a stream
// would stop in its middle and read its rest as the next value. Properties that weren't requested are skipped.
#include "tinyply.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <istream>
#include <limits>
#include <locale>
#include <optional>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string_view>
#include <type_traits>
#include <utility>

#include "BlockReader.h"
#include "pointReading.h"
#include "textNumbers.h"

namespace PLY {

using TARN_KEL::BlockReader;

namespace {

/// Place of a property: element, property, both by position in the header.
using PropertyKey = std::pair<std::size_t, std::size_t>;

struct Request {
    std::shared_ptr<PlyData> pData;
    std::uint32_t listSizeHint = 0;
};

/// Where the values of a property to be written lie.
struct Source {
    const std::uint8_t* data = nullptr;  ///< not owned; of the first item
    std::size_t step = 0;                ///< bytes from item to item
    int textDigits = 0;                  ///< significant ones; 0: those of the stream
};

/// Calls f with a value of the C++ type that a Type names.
template <typename F>
decltype(auto) visitType(Type type, F&& f) {
    switch (type) {
    case Type::INT8:
        return f(std::int8_t{});
    case Type::UINT8:
        return f(std::uint8_t{});
    case Type::INT16:
        return f(std::int16_t{});
    case Type::UINT16:
        return f(std::uint16_t{});
    case Type::INT32:
        return f(std::int32_t{});
    case Type::UINT32:
        return f(std::uint32_t{});
    case Type::FLOAT32:
        return f(float{});
    case Type::FLOAT64:
        return f(double{});
    case Type::INVALID:
        break;
    }
    throw std::runtime_error("invalid ply property");
}

std::size_t widthOf(Type type) {
    const auto it = PropertyTable.find(type);
    if (it == PropertyTable.end()) throw std::runtime_error("invalid ply property");
    return it->second.width;
}

bool isCountType(Type type) {
    return type >= Type::INT8 && type <= Type::UINT32;
}

Type typeFromName(std::string_view name) {
    for (const auto& [type, info] : PropertyTable)
        if (info.name == name || info.altName == name) return type;
    return Type::INVALID;
}

template <typename T>
void swapEach(std::uint8_t* p, std::size_t numBytes) {
    for (std::uint8_t* const end = p + numBytes / sizeof(T) * sizeof(T); p != end; p += sizeof(T))
        std::reverse(p, p + sizeof(T));
}

/// Changes the byte order of values that lie one behind the other.
void swapBytes(std::uint8_t* p, std::size_t numBytes, std::size_t width) {
    switch (width) {
    case 1:
        return;
    case 2:
        return swapEach<std::uint16_t>(p, numBytes);
    case 4:
        return swapEach<std::uint32_t>(p, numBytes);
    case 8:
        return swapEach<std::uint64_t>(p, numBytes);
    default:
        throw std::runtime_error("unhandled type");
    }
}

/// where: which item of the body there is nothing left for, if that is known.
[[noreturn]] void throwShortBody(const std::string& where = "") {
    throw std::runtime_error("unexpected end of file" + where);
}

std::string inItem(const PlyElement& element, std::size_t item) {
    return ": element " + element.name + ", item " + std::to_string(item + 1) + " of " + std::to_string(element.size);
}

std::size_t checkedProduct(std::size_t a, std::size_t b) {
    std::size_t product = 0;
    if (__builtin_mul_overflow(a, b, &product)) throwShortBody();
    return product;
}

// ---- Header

/// The next line without its end; false at the end of the stream.
bool nextHeaderLine(std::istream& in, std::string& line) {
    constexpr std::size_t MAX_LINE = std::size_t{1} << 20;
    using Traits = std::istream::traits_type;
    line.clear();
    if (!in.good()) return false;
    for (;;) {
        const Traits::int_type c = in.rdbuf()->sbumpc();
        const bool bEnd = Traits::eq_int_type(c, Traits::eof());
        if (bEnd || c == '\n') {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            return !bEnd || !line.empty();
        }
        if (line.size() == MAX_LINE) throw std::runtime_error("header line without an end");
        line.push_back(Traits::to_char_type(c));
    }
}

std::vector<std::string> splitWords(const std::string& line) {
    std::vector<std::string> vWord;
    const char* p = line.data();
    const char* const end = p + line.size();
    while ((p = TARN_KEL::skipSpace(p, end)) != end) {
        const char* const behind = std::find_if(p, end, TARN_KEL::isSpace);
        vWord.emplace_back(p, behind);
        p = behind;
    }
    return vWord;
}

PlyElement parseElement(const std::vector<std::string>& vWord) {
    PlyElement element;
    if (vWord.size() < 3) throw std::runtime_error("element without name or count");
    element.name = vWord[1];
    const std::string& count = vWord[2];
    const char* const end = count.data() + count.size();
    if (TARN_KEL::extractInt(count.data(), end, element.size) != end)
        throw std::runtime_error("element count is not valid: " + count);
    return element;
}

PlyProperty parseProperty(const std::vector<std::string>& vWord) {
    PlyProperty property;
    property.isList = vWord.size() > 1 && vWord[1] == "list";
    const std::size_t numWords = property.isList ? 5 : 3;
    if (vWord.size() < numWords) throw std::runtime_error("property without type or name");
    if (property.isList) property.listType = typeFromName(vWord[2]);
    property.propertyType = typeFromName(vWord[numWords - 2]);
    property.name = vWord[numWords - 1];
    return property;
}

// ---- Reading the body

/// How a property of an element is read.
struct ReadPlan {
    PlyProperty property;
    std::size_t width = 0;     ///< of a value
    PlyData* pData = nullptr;  ///< null: skipped
    std::uint32_t listSizeHint = 0;
};

/// Bytes of a stream from here to its end; nothing for a stream that can't be sought.
std::optional<std::size_t> bytesLeft(std::istream& in) {
    if (in.eof() && !in.bad()) in.clear();
    const std::istream::pos_type pos = in.tellg();
    if (pos == std::istream::pos_type(-1) || !in.seekg(0, std::ios_base::end)) return std::nullopt;
    const std::istream::off_type num = in.tellg() - pos;
    in.seekg(pos);
    return static_cast<std::size_t>(std::max<std::istream::off_type>(num, 0));
}

/// Walks the body of one file.
class BodyReader {
public:
    BodyReader(BlockReader& in_, bool bBinary_, bool bBigEndian_) : in(in_), bBinary(bBinary_), bBigEndian(bBigEndian_) {}

    /// All items of one element, which must outlive the call.
    void read(const PlyElement& element, const std::vector<ReadPlan>& vPlan) {
        const bool bHasList = std::any_of(vPlan.begin(), vPlan.end(), [](const auto& plan) { return plan.property.isList; });
        pElement = &element;
        if (bBinary && !bHasList) return readRows(element.size, vPlan);
        for (item = 0; item < element.size; ++item)
            for (const ReadPlan& plan : vPlan)
                plan.property.isList ? readList(plan) : readValues(plan, 1);
    }

private:
    [[noreturn]] void throwShort() const { throwShortBody(inItem(*pElement, item)); }

    /// Binary items of one width.
    void readRows(std::size_t numItems, const std::vector<ReadPlan>& vPlan) {
        std::size_t stride = 0;
        for (const ReadPlan& plan : vPlan)
            stride += plan.width;
        const std::vector<Cut> vCut = makeCuts(vPlan);
        if (vCut.empty() && !in.skipFar(checkedProduct(numItems, stride))) throwShortBody();
        while (!vCut.empty() && numItems > 0) {
            item = pElement->size - numItems;
            if (!in.fill(stride)) throwShort();
            const std::size_t numRows = std::min(numItems, in.size() / stride);
            for (const Cut& cut : vCut)
                cutRows(cut, numRows, stride);
            in.skip(numRows * stride);
            numItems -= numRows;
        }
    }

    /// What one buffer takes from a row: runs of bytes (offset in the row, length).
    struct Cut {
        PlyData* pData;
        std::size_t numBytes;
        std::vector<std::pair<std::size_t, std::size_t>> vRun;
    };
    static std::vector<Cut> makeCuts(const std::vector<ReadPlan>& vPlan) {
        std::vector<Cut> vCut;
        std::size_t offset = 0;
        for (const ReadPlan& plan : vPlan) {
            const std::size_t start = std::exchange(offset, offset + plan.width);
            if (plan.pData == nullptr) continue;
            auto it = std::find_if(vCut.begin(), vCut.end(), [&](const Cut& cut) { return cut.pData == plan.pData; });
            if (it == vCut.end()) it = vCut.insert(it, Cut{plan.pData, 0, {}});
            it->numBytes += plan.width;
            if (!it->vRun.empty() && it->vRun.back().first + it->vRun.back().second == start)
                it->vRun.back().second += plan.width;
            else
                it->vRun.emplace_back(start, plan.width);
        }
        return vCut;
    }
    void cutRows(const Cut& cut, std::size_t numRows, std::size_t stride) {
        std::vector<std::uint8_t>& buffer = cut.pData->buffer;
        const std::size_t numBefore = buffer.size();
        buffer.resize(numBefore + numRows * cut.numBytes);
        std::uint8_t* pTo = buffer.data() + numBefore;
        const char* pRow = in.begin();
        for (std::size_t i = 0; i < numRows; ++i, pRow += stride) {
            for (const auto& [offset, length] : cut.vRun) {
                std::memcpy(pTo, pRow + offset, length);
                pTo += length;
            }
        }
    }

    void readList(const ReadPlan& plan) {
        const std::uint32_t length = readListLength(plan.property.listType);
        if (plan.pData != nullptr) {
            if (plan.listSizeHint != 0 && length != plan.listSizeHint)
                throw std::runtime_error("a list of " + std::to_string(length) + " values where " +
                                         std::to_string(plan.listSizeHint) + " are expected");
            plan.pData->vListLength.push_back(length);
        }
        readValues(plan, length);
    }

    std::uint32_t readListLength(Type type) {
        const std::int64_t length = bBinary ? readBinaryInt(type) : readTextValue<std::int64_t>();
        if (length < 0 || length > std::numeric_limits<std::uint32_t>::max())
            throw std::runtime_error("list count is not valid: " + std::to_string(length));
        return static_cast<std::uint32_t>(length);
    }

    std::int64_t readBinaryInt(Type type) {
        const std::size_t width = widthOf(type);
        if (!in.fill(width)) throwShort();
        std::array<std::uint8_t, 8> aByte{};
        std::memcpy(aByte.data(), in.begin(), width);
        in.skip(width);
        if (bBigEndian) swapBytes(aByte.data(), width, width);
        return visitType(type, [&](auto value) {
            std::memcpy(&value, aByte.data(), sizeof value);
            return static_cast<std::int64_t>(value);
        });
    }

    void readValues(const ReadPlan& plan, std::size_t num) {
        if (bBinary) return readBinaryValues(plan.pData, num * plan.width);
        for (std::size_t i = 0; i < num; ++i) {
            if (plan.pData == nullptr) {
                nextWord();
                continue;
            }
            visitType(plan.property.propertyType, [&](auto value) {
                value = plan.pData->bLenient ? readLenientValue<decltype(value)>(*plan.pData)
                                             : readTextValue<decltype(value)>(plan.pData->bNotFinite);
                append(*plan.pData, reinterpret_cast<const char*>(&value), sizeof value);
            });
        }
    }

    void readBinaryValues(PlyData* pData, std::size_t numBytes) {
        while (numBytes > 0) {
            if (!in.fill(1)) throwShort();
            const std::size_t numHere = std::min(numBytes, in.size());
            if (pData != nullptr) append(*pData, in.begin(), numHere);
            in.skip(numHere);
            numBytes -= numHere;
        }
    }

    static void append(PlyData& data, const char* p, std::size_t numBytes) {
        const auto* pByte = reinterpret_cast<const std::uint8_t*>(p);
        data.buffer.insert(data.buffer.end(), pByte, pByte + numBytes);
    }

    std::string_view nextWord() {
        const std::string_view word = in.nextWord();
        if (word.empty()) throwShort();
        return word;
    }

    /// Whether the whole word is a number of the type.
    template <typename T>
    static bool parse(std::string_view word, T& value) {
        const char* const end = word.data() + word.size();
        if constexpr (std::is_floating_point_v<T>)
            return TARN_KEL::extractFloat(word.data(), end, value) == end;
        else
            return TARN_KEL::extractInt(word.data(), end, value) == end;
    }

    /// bNotFinite: see PlyData.
    template <typename T>
    T readTextValue(bool bNotFinite = false) {
        const std::string_view word = nextWord();
        T value{};
        if (!parse(word, value) && !(bNotFinite && parseNotFinite(word, value)))
            throw std::runtime_error("not a number of its type: " + std::string(word.substr(0, 40)) +
                                     inItem(*pElement, item));
        return value;
    }

    template <typename T>
    static bool parseNotFinite(std::string_view word, T& value) {
        if constexpr (std::is_floating_point_v<T>) {
            const std::optional<double> number = TARN_KEL::numberOf(word);
            value = static_cast<T>(number.value_or(0.0));
            return number && !std::isfinite(*number);
        }
        return false;
    }

    template <typename T>
    T readLenientValue(PlyData& data) {
        T value{};
        if (parse(nextWord(), value)) return value;
        data.vUnknown.push_back(data.buffer.size() / sizeof value);
        return T{};
    }

    BlockReader& in;
    const bool bBinary;
    const bool bBigEndian;
    const PlyElement* pElement = nullptr;  // that is being read
    std::size_t item = 0;                  // of it
};

// ---- Writing

/// One part of an item: values that lie side by side in memory.
struct Piece {
    Type type = Type::INVALID;
    std::size_t width = 0;
    std::size_t numValues = 0;
    Source source;
    bool isList = false;
    std::string countBytes;  ///< binary: the count that is written before the values of a list
};

void appendBytes(std::string& block, const std::uint8_t* p, std::size_t numBytes, std::size_t width, bool bSwap) {
    const std::size_t numBefore = block.size();
    block.append(reinterpret_cast<const char*>(p), numBytes);
    if (bSwap) swapBytes(reinterpret_cast<std::uint8_t*>(block.data()) + numBefore, numBytes, width);
}

void appendBinaryItem(std::string& block, const std::vector<Piece>& vPiece, std::size_t item, bool bSwap) {
    for (const Piece& piece : vPiece) {
        block += piece.countBytes;
        appendBytes(block, piece.source.data + item * piece.source.step, piece.numValues * piece.width, piece.width, bSwap);
    }
}

template <typename T>
void appendTextValue(std::string& block, T value, int digits) {
    if constexpr (std::is_floating_point_v<T>)
        TARN_KEL::appendNumber(block, value, digits);
    else
        TARN_KEL::appendInt(block, value);
    block += ' ';
}

void appendTextItem(std::string& block, const std::vector<Piece>& vPiece, std::size_t item, int digits) {
    const std::size_t numBefore = block.size();
    for (const Piece& piece : vPiece) {
        const int numDigits = piece.source.textDigits != 0 ? piece.source.textDigits : digits;
        if (piece.isList) appendTextValue(block, piece.numValues, digits);
        const std::uint8_t* p = piece.source.data + item * piece.source.step;
        for (std::size_t i = 0; i < piece.numValues; ++i, p += piece.width) {
            visitType(piece.type, [&](auto value) {
                std::memcpy(&value, p, sizeof value);
                appendTextValue(block, value, numDigits);
            });
        }
    }
    if (block.size() > numBefore) block.pop_back();  // the blank behind the last value
    block += '\n';
}

}  // namespace

// ---- The file

class PlyFileImpl {
public:
    bool parseHeader(std::istream& in);
    bool parseLine(const std::string& line, const std::vector<std::string>& vWord);
    std::size_t findElement(const std::string& elementKey) const;
    std::vector<std::size_t> findProperties(const PlyElement& element, const std::vector<std::string>& propertyKeys) const;
    std::vector<std::vector<ReadPlan>> makeReadPlans() const;
    std::size_t leastItemSize(const std::vector<ReadPlan>& vPlan) const;
    void requireBodySize(const std::vector<std::vector<ReadPlan>>& vvPlan, std::size_t numBytesLeft) const;
    void prepareBuffers(const std::vector<std::vector<ReadPlan>>& vvPlan, std::size_t numBytesLeft) const;
    void swapBuffers() const;
    std::size_t findOrMakeElement(const std::string& elementKey, std::size_t count);
    Piece makePiece(PropertyKey key, bool bBinary) const;
    std::vector<Piece> makePieces(std::size_t iElement, bool bBinary) const;
    void writeHeader(std::ostream& out, bool bBinary) const;

    bool isBinary = false;
    bool isBigEndian = false;
    std::size_t numBytesBehind = 0;  // the body that was read last
    std::vector<std::string> comments;
    std::vector<std::string> objInfo;
    std::vector<PlyElement> elements;
    std::map<PropertyKey, Request> mRequest;
    std::map<PropertyKey, Source> mSource;
    int textDigits = 0;  // of properties that are added
};

PlyFile::PlyFile() : pImpl(std::make_unique<PlyFileImpl>()) {}
PlyFile::~PlyFile() = default;

bool PlyFile::parse_header(std::istream& in) {
    return pImpl->parseHeader(in);
}
std::vector<PlyElement> PlyFile::get_elements() const {
    return pImpl->elements;
}
std::vector<std::string>& PlyFile::get_comments() {
    return pImpl->comments;
}
const std::vector<std::string>& PlyFile::get_info() const {
    return pImpl->objInfo;
}

bool PlyFileImpl::parseHeader(std::istream& in) {
    std::string line;
    while (nextHeaderLine(in, line)) {
        const std::vector<std::string> vWord = splitWords(line);
        if (vWord.empty()) continue;
        if (vWord[0] == "end_header") return true;
        if (!parseLine(line, vWord)) return false;
    }
    return true;
}

/// False for an unknown word.
bool PlyFileImpl::parseLine(const std::string& line, const std::vector<std::string>& vWord) {
    const auto behind = [&](std::string_view prefix) { return line.substr(std::min(line.size(), prefix.size())); };
    const std::string& word = vWord[0];
    if (word == "ply" || word == "PLY") return true;
    if (word == "format") {
        isBigEndian = vWord.size() > 1 && vWord[1] == "binary_big_endian";
        isBinary = isBigEndian || (vWord.size() > 1 && vWord[1] == "binary_little_endian");
    } else if (word == "comment") {
        comments.push_back(behind("comment "));
    } else if (word == "obj_info") {
        objInfo.push_back(behind("obj_info "));
    } else if (word == "element") {
        elements.push_back(parseElement(vWord));
    } else if (word == "property") {
        if (elements.empty()) throw std::runtime_error("no elements defined; file is malformed");
        elements.back().properties.push_back(parseProperty(vWord));
    } else {
        return false;
    }
    return true;
}

/// The number of elements when there is none of that name.
std::size_t PlyFileImpl::findElement(const std::string& elementKey) const {
    const auto it = std::ranges::find(elements, elementKey, &PlyElement::name);
    return static_cast<std::size_t>(it - elements.begin());
}

/// Positions in the element, in the order of the keys.
std::vector<std::size_t> PlyFileImpl::findProperties(const PlyElement& element,
                                                     const std::vector<std::string>& propertyKeys) const {
    std::vector<std::size_t> vFound;
    std::string missing;
    for (const std::string& key : propertyKeys) {
        const auto it = std::ranges::find(element.properties, key, &PlyProperty::name);
        vFound.push_back(static_cast<std::size_t>(it - element.properties.begin()));
        if (it == element.properties.end()) missing += (missing.empty() ? "" : ", ") + key;
    }
    if (!missing.empty())
        throw std::invalid_argument("the following property keys were not found in the header: " + missing);
    return vFound;
}

std::shared_ptr<PlyData> PlyFile::request_properties_from_element(const std::string& elementKey,
                                                                  const std::vector<std::string>& propertyKeys,
                                                                  std::uint32_t listSizeHint) {
    if (elementKey.empty()) throw std::invalid_argument("`elementKey` argument is empty");
    if (propertyKeys.empty()) throw std::invalid_argument("`propertyKeys` argument is empty");
    if (pImpl->elements.empty()) throw std::runtime_error("header had no elements defined. malformed file?");
    const std::size_t iElement = pImpl->findElement(elementKey);
    if (iElement == pImpl->elements.size())
        throw std::invalid_argument("the element key was not found in the header: " + elementKey);
    const PlyElement& element = pImpl->elements[iElement];
    const std::vector<std::size_t> vProperty = pImpl->findProperties(element, propertyKeys);
    const PlyProperty& first = element.properties[vProperty.front()];

    std::map<PropertyKey, Request> mNew;
    auto pData = std::make_shared<PlyData>();
    for (const std::size_t iProperty : vProperty) {
        const PlyProperty& property = element.properties[iProperty];
        const PropertyKey key(iElement, iProperty);
        if (pImpl->mRequest.count(key) != 0 || !mNew.emplace(key, Request{pData, listSizeHint}).second)
            throw std::invalid_argument("element-property key has already been requested: " + elementKey + "-" +
                                        property.name);
        if (property.propertyType != first.propertyType || property.isList != first.isList)
            throw std::invalid_argument("the requested properties differ in type");
    }
    pImpl->mRequest.merge(mNew);
    pData->t = first.propertyType;
    pData->count = element.size;
    return pData;
}

/// One list of plans an element. Throws for what can't be read whatever the body holds.
std::vector<std::vector<ReadPlan>> PlyFileImpl::makeReadPlans() const {
    std::vector<std::vector<ReadPlan>> vvPlan;
    for (std::size_t iElement = 0; iElement < elements.size(); ++iElement) {
        const PlyElement& element = elements[iElement];
        if (element.properties.empty()) throw std::runtime_error("element without properties: " + element.name);
        std::vector<ReadPlan>& vPlan = vvPlan.emplace_back();
        for (std::size_t iProperty = 0; iProperty < element.properties.size(); ++iProperty) {
            const PlyProperty& property = element.properties[iProperty];
            const auto it = mRequest.find({iElement, iProperty});
            const Request request = it != mRequest.end() ? it->second : Request{};
            const bool bNeedsType = isBinary || request.pData != nullptr;  // else a value is a word
            if (bNeedsType && property.propertyType == Type::INVALID) throw std::runtime_error("invalid ply property");
            if (property.isList && !isCountType(property.listType)) throw std::runtime_error("invalid type of a list count");
            vPlan.push_back({property, widthOf(property.propertyType), request.pData.get(), request.listSizeHint});
        }
    }
    return vvPlan;
}

/// Bytes that an item has at least: lists may be empty.
std::size_t PlyFileImpl::leastItemSize(const std::vector<ReadPlan>& vPlan) const {
    std::size_t itemSize = 0;
    for (const ReadPlan& plan : vPlan) {
        const std::size_t inText = 2;  // a digit and what separates it from the next one
        const std::size_t inBinary = plan.property.isList ? widthOf(plan.property.listType) : plan.width;
        itemSize += isBinary ? inBinary : inText;
    }
    return itemSize;
}

/// Throws for a body that must be longer than so many bytes.
void PlyFileImpl::requireBodySize(const std::vector<std::vector<ReadPlan>>& vvPlan, std::size_t numBytesLeft) const {
    std::size_t numLeft = numBytesLeft + (isBinary ? 0 : 1);  // nothing separates the last value of a text
    for (std::size_t iElement = 0; iElement < elements.size(); ++iElement) {
        const PlyElement& element = elements[iElement];
        const std::size_t itemSize = leastItemSize(vvPlan[iElement]);  // not 0, as there are properties
        if (numLeft / itemSize < element.size) throwShortBody(inItem(element, numLeft / itemSize) + " at the latest");
        numLeft -= element.size * itemSize;
    }
}

/// Empties the buffers and reserves what they will hold, as far as the stream can hold it.
void PlyFileImpl::prepareBuffers(const std::vector<std::vector<ReadPlan>>& vvPlan, std::size_t numBytesLeft) const {
    std::map<PlyData*, std::size_t> mBytesPerItem;
    for (const std::vector<ReadPlan>& vPlan : vvPlan)
        for (const ReadPlan& plan : vPlan)
            if (plan.pData != nullptr)
                mBytesPerItem[plan.pData] += plan.width * (plan.property.isList ? plan.listSizeHint : 1);
    for (const auto& [pData, bytesPerItem] : mBytesPerItem) {
        // In text a value of 8 bytes may be a digit and a blank.
        const std::size_t limit = checkedProduct(4, numBytesLeft);
        const std::size_t numItems = std::min(pData->count, numBytesLeft);
        pData->buffer.clear();
        pData->buffer.reserve(std::min(limit, checkedProduct(numItems, bytesPerItem)));
        pData->vListLength.clear();
        pData->vUnknown.clear();
    }
}

void PlyFileImpl::swapBuffers() const {
    std::set<PlyData*> sDone;  // several properties share a buffer
    for (const auto& [key, request] : mRequest) {
        PlyData& data = *request.pData;
        if (sDone.insert(&data).second) swapBytes(data.buffer.data(), data.buffer.size(), widthOf(data.t));
    }
}

void PlyFile::read(std::istream& in) {
    const std::vector<std::vector<ReadPlan>> vvPlan = pImpl->makeReadPlans();
    const std::optional<std::size_t> numBytesLeft = bytesLeft(in);
    if (numBytesLeft) pImpl->requireBodySize(vvPlan, *numBytesLeft);
    pImpl->prepareBuffers(vvPlan, numBytesLeft.value_or(0));

    BlockReader reader(in);
    BodyReader body(reader, pImpl->isBinary, pImpl->isBigEndian);
    for (std::size_t iElement = 0; iElement < vvPlan.size(); ++iElement)
        body.read(pImpl->elements[iElement], vvPlan[iElement]);
    if (pImpl->isBigEndian) pImpl->swapBuffers();
    if (!numBytesLeft) return;
    in.clear();
    in.seekg(-static_cast<std::istream::off_type>(reader.size()), std::ios_base::cur);
    const std::istream::pos_type bodyEnd = in.tellg();
    const std::size_t numBytesBehind = bytesLeft(in).value_or(0);
    pImpl->numBytesBehind = BlockReader(in).nextWord().empty() ? 0 : numBytesBehind;
    in.clear();
    in.seekg(bodyEnd);
}

std::size_t PlyFile::numBytesBehind() const {
    return pImpl->numBytesBehind;
}

std::size_t PlyFileImpl::findOrMakeElement(const std::string& elementKey, std::size_t count) {
    const std::size_t iElement = findElement(elementKey);
    if (iElement == elements.size()) elements.push_back({elementKey, count, {}});
    if (elements[iElement].size != count) throw std::invalid_argument("element has another count: " + elementKey);
    return iElement;
}

// NOLINTBEGIN(readability-non-const-parameter): the signature is given
void PlyFile::add_properties_to_element(const std::string& elementKey, const std::vector<std::string>& propertyKeys,
                                        Type type, std::size_t count, std::uint8_t* data, Type listType,
                                        std::uint32_t listCount) {
    // NOLINTEND(readability-non-const-parameter)
    const bool isList = listType != Type::INVALID;
    const std::size_t valuesPerKey = isList ? listCount : 1;
    const std::size_t width = widthOf(type);
    if (width == 0) throw std::invalid_argument("invalid ply property");
    if (isList && !isCountType(listType)) throw std::invalid_argument("invalid type of a list count");
    const bool bCountFits = !isList || visitType(listType, [&](auto value) {
        return static_cast<double>(listCount) <= static_cast<double>(std::numeric_limits<decltype(value)>::max());
    });
    if (!bCountFits) throw std::invalid_argument("list count doesn't fit its type");
    const std::size_t iElement = pImpl->findOrMakeElement(elementKey, count);
    std::vector<PlyProperty>& properties = pImpl->elements[iElement].properties;
    const std::size_t step = propertyKeys.size() * valuesPerKey * width;
    for (const std::string& key : propertyKeys) {
        pImpl->mSource[{iElement, properties.size()}] = {data, step, pImpl->textDigits};
        properties.push_back({key, type, isList, listType, valuesPerKey});
        if (data != nullptr) data += valuesPerKey * width;  // null: there are no values
    }
}

void PlyFile::setTextDigits(int digits) {
    pImpl->textDigits = digits;
}

Piece PlyFileImpl::makePiece(PropertyKey key, bool bBinary) const {
    const PlyProperty& property = elements[key.first].properties[key.second];
    const auto it = mSource.find(key);
    if (it == mSource.end()) throw std::runtime_error("property without data: " + property.name);
    Piece piece{property.propertyType, widthOf(property.propertyType), property.listCount, it->second, property.isList, ""};
    if (bBinary && property.isList) {
        visitType(property.listType, [&](auto value) {
            value = static_cast<decltype(value)>(property.listCount);
            const auto* pByte = reinterpret_cast<const std::uint8_t*>(&value);
            appendBytes(piece.countBytes, pByte, sizeof value, sizeof value, isBigEndian);
        });
    }
    return piece;
}

/// The parts of an item of an element, in order.
std::vector<Piece> PlyFileImpl::makePieces(std::size_t iElement, bool bBinary) const {
    const auto continues = [](const Piece& last, const Piece& piece) {
        if (last.source.data == nullptr) return false;  // no items at all
        return !last.isList && !piece.isList && last.type == piece.type && last.source.step == piece.source.step &&
               last.source.textDigits == piece.source.textDigits &&
               last.source.data + last.numValues * last.width == piece.source.data;
    };
    std::vector<Piece> vPiece;
    for (std::size_t iProperty = 0; iProperty < elements[iElement].properties.size(); ++iProperty) {
        Piece piece = makePiece({iElement, iProperty}, bBinary);
        if (!vPiece.empty() && continues(vPiece.back(), piece))
            ++vPiece.back().numValues;
        else
            vPiece.push_back(std::move(piece));
    }
    return vPiece;
}

void PlyFileImpl::writeHeader(std::ostream& out, bool bBinary) const {
    const std::string format = !bBinary ? "ascii" : isBigEndian ? "binary_big_endian" : "binary_little_endian";
    out << "ply\nformat " << format << " 1.0\n";
    for (const std::string& comment : comments)
        out << "comment " << comment << '\n';
    for (const PlyElement& element : elements) {
        out << "element " << element.name << ' ' << element.size << '\n';
        for (const PlyProperty& property : element.properties) {
            out << "property ";
            if (property.isList) out << "list " << PropertyTable.at(property.listType).name << ' ';
            out << PropertyTable.at(property.propertyType).name << ' ' << property.name << '\n';
        }
    }
    out << "end_header\n";
}

void PlyFile::write(std::ostream& out, bool isBinary) {
    constexpr std::size_t BLOCK = std::size_t{64} << 10;
    out.imbue(std::locale::classic());
    pImpl->writeHeader(out, isBinary);
    std::string block;
    const auto flush = [&] {
        out.write(block.data(), static_cast<std::streamsize>(block.size()));
        block.clear();
    };
    for (std::size_t iElement = 0; iElement < pImpl->elements.size(); ++iElement) {
        const std::vector<Piece> vPiece = pImpl->makePieces(iElement, isBinary);
        for (std::size_t item = 0; item < pImpl->elements[iElement].size && out; ++item) {
            if (isBinary)
                appendBinaryItem(block, vPiece, item, pImpl->isBigEndian);
            else
                appendTextItem(block, vPiece, item, static_cast<int>(out.precision()));
            if (block.size() >= BLOCK) flush();
        }
    }
    flush();
}

}  // namespace PLY
