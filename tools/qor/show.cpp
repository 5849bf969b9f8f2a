// What a binary file holds by a layout, read through the library.
#include "tools/qor/show.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <concepts>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "qor/core/number_text.h"
#include "tools/qor/text.h"

namespace tool {
namespace {

using nlohmann::ordered_json;
using qor::DataType;
using qor::File;

constexpr std::uint64_t kMost = ~std::uint64_t{0};
constexpr std::uint64_t kPieceSize = 64 << 10;

// What is kept of an array unless told otherwise: so many scalars, and at least one value.
constexpr std::uint64_t kScalarsShown = 8;

constexpr std::uint64_t kStringHeadSize = 8;
constexpr std::uint64_t kBlockHeadSize = 21;

// As the library counts: a size that 64 bits do not hold is the largest that they do.
std::uint64_t product(std::uint64_t a, std::uint64_t b) { return b > 0 && a > kMost / b ? kMost : a * b; }
std::uint64_t sum(std::uint64_t a, std::uint64_t b) { return a > kMost - b ? kMost : a + b; }

// A record that cannot be read.
struct Misfit {
    std::uint64_t offset;
    std::uint64_t wanted;
    std::string error;
    std::optional<std::uint64_t> item = {};
};

// ---- Numbers --------------------------------------------------------------------------------------------------------

template <typename T>
std::string textOfNumber(T number) {
    char text[qor::kMaxDecimalText];
    return std::string(text, qor::formatNumber(text, number));
}

template <typename T>
ordered_json numberOf(T value) {
    if constexpr (std::floating_point<T>) {
        const std::string text = textOfNumber(value);
        // By way of its text, so that the float 0.1 is the number 0.1 and not 0.10000000149011612.
        double number = 0;
        if (std::isfinite(value) && qor::parseNumber(text, number)) return number;
        return text;
    } else {
        return value;
    }
}

template <typename T>
ordered_json scalarOf(DataType type, T value) {
    if (type == DataType::Bool && value <= 1) return value == 1;
    return numberOf(value);
}

// One component of the values of an array.
template <typename T>
class Column {
 public:
    void add(T value) {
        if constexpr (std::floating_point<T>) {
            if (std::isnan(value)) {
                ++nans;
                return;
            }
        }
        least = std::min(least, value);
        greatest = std::max(greatest, value);
        sum += static_cast<long double>(value);
        ++count;
    }

    std::uint64_t nanCount() const { return nans; }
    ordered_json leastOf(DataType type) const { return count > 0 ? scalarOf(type, least) : ordered_json(); }
    ordered_json greatestOf(DataType type) const { return count > 0 ? scalarOf(type, greatest) : ordered_json(); }
    ordered_json mean() const {
        return count > 0 ? numberOf(static_cast<double>(sum / static_cast<long double>(count))) : ordered_json();
    }

 private:
    using Limits = std::numeric_limits<T>;

    T least = Limits::has_infinity ? Limits::infinity() : Limits::max();
    T greatest = Limits::has_infinity ? -Limits::infinity() : Limits::lowest();
    long double sum = 0;  // of 2^64 values as large as can be, and still finite
    std::uint64_t count = 0;
    std::uint64_t nans = 0;
};

// The values of one array, as they come.
template <typename T>
class Values {
 public:
    Values(DataType itsType, std::uint64_t itsKept)
        : elemType(dataElemType(itsType)), kept(itsKept), columns(typeElemCount(itsType)) {}

    void add(const unsigned char* values, std::uint64_t count) {
        for (std::uint64_t k = 0; k < count && first.size() < kept; ++k) first.push_back(valueAt(values, k));
        for (std::size_t c = 0; c < columns.size(); ++c) {
            Column<T> column = columns[c];  // a copy, which can stay in registers
            for (std::uint64_t k = 0; k < count; ++k) column.add(scalarAt(values, k, c));
            columns[c] = column;
        }
    }

