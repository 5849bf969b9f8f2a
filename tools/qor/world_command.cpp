// `qor world`: stores the world's countries in every form, reads them back, compares every value, and draws a map.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <array>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "tools/qor/commands.h"
#include "tools/qor/compare.h"
#include "tools/qor/failure.h"
#include "tools/qor/file_io.h"
#include "tools/qor/forms.h"
#include "tools/qor/map.h"
#include "tools/qor/outputs.h"
#include "tools/qor/pixels.h"
#include "tools/qor/progress.h"
#include "tools/qor/svg.h"
#include "tools/qor/text.h"
#include "tools/qor/topojson.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kDefaultFile = "countries-50m.json";
constexpr const char* kDefaultFolder = "out";
constexpr const char* kSvgName = "world.svg";
constexpr const char* kPngName = "world.png";

constexpr const char* kWorldDescription = "Store the world's countries, read them back, compare, and draw a map";
constexpr const char* kWorldFooter =
    "Writes the countries, a colour for each and a thumbnail in every form: as world.qbin (binary), world.txt with\n"
    "names.txt (text), and as compressed blocks in world.lz4.qbin, world.zlib.qbin, world.zstd.qbin and\n"
    "world.zstd.txt. Reads each form back, compares every value with the source, and draws world.svg and world.png\n"
    "from what was read. Only a run in which all is well changes any file.\n"
    "Exit codes: 0 all well, 1 a value differs, 2 wrong usage, 3 cannot read or write.";

struct WorldOptions {
    std::optional<std::string> file;
    std::optional<std::string> folder;
    std::optional<std::string> checked;
    bool mayReplace = false;
};

struct Source {
    std::string name;
    std::uint64_t size = 0;
    World world;
};

// What is told of one form.
struct Row {
    const Form* form = nullptr;
    std::vector<std::uint64_t> sizes;
    std::optional<double> writeSeconds;
    double readSeconds = 0;
    std::optional<Difference> difference;
};

// ---- Reading the source ---------------------------------------------------------------------------------------------

// Beside an installed program, or in the sources that it was built from.
std::string defaultFile() {
    std::error_code ignored;
    const fs::path program = fs::read_symlink("/proc/self/exe", ignored);
    const fs::path installed = (program.parent_path() / QOR_DATA_FROM_BINDIR).lexically_normal() / kDefaultFile;
    if (!program.empty() && fs::exists(installed, ignored)) return installed.string();
    const fs::path built = fs::path(QOR_DATA_DIR) / kDefaultFile;
    if (fs::exists(built, ignored)) return built.string();
    throw Failure(kDefaultFile, "is neither in " + installed.parent_path().string() +
                                    " nor in " QOR_DATA_DIR "; name a TopoJSON file: qor world FILE");
}

Source load(const std::string& path) {
    const std::string text = readWhole(path);
    try {
        Source source{fs::path(path).filename().string(), text.size(), parseTopology(text)};
        source.world.colours = coloursOf(source.world);
        source.world.thumbnail = thumbnailOf(mapOf(source.world, ""));
        return source;
    } catch (const BadDocument& bad) {
        throw Failure(path, bad.what());
    }
}

// ---- Storing, reading back, comparing -------------------------------------------------------------------------------

template <typename Work>
double secondsOf(Work work) {
    const double start = secondsNow();
    work();
    return secondsNow() - start;
}

Reading readBack(const Source& source, const Folder& from, Row& row) {
    Reading reading;
    row.readSeconds = secondsOf([&] { reading = row.form->read(*row.form, from); });
    row.difference = firstDifference(source.world, reading, *row.form);
    for (const std::string& name : row.form->files) {
        std::error_code failure;
        row.sizes.push_back(fs::file_size(from.path(name), failure));
        if (failure) throw Failure(from.label(name), reasonAndAdvice(failure.value()));
    }
    return reading;
}

std::vector<std::string> outputNames() {
    std::vector<std::string> names;
    for (const Form& form : allForms()) names.insert(names.end(), form.files.begin(), form.files.end());
    names.insert(names.end(), {kSvgName, kPngName});
    return names;
}

std::string captionOf(const World& world, const std::string& file) {
    return fmt::format("{} points in {} arcs, drawn from {} as qor read it back. Outlines: Natural Earth.",
                       grouped(world.pointCount), grouped(world.arcCount), file);
}

// ---- Telling --------------------------------------------------------------------------------------------------------

std::string milliseconds(std::optional<double> seconds) {
    return seconds ? fmt::format("{:.1f} ms", *seconds * 1000) : "-";
}

void appendLine(std::string& table, const std::array<std::string, 6>& cells) {
    std::string line = fmt::format("{:<9} {:<15} {:>10} {:>11} {:>10} {:>10}", cells[0], cells[1], cells[2], cells[3],
                                   cells[4], cells[5]);
    line.erase(line.find_last_not_of(' ') + 1);
    table += line + '\n';
}

