// qvprj transform: positions to and from a project's coordinate system.
//
// A position that cannot be converted does not stop the others: it is told on standard error, stands as "nan"
// in its place among the results, and makes the exit code that of a failure.
#include "commands/Transform.h"

#include <CLI/CLI.hpp>
#include <array>
#include <charconv>
#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "common/CoordinateSystem.h"
#include "common/DatabaseFiles.h"
#include "common/Failure.h"
#include "common/Json.h"
#include "common/Text.h"
#include "qvfd/Text.h"
#include "qvprj/project/QvProject.h"

namespace qvapp {
namespace {

constexpr const char* kFooter =
    "Reads points from standard input, one a line, two numbers with blanks, tabs or a comma between them:\n"
    "longitude and latitude in degrees with --to-local, local coordinates with --from-local. Prints a line\n"
    "for each: two numbers in full precision, or 'nan nan' where there is none. Empty lines and lines that\n"
    "begin with # are passed over. With --images it prints the project's images as CSV, in the local\n"
    "coordinates of the project.\n"
    "\n"
    "Local coordinates are easting and northing in the unit of the project's coordinate system; where that\n"
    "is geographic they are longitude and latitude in radians. Heights and angles are never converted.\n"
    "What cannot be converted is told on standard error, line by line, and the exit code is 1.\n"
    "\n"
    "With --json: {\"file\", \"coordinate_id\", \"coordinate_name\", \"direction\" (\"to-local\" or\n"
    "\"from-local\"), \"points\": [{\"line\", \"x\", \"y\"}]}, a point with \"error\" in place of \"x\" and "
    "\"y\"\n"
    "where it cannot be converted; with --images, in place of \"points\", \"images\": [{\"id\", \"name\", "
    "\"x\",\n"
    "\"y\", \"z\", \"omega\", \"phi\", \"kappa\", \"new_x\", \"new_y\", \"new_z\", \"new_omega\", "
    "\"new_phi\",\n"
    "\"new_kappa\"}], with null for what is no number.\n"
    "\n"
    "Example:\n"
    "  qvprj transform survey.db --to-local < points.txt\n"
    "  qvprj transform survey.db --to-local --images > images.csv";

constexpr const char* kSetHint = "qvprj set SURVEY.db --crs CODE (see qvprj crs find --near SURVEY.db)";

constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

using Point = qvfd::Point2_T<double>;

/// What became of one line of the input.
struct PointRow {
  std::size_t line = 0;
  Point point;
  std::string problem;  ///< empty for a point that was converted
};

/// The values of an orientation, in the order of the columns of the table "data_image".
constexpr std::array kOrientation = {&qvfd::EOP::x,     &qvfd::EOP::y,   &qvfd::EOP::z,
                                     &qvfd::EOP::omega, &qvfd::EOP::phi, &qvfd::EOP::kappa};
constexpr std::array<const char*, kOrientation.size()> kOrientationNames = {"x",     "y",   "z",
                                                                            "omega", "phi", "kappa"};

Direction DirectionOf(const TransformOptions& options) {
  return options.to_local ? Direction::kToLocal : Direction::kFromLocal;
}

void RequireRightUsage(const TransformOptions& options) {
  constexpr const char* kHint = "see 'qvprj transform --help'";
  if (options.to_local == options.from_local) {
    throw Failure("qvprj transform", "needs one of --to-local and --from-local", kHint, kWrongUsage);
  }
  if (options.images && !options.to_local) {
    throw Failure("qvprj transform", "--images goes with --to-local only: a project stores degrees", kHint,
                  kWrongUsage);
  }
}

/// Points need the record of the project alone.
qvprj::QvProject Opened(const TransformOptions& options, Console& console) {
  const StatusLine status(console, "Reading", options.project);
  RequireDatabase(options.project, DatabaseKind::kProject);
  qvprj::QvProject project;
  if (!(options.images ? project.OpenPrj(options.project) : project.QuickOpenPrj(options.project))) {
    ThrowWhyNotProject(options.project);
  }
  return project;
}

qvfd::CoordinateInfo SystemOf(const std::string& path, const qvprj::QvProject& project) {
  const int id = project.GetPrjInfo().coordinate_id;
  if (id == kNoCoordinateSystem) {
    throw Failure(path, "has no coordinate system", std::string("give it one: ") + kSetHint);
  }
  auto system = FindCoordinate(id);
  if (!system) {
    throw Failure(path, "its coordinate system " + std::to_string(id) + " is not known here",
                  std::string("give it another one: ") + kSetHint);
  }
  return *std::move(system);
}

Conversion ConversionOf(const std::string& path, const qvfd::CoordinateInfo& system, Direction direction) {
  Conversion conversion(system, direction);
  if (!conversion.IsPossible()) {
    throw Failure(path, "no position can be converted to its coordinate system " + CoordinateText(system.id),
                  std::string("give it another one: ") + kSetHint);
  }
  return conversion;
}

// ---- Points -------------------------------------------------------------------------------------

bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

void SkipBlanks(std::string_view& text) {
  while (!text.empty() && IsBlank(text.front())) {
    text.remove_prefix(1);
  }
}

/// Takes the number that `text` begins with. One that no double can hold is no finite number.
std::optional<double> TakeNumber(std::string_view& text) {
  const bool plus = text.starts_with('+');
  if (plus) {
    text.remove_prefix(1);
  }
  if (plus && text.starts_with('-')) {
    return std::nullopt;
  }
  double value = kNoNumber;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec == std::errc::invalid_argument) {
    return std::nullopt;
  }
  text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
  return value;
}

/// Takes what stands between two numbers; false when that is nothing.
bool TakeSeparator(std::string_view& text) {
  const std::size_t before = text.size();
  SkipBlanks(text);
  if (text.starts_with(',')) {
    text.remove_prefix(1);
    SkipBlanks(text);
  }
  return text.size() < before;
}

/// The pair of numbers that `text` consists of; none when it is anything else.
std::optional<Point> PairIn(std::string_view text) {
  SkipBlanks(text);
  const auto x = TakeNumber(text);
  if (!x || !TakeSeparator(text)) {
    return std::nullopt;
  }
  const auto y = TakeNumber(text);
  SkipBlanks(text);
  return y && text.empty() ? std::optional(Point{*x, *y}) : std::nullopt;
}

bool IsPassedOver(std::string_view text) {
  SkipBlanks(text);
  return text.empty() || text.front() == '#';
}

/// Converts points, and tells of those that it cannot convert.
class PointReader {
 public:
  PointReader(const qvfd::CoordinateInfo& system, Direction direction, Conversion& conversion,
              std::ostream& err)
      : way_(direction == Direction::kToLocal ? "to " + CodeOf(system) : "from " + CodeOf(system)),
        what_(direction == Direction::kToLocal ? "give longitude and latitude in degrees"
                                               : "give two local coordinates"),
        conversion_(conversion),
        err_(err) {}