    ordered_json only() const { return first.at(0); }

    void tell(ordered_json& record) const {
        record["least"] = inColumns([&](const Column<T>& column) { return column.leastOf(elemType); });
        record["mean"] = inColumns([](const Column<T>& column) { return column.mean(); });
        record["greatest"] = inColumns([&](const Column<T>& column) { return column.greatestOf(elemType); });
        if constexpr (std::floating_point<T>) {
            std::uint64_t nans = 0;
            for (const Column<T>& column : columns) nans += column.nanCount();
            record["nan"] = nans;
        }
        record["first"] = first;
    }

 private:
    T scalarAt(const unsigned char* values, std::uint64_t k, std::size_t c) const {
        T scalar;
        std::memcpy(&scalar, values + (k * columns.size() + c) * sizeof(T), sizeof(T));
        return scalar;
    }

    ordered_json valueAt(const unsigned char* values, std::uint64_t k) const {
        if (columns.size() == 1) return scalarOf(elemType, scalarAt(values, k, 0));
        ordered_json value = ordered_json::array();
        for (std::size_t c = 0; c < columns.size(); ++c) value.push_back(scalarOf(elemType, scalarAt(values, k, c)));
        return value;
    }

    template <typename Tell>
    ordered_json inColumns(Tell tell) const {
        if (columns.size() == 1) return tell(columns[0]);
        ordered_json all = ordered_json::array();
        for (const Column<T>& column : columns) all.push_back(tell(column));
        return all;
    }

    DataType elemType;
    std::uint64_t kept;
    std::vector<Column<T>> columns;
    ordered_json first = ordered_json::array();
};

// ---- Records --------------------------------------------------------------------------------------------------------

class Reader {
 public:
    Reader(File& itsFile, const Layout& itsLayout, std::optional<std::uint64_t> itsFirst, const Step& itsStep)
        : file(itsFile), layout(itsLayout), first(itsFirst), step(itsStep) {}

    ordered_json read() {
        report = {{"length", file.len()}, {"records", ordered_json::array()}};
        for (const Record& record : layout) {
            const std::uint64_t offset = file.pos();
            ordered_json told = {{"name", record.name}, {"type", typeName(record)}, {"offset", offset}};
            step(record.name);
            try {
                told["bytes"] = 0;  // in its place, and known afterwards
                read(record, told);
            } catch (const Misfit& misfit) {
                report["failed"] = failedOf(told, misfit);
                return report;
            }
            told["bytes"] = file.pos() - offset;
            report["records"].push_back(std::move(told));
        }
        report["rest"] = {{"offset", file.pos()}, {"bytes", left()}};
        return report;
    }

 private:
    std::uint64_t left() const { return file.len() - file.pos(); }

    // `told` is what was known of the record by then.
    ordered_json failedOf(const ordered_json& told, const Misfit& misfit) const {
        ordered_json failed = {{"name", told["name"]}, {"type", told["type"]}};
        if (told.contains("count")) failed["count"] = told["count"];
        if (misfit.item) failed["item"] = *misfit.item;
        failed["offset"] = misfit.offset;
        failed["wanted"] = misfit.wanted;
        failed["left"] = file.len() - misfit.offset;
        failed["error"] = misfit.error;
        return failed;
    }

    std::string lastError() const { return std::string(file.error().view()); }

    // Refuses a record that needs more bytes than there are. In the words of the library, for which a byte behind the
    // last is asked for.
    void require(std::uint64_t wanted) {
        if (wanted <= left()) return;
        const std::uint64_t offset = file.pos();
        file.seek(static_cast<std::int64_t>(file.len()));
        char none = 0;
        static_cast<void>(file.read(none));
        throw Misfit{offset, wanted, lastError()};
    }