std::string tableOf(const Source& source, const std::vector<Row>& rows) {
    const World& world = source.world;
    std::string table =
        fmt::format("{}: {} countries, {} arcs, {} points in {} bytes\n\n", source.name, grouped(world.countryCount),
                    grouped(world.arcCount), grouped(world.pointCount), grouped(source.size));
    appendLine(table, {"form", "file", "bytes", "of source", "write", "read"});
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < row.sizes.size(); ++i) {
            const double part = 100.0 * static_cast<double>(row.sizes[i]) / static_cast<double>(source.size);
            std::array<std::string, 6> cells = {
                "", row.form->files[i], grouped(row.sizes[i]), fmt::format("{:.1f} %", part), "", ""};
            if (i == 0) {
                cells[0] = row.form->name;
                cells[4] = milliseconds(row.writeSeconds);
                cells[5] = milliseconds(row.readSeconds);
            }
            appendLine(table, cells);
        }
    }
    return table;
}

std::string verdictOf(const std::vector<Row>& rows) {
    std::string different;
    for (const Row& row : rows) {
        if (row.difference) different += (different.empty() ? "" : ", ") + row.difference->file;
    }
    const bool isSame = different.empty();
    std::string verdict =
        isSame ? "Same: every value read back is the one in the source." : "Different from the source: " + different;
    if (!wantsColour()) return verdict;
    return fmt::format("\033[1;{}m{}\033[0m", isSame ? 32 : 31, verdict);
}

// Prints the table and the verdict, and after a difference what it is; the exit code.
int report(const Source& source, const std::vector<Row>& rows, const Folder& folder, const std::string& ending) {
    int code = kAllWell;
    for (const Row& row : rows) {
        if (row.difference) code = kDiffers;
    }
    print(tableOf(source, rows) + '\n' + verdictOf(rows) + '\n' + ending);
    for (const Row& row : rows) {
        if (row.difference) complain(folder.label(row.difference->file) + ": " + row.difference->what);
    }
    return code;
}

// ---- The command ----------------------------------------------------------------------------------------------------

int check(const std::string& checked, const std::string& file) {
    const Folder folder{checked, checked};
    std::vector<Row> rows;
    Source source;
    {
        Progress progress;
        progress.step("reading " + file);
        source = load(file);
        for (const Form& form : allForms()) {
            Row row{&form, {}, std::nullopt, 0, std::nullopt};
            progress.step("reading the " + form.name + " form");
            readBack(source, folder, row);
            rows.push_back(row);
        }
    }
    return report(source, rows, folder, "");
}

int store(const Folder& folder, bool mayReplace, const std::string& file) {
    const std::vector<std::string> names = outputNames();
    refuseExisting(folder.place, names, mayReplace);
    std::vector<Row> rows;
    bool isSame = true;
    Source source;
    {
        Progress progress;
        progress.step("reading " + file);
        source = load(file);
        Outputs outputs(folder.place);
        World drawn;
        for (const Form& form : allForms()) {
            Row row{&form, {}, std::nullopt, 0, std::nullopt};
            progress.step("writing the " + form.name + " form");
            row.writeSeconds = secondsOf([&] { form.write(form, source.world, outputs.hidden()); });
            progress.step("reading the " + form.name + " form back");
            Reading reading = readBack(source, outputs.hidden(), row);
            isSame = isSame && !row.difference;
            if (rows.empty()) drawn = std::move(reading.world);
            rows.push_back(row);
        }
        if (isSame) {
            progress.step(std::string("drawing ") + kSvgName);
            const Map map = mapOf(drawn, captionOf(drawn, rows.front().form->files.front()));
            writeSvg(map, outputs.hidden(), kSvgName);
            progress.step(std::string("drawing ") + kPngName);
            writePng(map, outputs.hidden(), kPngName);
            progress.step("putting the files in place");
            outputs.commit(names);
        }
    }
    const std::string ending = fmt::format("\n{}\n{}\n", folder.label(kSvgName), folder.label(kPngName));
    return report(source, rows, folder, isSame ? ending : "No file was changed.\n");
}

}  // namespace

void addWorldCommand(CLI::App& app, Run& run) {
    const auto options = std::make_shared<WorldOptions>();
    CLI::App* const command = app.add_subcommand("world", kWorldDescription);
    command->footer(kWorldFooter);
    const CLI::Validator isPath([](const std::string& path) { return path.empty() ? "an empty path" : ""; }, "");
    command->add_option("FILE", options->file, "Countries as TopoJSON (default: those that come with qor)")
        ->type_name("")
        ->check(isPath);
    command->add_option("-o,--output", options->folder, "Folder for the results (default: out)")
        ->type_name("DIR")
        ->check(isPath);
    command->add_flag("-f,--force", options->mayReplace, "Replace results that are there already");
    command->add_option("--check", options->checked, "Only read back the results in DIR and compare")
        ->type_name("DIR")
        ->check(isPath);
    command->callback([options, &run] {
        if (options->checked && (options->folder || options->mayReplace)) {
            throw CLI::ExcludesError("--check writes nothing, so it goes with neither --output nor --force",
                                     CLI::ExitCodes::ExcludesError);
        }
        run = [options] {
            const std::string file = options->file ? *options->file : defaultFile();
            if (options->checked) return check(*options->checked, file);
            const std::string folder = options->folder.value_or(kDefaultFolder);
            return store({folder, folder}, options->mayReplace, file);
        };
    });
}

}  // namespace tool
