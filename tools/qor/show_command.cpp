// `qor show`: the records of a binary file, as a table, as JSON, and byte by byte.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "qor/core/number_text.h"
#include "tools/qor/commands.h"
#include "tools/qor/failure.h"
#include "tools/qor/file_io.h"
#include "tools/qor/layout.h"
#include "tools/qor/progress.h"
#include "tools/qor/show.h"
#include "tools/qor/text.h"

namespace tool {
namespace {

using nlohmann::ordered_json;

constexpr const char* kShowDescription = "Show what a binary file holds";
constexpr const char* kShowFooter =
    R"(A layout names what follows what, as NAME:TYPE or NAME:TYPE[COUNT], with a comma or a line end between any two:

    title:String, toMap:Mat3d, n:UInt64, xy:Vec2i[n]

TYPE is an element type (`qor types` shows them) or one of these:
    String   a text behind its length, as `file << text` writes it
    block    a compressed block, of any kind
    text     characters as they stand: COUNT of them, or else the rest of the file
COUNT is a number, or the name of an integer before it. What follows a # is a comment.

Bytes and types made of bytes (Char[n], Rgba8) may also stand as a block, as `file << bufRef(pixels)` writes them:
what begins with a '.' is taken for one, as the library takes it. `text[n]` takes the bytes as they are.
Of an array the least value, the mean and the greatest are shown, for each component, NaNs left out. In JSON, NaNs
and infinities are texts.
A text file is not for this command: what it holds has no borders, and can be read as it is.

Exit codes: 0 all well, be there bytes behind the last record; 1 a record cannot be read: those before it are shown,
2 wrong usage or a mistake in the layout, 3 cannot read or write.)";

// Of a text, in the table.
constexpr std::size_t kTextShown = 60;

constexpr std::uint64_t kHexWidth = 16;

struct ShowOptions {
    std::string file;
    std::optional<std::string> as;
    std::optional<std::string> layoutFile;
    std::optional<std::uint64_t> first;
    bool isJson = false;
    bool isHex = false;
};

// ---- The table ------------------------------------------------------------------------------------------------------

std::string shownNumber(double value) {
    char text[qor::kMaxDecimalText];
    return std::string(text, qor::formatNumber(text, value));
}

// The start of a text, in quotes, with escapes for what does not print.
std::string quoted(const std::string& text) {
    if (text.size() <= kTextShown) return fmt::format("{:?}", text);
    std::size_t end = kTextShown;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;  // not amidst a UTF-8 character
    return fmt::format("{:?}... ({})", text.substr(0, end), counted(text.size(), "byte"));
}

std::string shownBlock(const ordered_json& block) {
    return fmt::format("{}, {} that hold {}", block["kind"].get<std::string>(),
                       counted(block["payload"].get<std::uint64_t>(), "byte"),
                       grouped(block["content"].get<std::uint64_t>()));
}

// A value of a record of `type`, or a list of such values.
std::string shown(const ordered_json& value, const std::string& type) {
    if (value.is_null()) return "-";
    if (value.is_object()) return shownBlock(value);
    if (value.is_array()) {
        std::string list;
        for (const ordered_json& scalar : value) list += (list.empty() ? "" : " ") + shown(scalar, type);
        return '(' + list + ')';
    }
    if (value.is_string()) {
        const bool isText = type == "String" || type == "text";
        return isText ? quoted(value.get_ref<const std::string&>()) : value.get<std::string>();
    }
    if (type == "Char") return fmt::format("{:?}", static_cast<char>(value.get<int>()));
    if (type == "Ptr") return fmt::format("{:#x}", value.get<std::uint64_t>());
    return value.is_number_float() ? shownNumber(value.get<double>()) : value.dump();
}

// A mean is no value of the file, so its last digits are not worth their room.
std::string shownMean(const ordered_json& mean) {
    if (!mean.is_array()) return mean.is_number() ? fmt::format("{:.10g}", mean.get<double>()) : shown(mean, "");
    std::string list;
    for (const ordered_json& component : mean) list += (list.empty() ? "" : " ") + shownMean(component);
    return '(' + list + ')';
}

// What the table shows in its last column, a line each.
std::vector<std::string> valueLines(const ordered_json& record) {
    const auto type = record["type"].get<std::string>();
    std::vector<std::string> lines;
    if (record.contains("block")) lines.push_back("block     " + shownBlock(record["block"]));
    if (record.contains("value")) lines.push_back(shown(record["value"], type));
    if (!record.contains("first")) return lines;
    if (record["count"] == 0) return {"empty"};
    if (record.contains("mean")) {
        lines.push_back("least     " + shown(record["least"], type));
        lines.push_back("mean      " + shownMean(record["mean"]));
        lines.push_back("greatest  " + shown(record["greatest"], type));
    }
    if (record.contains("nan") && record["nan"] > 0) lines.push_back("NaNs      " + record["nan"].dump());
    if (record["first"].empty() && !lines.empty()) return lines;
    std::string first;
    for (const ordered_json& value : record["first"]) {
        if (!first.empty()) first += value.is_object() ? "; " : " ";
        first += shown(value, type);
    }
    lines.push_back("first     " + (first.empty() ? "-" : first));
    return lines;
}

std::string shownType(const ordered_json& record) {
    auto type = record["type"].get<std::string>();
    if (record.contains("count")) type += '[' + grouped(record["count"].get<std::uint64_t>()) + ']';
    return type;
}

// "points", or "names[17]" of a record of several.
std::string failedName(const ordered_json& failed) {
    auto name = failed["name"].get<std::string>();
    if (failed.contains("item")) name += '[' + failed["item"].dump() + ']';
    return name;
}

using Cells = std::array<std::string, 5>;

std::string aligned(const std::vector<Cells>& rows) {
    std::array<std::size_t, 4> widths{};
    for (const Cells& row : rows) {
        for (std::size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    std::string table;
    for (const Cells& row : rows) {
        std::string line = fmt::format("{:>{}}  {:>{}}  {:<{}}  {:<{}}  {}", row[0], widths[0], row[1], widths[1],
                                       row[2], widths[2], row[3], widths[3], row[4]);
        line.erase(line.find_last_not_of(' ') + 1);
        table += line + '\n';
    }
    return table;
}

std::string tableOf(const ordered_json& report, const std::string& path) {
    std::vector<Cells> rows = {{"offset", "bytes", "name", "type", "value"}};
    for (const ordered_json& record : report["records"]) {
        Cells cells = {grouped(record["offset"].get<std::uint64_t>()), grouped(record["bytes"].get<std::uint64_t>()),
                       record["name"].get<std::string>(), shownType(record), ""};
        for (const std::string& line : valueLines(record)) {
            cells[4] = line;
            rows.push_back(std::exchange(cells, Cells()));
        }
    }
    if (report.contains("failed")) {
        const ordered_json& failed = report["failed"];
        rows.push_back({grouped(failed["offset"].get<std::uint64_t>()), grouped(failed["wanted"].get<std::uint64_t>()),
                        failedName(failed), shownType(failed),
                        fmt::format("cannot be read, {} left", grouped(failed["left"].get<std::uint64_t>()))});
    }
    std::string table = fmt::format("{}: {}\n\n{}", std::filesystem::path(path).filename().string(),
                                    counted(report["length"].get<std::uint64_t>(), "byte"), aligned(rows));
    if (report.contains("rest") && report["rest"]["bytes"] > 0) {
        table += fmt::format("\n{} left behind the last record, from offset {} on\n",
                             counted(report["rest"]["bytes"].get<std::uint64_t>(), "byte"),
                             grouped(report["rest"]["offset"].get<std::uint64_t>()));
    }
    return table;
}

// ---- Byte by byte ---------------------------------------------------------------------------------------------------

// A stretch of the file, and what it belongs to; one item after the other, if `itemSize` is known.
struct Stretch {
    std::uint64_t offset;
    std::uint64_t size;
    std::string name;
    std::uint64_t itemSize = 0;
};

std::vector<Stretch> stretchesOf(const ordered_json& report) {
    std::vector<Stretch> stretches;
    std::uint64_t end = 0;
    for (const ordered_json& record : report["records"]) {
        Stretch stretch{record["offset"], record["bytes"], record["name"]};
        const bool isPlain = record.contains("mean") && !record.contains("block");
        if (isPlain && stretch.size > 0) stretch.itemSize = stretch.size / record["count"].get<std::uint64_t>();
        end = stretch.offset + stretch.size;
        stretches.push_back(std::move(stretch));
    }
    const std::string last =
        report.contains("failed") ? report["failed"]["name"].get<std::string>() + " (cannot be read)" : "(left)";
    stretches.push_back({end, report["length"].get<std::uint64_t>() - end, last});
    return stretches;
}

std::string hexLine(std::span<const unsigned char> bytes, std::uint64_t offset, const std::string& label) {
    std::string hex;
    std::string characters;
    for (const unsigned char byte : bytes) {
        hex += fmt::format("{:02x} ", byte);
        characters += byte >= ' ' && byte <= '~' ? static_cast<char>(byte) : '.';
    }
    return fmt::format("{:08x}  {:<{}} {:<{}}  {}\n", offset, hex, 3 * kHexWidth, characters, kHexWidth, label);
}

// Each record begins a line of its own; in an array a line is labelled with the item that its first byte belongs to.
void printHex(qor::File& file, const ordered_json& report, const std::string& path) {
    Progress signals(stderr, false, secondsNow);  // shows nothing, and ends the run when a signal asks for it
    std::array<unsigned char, 1024 * kHexWidth> piece{};
    print("\n");
    for (const Stretch& stretch : stretchesOf(report)) {
        file.seek(static_cast<std::int64_t>(stretch.offset));
        for (std::uint64_t done = 0; done < stretch.size;) {
            signals.step("");
            const std::span bytes = std::span(piece).first(std::min<std::uint64_t>(piece.size(), stretch.size - done));
            if (!file.read(bytes, qor::Compression::None)) failOf(file, path);
            std::string lines;
            for (std::uint64_t at = 0; at < bytes.size(); at += kHexWidth) {
                const std::uint64_t size = std::min(kHexWidth, bytes.size() - at);
                std::string label = stretch.name;
                if (stretch.itemSize > 0) label += fmt::format("[{}]", (done + at) / stretch.itemSize);
                lines += hexLine(bytes.subspan(at, size), stretch.offset + done + at, label);
            }
            print(lines);
            done += bytes.size();
        }
    }
}

// ---- The command ----------------------------------------------------------------------------------------------------

int show(const ShowOptions& options) {
    if (options.as.has_value() == options.layoutFile.has_value()) {
        complain("show wants one layout: --as LAYOUT, or --layout FILE");
        return kWrongUsage;
    }
    Layout layout;
    const std::string source = options.as ? "--as" : *options.layoutFile;
    try {
        layout = parseLayout(options.as ? *options.as : readWhole(*options.layoutFile));
    } catch (const BadLayout& bad) {
        complain(source + ": " + bad.what());
        return kWrongUsage;
    }

    qor::File file;
    openToRead(file, options.file, options.file, qor::File::Format::Binary);
    std::error_code ignored;
    if (std::filesystem::is_directory(options.file, ignored)) {
        throw Failure(options.file, "a folder; name a file in it");
    }
    ordered_json report;
    {
        Progress progress;
        report = readRecords(file, layout, options.first,
                             [&](const std::string& name) { progress.step("reading " + name); });
    }

    if (options.isJson) {
        ordered_json named = {{"file", options.file}};
        named.update(report);
        print(named.dump(2, ' ', false, ordered_json::error_handler_t::replace) + '\n');
    } else {
        print(tableOf(report, options.file));
        if (options.isHex) printHex(file, report, options.file);
    }
    if (!report.contains("failed")) return kAllWell;
    const ordered_json& failed = report["failed"];
    complain(fmt::format("{}: {} at offset {}: {} ({} wanted, {} left)", options.file, failedName(failed),
                         grouped(failed["offset"].get<std::uint64_t>()), failed["error"].get<std::string>(),
                         counted(failed["wanted"].get<std::uint64_t>(), "byte"),
                         grouped(failed["left"].get<std::uint64_t>())));
    return kDiffers;
}

}  // namespace

void addShowCommand(CLI::App& app, Run& run) {
    const auto options = std::make_shared<ShowOptions>();
    CLI::App* const command = app.add_subcommand("show", kShowDescription);
    command->footer(kShowFooter);
    const CLI::Validator isPath([](const std::string& path) { return path.empty() ? "an empty path" : ""; }, "");
    command->add_option("FILE", options->file, "The file")->type_name("")->required()->check(isPath);
    command->add_option("--as", options->as, "The layout of the file")->type_name("LAYOUT");
    command->add_option("--layout", options->layoutFile, "A file that holds the layout")
        ->type_name("FILE")
        ->check(isPath);
    const CLI::Validator isNumber(
        [](const std::string& text) {
            std::uint64_t number = 0;
            return qor::parseNumber(text, number) ? "" : "not a number from 0 up: " + text;
        },
        "");
    command->add_option("--first", options->first, "How many values of an array to show (default: a few)")
        ->type_name("N")
        ->check(isNumber);
    command->add_flag("--json", options->isJson, "Print JSON, for programs");
    command->add_flag("--hex", options->isHex, "Show each byte too, beside the name of what it belongs to");
    command->callback([options, &run] {
        if (options->isJson && options->isHex) {
            throw CLI::ExcludesError("--hex is for people and --json for programs; choose one",
                                     CLI::ExitCodes::ExcludesError);
        }
        run = [options] { return show(*options); };
    });
}

}  // namespace tool