    void read(const Record& record, ordered_json& told) {
        const std::uint64_t count = countOf(record);
        if (record.isArray) told["count"] = count;
        switch (record.made) {
            case Made::OfValues:
                return readValues(record, count, told);
            case Made::OfStrings:
                return readItems(record, count, kStringHeadSize, told, [this](bool) { return readString(); });
            case Made::OfBlocks:
                return readItems(record, count, kBlockHeadSize, told, [this](bool kept) { return readBlock(kept); });
            case Made::OfText:
                told["value"] = readText(record.isArray ? count : left(), record.name);
        }
    }

    std::uint64_t countOf(const Record& record) const {
        if (!record.counter) return record.count;
        const ordered_json& count = report["records"][*record.counter]["value"];
        if (count.is_number_unsigned() || count.get<std::int64_t>() >= 0) return count.get<std::uint64_t>();
        throw Misfit{file.pos(), 0, fmt::format("The count {} is {}.", layout[*record.counter].name, count.dump())};
    }

    std::uint64_t keptOf(std::uint64_t scalars) const {
        return first.value_or(std::max<std::uint64_t>(kScalarsShown / scalars, 1));
    }

    // ---- Values ----

    void readValues(const Record& record, std::uint64_t count, ordered_json& told) {
        switch (dataElemType(record.type)) {
            case DataType::Bool:
            case DataType::Byte:
                return readValuesAs<unsigned char>(record, count, told);
            case DataType::Char:
                return readValuesAs<signed char>(record, count, told);
            case DataType::Int16:
                return readValuesAs<std::int16_t>(record, count, told);
            case DataType::Int32:
                return readValuesAs<std::int32_t>(record, count, told);
            case DataType::Int64:
                return readValuesAs<std::int64_t>(record, count, told);
            case DataType::UInt16:
                return readValuesAs<std::uint16_t>(record, count, told);
            case DataType::UInt32:
                return readValuesAs<std::uint32_t>(record, count, told);
            case DataType::Float:
                return readValuesAs<float>(record, count, told);
            case DataType::Double:
                return readValuesAs<double>(record, count, told);
            default:  // UInt64 and Ptr
                return readValuesAs<std::uint64_t>(record, count, told);
        }
    }

    template <typename T>
    void readValuesAs(const Record& record, std::uint64_t count, ordered_json& told) {
        Values<T> values(record.type, record.isArray ? keptOf(typeElemCount(record.type)) : 1);
        // One scalar is read as a number, and that is its byte even if it is a '.'.
        const bool isNumber = !record.isArray && typeElemCount(record.type) == 1;
        if (sizeof(T) == 1 && !isNumber && count > 0 && left() > 0 && file.peek() == '.') {
            const std::uint64_t offset = file.pos();
            std::vector<unsigned char> content;
            ordered_json block = readBlock(true, &content);
            if (content.size() != product(count, typeSize(record.type))) {
                throw Misfit{offset, file.pos() - offset,
                             fmt::format("The block holds {}, and the array has {}.", counted(content.size(), "byte"),
                                         counted(product(count, typeSize(record.type)), "byte"))};
            }
            values.add(content.data(), count);
            told["block"] = std::move(block);
        } else {
            readPlain(record, count, values);
        }
        if (record.isArray) {
            values.tell(told);
        } else {
            told["value"] = values.only();
        }
    }

    template <typename T>
    void readPlain(const Record& record, std::uint64_t count, Values<T>& values) {
        const std::uint64_t size = typeSize(record.type);
        require(product(count, size));
        const std::uint64_t offset = file.pos();
        std::vector<unsigned char> piece(std::min(count, kPieceSize / size) * size);
        for (std::uint64_t done = 0; done < count;) {
            const std::uint64_t n = std::min(count - done, piece.size() / size);
            const bool isRead = sizeof(T) == 1
                                    ? file.read(std::span(piece).first(n * size), qor::Compression::None)
                                    : file.read(qor::BufRef{.ptr = piece.data(), .type = record.type, .count = n});
            if (!isRead) throw Misfit{offset, product(count, size), lastError()};
            values.add(piece.data(), n);
            done += n;
            step(record.name);
        }
    }