  [[nodiscard]] PointRow Read(std::size_t line, std::string_view text) {
    PointRow row{line, {kNoNumber, kNoNumber}, {}};
    auto pair = PairIn(text);
    if (!pair) {
      Tell(row, text, " is no pair of numbers", what_ + ", with a blank or a comma between them");
    } else if (!conversion_.Convert(pair->x, pair->y)) {
      Tell(row, text, " cannot be converted " + way_, what_ + " of a place where that system is defined");
    } else {
      row.point = *pair;
    }
    return row;
  }

 private:
  void Tell(PointRow& row, std::string_view text, const std::string& problem, const std::string& remedy) {
    constexpr int kMostToQuote = 40;
    SkipBlanks(text);
    while (!text.empty() && IsBlank(text.back())) {
      text.remove_suffix(1);
    }
    row.problem = "'" + Shortened(text, kMostToQuote) + "'" + problem;
    const Failure failure("standard input, line " + std::to_string(row.line), row.problem, remedy);
    err_ << failure.what() << '\n';
  }

  std::string way_;
  std::string what_;
  Conversion& conversion_;
  std::ostream& err_;
};

std::vector<PointRow> ReadPoints(PointReader& reader, std::istream& in) {
  std::vector<PointRow> rows;
  std::string text;
  for (std::size_t line = 1; std::getline(in, text); ++line) {
    if (!IsPassedOver(text)) {
      rows.push_back(reader.Read(line, text));
    }
  }
  if (in.bad()) {
    throw Failure("standard input", "cannot be read", "check the file or program that it comes from");
  }
  return rows;
}

bool IsWhole(const std::vector<PointRow>& rows) {
  return std::all_of(rows.begin(), rows.end(), [](const PointRow& row) { return row.problem.empty(); });
}

void PrintPoints(const std::vector<PointRow>& rows, std::ostream& out) {
  for (const PointRow& row : rows) {
    out << qvfd::ToString(row.point.x) << ' ' << qvfd::ToString(row.point.y) << '\n';
  }
}

Json PointsJson(const std::vector<PointRow>& rows) {
  Json points = Json::array();
  for (const PointRow& row : rows) {
    points.push_back(row.problem.empty() ? Json{{"line", row.line}, {"x", row.point.x}, {"y", row.point.y}}
                                         : Json{{"line", row.line}, {"error", JsonText(row.problem)}});
  }
  return points;
}

// ---- Images -------------------------------------------------------------------------------------

struct LocalImages {
  qvfd::ImageInfoSet images;
  bool whole = true;  ///< whether all positions could be converted
};

/// False, and a position without numbers, when that of `stored` cannot be converted.
bool MarkUnlessConvertible(const qvfd::EOP& stored, Conversion& conversion, qvfd::EOP& local) {
  Point position{stored.x, stored.y};
  if (conversion.Convert(position.x, position.y)) {
    return true;
  }
  local.x = kNoNumber;
  local.y = kNoNumber;
  return false;
}

/// The library leaves what cannot be converted as it is, so each position is tried once more.
LocalImages ConvertImages(const std::string& path, const qvprj::QvProject& project,
                          const qvfd::CoordinateInfo& system, Conversion& conversion, std::ostream& err) {
  LocalImages local{project.GetImageInfoSetLocal()};
  auto stored = project.GetImageInfoSet().begin();
  for (qvfd::ImageInfo& image : local.images) {
    qvfd::EOP initial = image.GetEOP();
    qvfd::EOP updated = image.GetUpdatedEOP();
    const bool hasInitial = MarkUnlessConvertible(stored->GetEOP(), conversion, initial);
    const bool hasUpdated = MarkUnlessConvertible(stored->GetUpdatedEOP(), conversion, updated);
    ++stored;
    if (hasInitial && hasUpdated) {
      continue;
    }
    image.SetEOP(initial);
    image.Update(updated);
    local.whole = false;
    const char* const which = hasInitial ? "updated position" : hasUpdated ? "initial position" : "position";
    const Failure failure(path + ", image " + std::to_string(image.Id()) + " (" + image.Name() + ")",
                          std::string("its ") + which + " cannot be converted to " + CodeOf(system),
                          "check its longitude and latitude");
    err << failure.what() << '\n';
  }
  return local;
}

/// A text as a cell of CSV. Like all text for people it cannot drive a terminal; --json has names in full.
std::string CsvText(const std::string& text) {
  std::string clean = Printable(text);
  if (clean.find_first_of(",\"") == std::string::npos) {
    return clean;
  }
  std::string quoted = "\"";
  for (const char c : clean) {
    quoted.append(c == '"' ? 2 : 1, c);
  }
  return quoted + "\"";
}

void PrintImages(const qvfd::ImageInfoSet& images, std::ostream& out) {
  out << "id,name";
  for (const char* prefix : {"", "new_"}) {
    for (const char* name : kOrientationNames) {
      out << ',' << prefix << name;
    }
  }
  out << '\n';
  for (const qvfd::ImageInfo& image : images) {
    out << image.Id() << ',' << CsvText(image.Name());
    for (const qvfd::EOP* eop : {&image.GetEOP(), &image.GetUpdatedEOP()}) {
      for (const auto value : kOrientation) {
        out << ',' << qvfd::ToString(eop->*value);
      }
    }
    out << '\n';
  }
}

Json ImagesJson(const qvfd::ImageInfoSet& images) {
  Json rows = Json::array();
  for (const qvfd::ImageInfo& image : images) {
    Json row = {{"id", image.Id()}, {"name", JsonText(image.Name())}};
    for (std::size_t i = 0; i < kOrientation.size(); ++i) {
      row[kOrientationNames[i]] = image.GetEOP().*kOrientation[i];
    }
    for (std::size_t i = 0; i < kOrientation.size(); ++i) {
      row[std::string("new_") + kOrientationNames[i]] = image.GetUpdatedEOP().*kOrientation[i];
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

// ---- Both ---------------------------------------------------------------------------------------

void PrintAsJson(const TransformOptions& options, const qvfd::CoordinateInfo& system, Json results,
                 std::ostream& out) {
  Json document = {{"file", JsonText(options.project)},
                   {"coordinate_id", system.id},
                   {"coordinate_name", JsonText(qvfd::DisplayName(system))},
                   {"direction", options.to_local ? "to-local" : "from-local"}};
  document[options.images ? "images" : "points"] = std::move(results);
  PrintJson(out, document);
}

int Transform(const TransformOptions& options, Console& console) {
  RequireRightUsage(options);
  const qvprj::QvProject project = Opened(options, console);
  const qvfd::CoordinateInfo system = SystemOf(options.project, project);
  Conversion conversion = ConversionOf(options.project, system, DirectionOf(options));
  if (options.images) {
    const LocalImages local = ConvertImages(options.project, project, system, conversion, console.err);
    options.json ? PrintAsJson(options, system, ImagesJson(local.images), console.out)
                 : PrintImages(local.images, console.out);
    return local.whole ? kDone : kFailed;
  }
  PointReader reader(system, DirectionOf(options), conversion, console.err);
  const std::vector<PointRow> rows = ReadPoints(reader, console.in);
  options.json ? PrintAsJson(options, system, PointsJson(rows), console.out) : PrintPoints(rows, console.out);
  return IsWhole(rows) ? kDone : kFailed;
}

}  // namespace

int RunTransform(const TransformOptions& options, Console& console) {
  return Reported(console.err, [&] { return Transform(options, console); });
}

void AddTransform(CLI::App& program, Action& action) {
  const auto options = std::make_shared<TransformOptions>();
  CLI::App* const command =
      program.add_subcommand("transform", "Convert positions to or from a project's coordinate system");
  command->add_option("SURVEY.db", options->project, "the project")->required();
  command->add_flag("--to-local", options->to_local, "from degrees to the project's coordinate system");
  command->add_flag("--from-local", options->from_local, "from the project's coordinate system to degrees");
  command->add_flag("--images", options->images, "convert the project's images, not standard input");
  command->add_flag("--json", options->json, "print one JSON document");
  command->footer(kFooter);
  command->callback([options, &action] {
    action = [options](Console& console) { return RunTransform(*options, console); };
  });
}

}  // namespace qvapp
