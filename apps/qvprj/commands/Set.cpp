// qvprj set: changes what a project says of itself.
//
// It changes cells of one row in the project database and leaves everything else alone: a project that was
// opened and saved would lose the tables that the library does not know, and a damaged track file.
#include "commands/Set.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include "common/CoordinateSystem.h"
#include "common/DatabaseFiles.h"
#include "common/Failure.h"
#include "common/Json.h"
#include "common/ProjectPair.h"
#include "common/ProjectRecord.h"
#include "common/Text.h"
#include "qvprj/project/QvProject.h"
#include "qvsql/Database.h"

namespace qvapp {
namespace {

constexpr const char* kFooter =
    "What is not given stays as it is. Images and their positions are not touched, and neither is the\n"
    "track file. 'qvprj crs find' finds the code of a coordinate system.\n"
    "\n"
    "With --json: {\"file\", \"project\": {\"id\", \"name\", \"operator\", \"date\", \"description\", "
    "\"height\",\n"
    "\"coordinate_id\", \"coordinate_name\", \"uavtype\", \"nadir\"}}: the record after the change;\n"
    "\"coordinate_id\" and \"coordinate_name\" are null without a coordinate system.\n"
    "\n"
    "Example:\n"
    "  qvprj set survey.db --crs EPSG:32650 --name 'Quarry, north face'";

/// What the options ask for: the cells as the library would write them.
struct Change {
  std::optional<qvfd::CoordinateInfo> system;
  std::optional<std::string> name;
  std::optional<std::string> operator_name;
  std::optional<std::string> description;
};

Change ChangeOf(const SetOptions& options) {
  if (!options.crs && !options.name && !options.operator_name && !options.description) {
    throw Failure("qvprj set", "nothing is to be set", "give --crs, --name, --operator or --description",
                  kWrongUsage);
  }
  RequireKept("--name", "name", options.name.value_or(""), kNameCapacity);
  RequireKept("--operator", "name", options.operator_name.value_or(""), kOperatorCapacity);
  RequireKept("--description", "text", options.description.value_or(""), kDescriptionCapacity);
  Change change{{}, options.name, options.operator_name, options.description};
  if (options.crs) {
    change.system = *options.crs == "none" ? qvfd::CoordinateInfo() : CoordinateOfCode(*options.crs);
  }
  return change;
}

/// A text as a statement writes it.
std::string Literal(const std::string& text) {
  std::string literal = "'";
  for (const char c : text) {
    literal.append(c == '\'' ? 2 : 1, c);
  }
  return literal + "'";
}

/// The statement that makes the change, in the first row: the one that counts as the project.
std::string StatementOf(const Change& change) {
  std::vector<std::pair<std::string, std::string>> cells;
  const auto add = [&cells](const char* column, const std::optional<std::string>& text) {
    if (text) {
      cells.emplace_back(column, Literal(*text));
    }
  };
  add("project_name", change.name);
  add("operator", change.operator_name);
  add("description", change.description);
  if (change.system) {
    cells.emplace_back("coordinate_id", std::to_string(change.system->id));
    cells.emplace_back("coordinate_type", std::to_string(change.system->type));
    add("coordinate_name", qvfd::DisplayName(*change.system));
    add("coordinate_description", change.system->description);
  }
  std::string statement;
  for (const auto& [column, value] : cells) {
    statement += statement.empty() ? "UPDATE data_project SET " : ", ";
    statement.append(column).append(" = ").append(value);
  }
  return statement + " WHERE rowid = (SELECT rowid FROM data_project ORDER BY rowid LIMIT 1)";
}

bool IsAsAsked(const qvprj::PrjInfo& record, const Change& change) {
  return (!change.system || record.coordinate_id == change.system->id) &&
         (!change.name || FixedText(record.project_name) == *change.name) &&
         (!change.operator_name || FixedText(record.operator_name) == *change.operator_name) &&
         (!change.description || FixedText(record.description) == *change.description);
}

/// Why the engine cannot begin to write; the file is a database and was read before.
std::string WhyNotWritableNow(const std::string& path) {
  errno = 0;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "r+b"), &std::fclose);
  return file == nullptr ? std::generic_category().message(errno) : "it is in use by another program";
}