    // ---- Strings, blocks, text ----

    // Reads `count` items, each with `read(kept)`, of which none takes less than `leastSize` bytes.
    template <typename Read>
    void readItems(const Record& record, std::uint64_t count, std::uint64_t leastSize, ordered_json& told, Read read) {
        if (!record.isArray) {
            told["value"] = read(true);
            return;
        }
        require(product(count, leastSize));
        ordered_json kept = ordered_json::array();
        for (std::uint64_t i = 0; i < count; ++i) {
            step(record.name);
            const bool isKept = i < keptOf(1);
            try {
                ordered_json item = read(isKept);
                if (isKept) kept.push_back(std::move(item));
            } catch (Misfit& misfit) {
                misfit.item = i;
                throw;
            }
        }
        told["first"] = std::move(kept);
    }

    ordered_json readString() {
        const std::uint64_t offset = file.pos();
        std::string text;
        if (file.read(text)) return text;
        const std::string error = lastError();
        file.seek(static_cast<std::int64_t>(offset));
        unsigned long size = 0;
        static_cast<void>(file.read(size));
        throw Misfit{offset, sum(kStringHeadSize, size), error, {}};
    }

    // Reads a block, and tells of it if asked to.
    ordered_json readBlock(bool isTold, std::vector<unsigned char>* content = nullptr) {
        std::vector<unsigned char> ignored;
        std::vector<unsigned char>& bytes = content ? *content : ignored;
        const std::uint64_t offset = file.pos();
        if (!file.read(bytes, qor::Compression::Lz4)) {
            const std::string error = lastError();
            throw Misfit{offset, sum(kBlockHeadSize, headAt(offset).payload), error, {}};
        }
        if (!isTold) return nullptr;
        const std::uint64_t end = file.pos();
        const Head head = headAt(offset);
        file.seek(static_cast<std::int64_t>(end));
        return {{"kind", head.kind}, {"payload", head.payload}, {"content", bytes.size()}};
    }

    struct Head {
        std::uint64_t payload = 0;  // bytes, as the header claims
        std::string kind = "none";
    };

    // What stands before and at the start of a block's payload; of no payload if there is no header.
    Head headAt(std::uint64_t offset) {
        file.seek(static_cast<std::int64_t>(offset));
        const auto takes = [this](char mark) {
            char found = 0;
            return file.read(found) && found == mark;
        };
        unsigned long content = 0;
        unsigned long payload = 0;
        Head head;
        if (!takes('.') || !takes('1') || !takes('.') || !file.read(content) || !takes('.') || !file.read(payload) ||
            !takes('.')) {
            return head;
        }
        head.payload = payload;
        unsigned int magic = 0;
        if (payload == 0 || !file.read(magic)) return head;
        head.kind = magic == 0x184D2204 ? "lz4" : magic == 0xFD2FB528 ? "zstd" : "zlib";
        return head;
    }

    std::string readText(std::uint64_t size, const std::string& name) {
        require(size);
        const std::uint64_t offset = file.pos();
        std::string text(size, '\0');
        const std::span bytes(reinterpret_cast<unsigned char*>(text.data()), text.size());
        for (std::uint64_t done = 0; done < size; step(name)) {
            const std::uint64_t n = std::min(size - done, kPieceSize);
            if (!file.read(bytes.subspan(done, n), qor::Compression::None)) throw Misfit{offset, size, lastError()};
            done += n;
        }
        return text;
    }

    File& file;
    const Layout& layout;
    std::optional<std::uint64_t> first;
    const Step& step;
    ordered_json report;
};

}  // namespace

ordered_json readRecords(File& file, const Layout& layout, std::optional<std::uint64_t> first, const Step& step) {
    return Reader(file, layout, first, step).read();
}

}  // namespace tool
