// `qor types`: the catalogue of element types.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "tools/qor/commands.h"
#include "tools/qor/failure.h"
#include "tools/qor/layout.h"

namespace tool {
namespace {

constexpr const char* kTypesDescription = "Show the element types that an array can have";
constexpr const char* kTypesFooter =
    "A value of a type is `count` scalars of its element type, one after the other, and `size` bytes.\n"
    "Exit codes: 0 all well, 2 wrong usage, 3 cannot write.";

nlohmann::ordered_json catalogue() {
    nlohmann::ordered_json rows = nlohmann::ordered_json::array();
    for (const qor::DataType type : allDataTypes()) {
        rows.push_back({{"value", static_cast<std::uint32_t>(type)},
                        {"name", dataTypeName(type)},
                        {"element", dataTypeName(dataElemType(type))},
                        {"elementSize", typeElemSize(type)},
                        {"count", typeElemCount(type)},
                        {"size", typeSize(type)}});
    }
    return rows;
}

std::string tableOf(const nlohmann::ordered_json& rows) {
    std::string table = fmt::format("{:>5}  {:<8}  {:<7}  {:>12}  {:>5}  {:>4}\n", "value", "name", "element",
                                    "element size", "count", "size");
    for (const nlohmann::ordered_json& row : rows) {
        table += fmt::format("{:>5}  {:<8}  {:<7}  {:>12}  {:>5}  {:>4}\n", row["value"].get<std::uint32_t>(),
                             row["name"].get<std::string>(), row["element"].get<std::string>(),
                             row["elementSize"].get<std::uint64_t>(), row["count"].get<std::uint64_t>(),
                             row["size"].get<std::uint64_t>());
    }
    return table;
}

}  // namespace

void addTypesCommand(CLI::App& app, Run& run) {
    const auto isForPrograms = std::make_shared<bool>(false);
    CLI::App* const command = app.add_subcommand("types", kTypesDescription);
    command->footer(kTypesFooter);
    command->add_flag("--json", *isForPrograms, "Print JSON, for programs");
    command->callback([isForPrograms, &run] {
        run = [isForPrograms] {
            const nlohmann::ordered_json rows = catalogue();
            print(*isForPrograms ? rows.dump(2) + '\n' : tableOf(rows));
            return kAllWell;
        };
    });
}

}  // namespace tool