/// What is open when this throws is undone as `database` closes.
void ChangeInOneGo(const std::string& path, const Change& change, qvsql::Database& database) {
  const auto run = [&database](const std::string& statement) {
    return database.ExecSQL(statement, nullptr, nullptr);
  };
  if (!database.Open(path) || !run("BEGIN IMMEDIATE")) {
    throw Failure(path, "cannot be changed: " + WhyNotWritableNow(path),
                  "close other programs that use it, or check its permissions; nothing was changed");
  }
  const bool written = run(StatementOf(change));
  qvprj::QvProject changed;
  if (written && (!changed.ReadPrjRecords(database, path) || !IsAsAsked(changed.GetPrjInfo(), change))) {
    throw Failure(path, "table data_project does not keep what is set",
                  "save the project again, or restore it from a backup; nothing was changed");
  }
  if (!written || !run("COMMIT")) {
    database = qvsql::Database();
    throw Failure(path, "cannot be changed: " + WhyNotWritable(path, FileBytes(path).value_or(0)),
                  "close other programs that use it, make room, or check its folder; nothing was changed");
  }
}

qvprj::PrjInfo RecordIn(const std::string& path) {
  qvprj::QvProject project;
  if (!project.QuickOpenPrj(path)) {
    ThrowWhyNotProject(path);
  }
  return project.GetPrjInfo();
}

qvprj::PrjInfo Set(const SetOptions& options) {
  const Change change = ChangeOf(options);
  RequireDatabase(options.project, DatabaseKind::kProject);
  RecordIn(options.project);
  {
    qvsql::Database database;
    ChangeInOneGo(options.project, change, database);
  }
  qvprj::PrjInfo record = RecordIn(options.project);
  if (!IsAsAsked(record, change)) {
    throw Failure(options.project, "was changed, but does not read as it was changed", "check the disk");
  }
  return record;
}

void PrintAsJson(const std::string& project, const qvprj::PrjInfo& record, std::ostream& out) {
  PrintJson(out, {{"file", JsonText(project)}, {"project", RecordJson(record)}});
}

void PrintAsText(const std::string& project, const qvprj::PrjInfo& record, std::ostream& out) {
  out << "Changed " << Printable(project) << ":\n";
  using enum Table::Align;
  Table table({kLeft, kLeft});
  AddRecordRows(record, table);
  table.Print(out, "  ");
}

}  // namespace

int RunSet(const SetOptions& options, Console& console) {
  return Reported(console.err, [&] {
    const qvprj::PrjInfo record = Set(options);
    const auto print = options.json ? PrintAsJson : PrintAsText;
    print(options.project, record, console.out);
    return kDone;
  });
}

void AddSet(CLI::App& program, Action& action) {
  const auto options = std::make_shared<SetOptions>();
  CLI::App* const command = program.add_subcommand("set", "Change what a project says of itself");
  command->add_option("SURVEY.db", options->project, "the project")->required();
  command->add_option("--crs", options->crs, "its coordinate system, for example EPSG:32650, or 'none'")
      ->type_name("CODE|none");
  command->add_option("--name", options->name, "its name, at most 63 bytes")->type_name("TEXT");
  command->add_option("--operator", options->operator_name, "who flew, at most 63 bytes")->type_name("TEXT");
  command->add_option("--description", options->description, "at most 255 bytes")->type_name("TEXT");
  command->add_flag("--json", options->json, "print one JSON document");
  command->footer(kFooter);
  command->callback(
      [options, &action] { action = [options](Console& console) { return RunSet(*options, console); }; });
}

}  // namespace qvapp
