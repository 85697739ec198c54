// qvprj import --from: files of another program become a saved project.
#include "commands/ImportFrom.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>

#include "common/CameraFile.h"
#include "common/Failure.h"
#include "common/Json.h"
#include "common/ProjectPair.h"
#include "common/ProjectRecord.h"
#include "common/SaveProject.h"
#include "common/Text.h"
#include "interchange/mapping/ColmapProject.h"
#include "interchange/mapping/OpenSfmProject.h"
#include "interchange/mapping/PhotoProject.h"
#include "interchange/mapping/TextProject.h"
#include "interchange/text/TextFile.h"

namespace qvapp {
namespace {

using interchange::Report;

/// The options as every conversion takes them.
struct Request {
  const ImportFromOptions& options;
  interchange::SceneOptions scene;
  interchange::ImportFrameOptions frame;
  std::vector<qvfd::CameraInfo> cameras;
};

Report FromColmap(const Request& request, qvprj::QvProject& project) {
  return interchange::ImportColmap(request.options.path,
                                   {request.frame, request.scene, request.options.database}, project);
}

Report FromPhotos(const Request& request, qvprj::QvProject& project) {
  const ImportFromOptions& options = request.options;
  return interchange::ImportPhotos({PhotoOptionsOf(options.photo_options, options.path, options.out),
                                    options.log, options.columns, request.cameras, options.crs},
                                   project);
}

Report FromOpenSfm(const Request& request, qvprj::QvProject& project) {
  return interchange::ImportOpenSfm(request.options.path, request.frame, request.scene, project);
}

interchange::TextOptions TextOptionsOf(const Request& request) {
  interchange::TextOptions made;
  made.crs = request.options.crs;
  made.order = AxisOrderOf(request.options.conventions);
  made.project = request.scene.project;
  return made;
}

Report FromOdm(const Request& request, qvprj::QvProject& project) {
  return interchange::ImportOdm(request.options.path, TextOptionsOf(request), request.cameras, project);
}

Report FromOpk(const Request& request, qvprj::QvProject& project) {
  return interchange::ImportText(request.options.path, interchange::TextKind::kOpk, TextOptionsOf(request),
                                 request.cameras, project);
}

Report FromYpr(const Request& request, qvprj::QvProject& project) {
  return interchange::ImportText(request.options.path, interchange::TextKind::kYpr, TextOptionsOf(request),
                                 request.cameras, project);
}

struct Kind {
  const char* name;
  Report (*import)(const Request& request, qvprj::QvProject& project);
};

constexpr std::array kKinds = {
    Kind{"colmap", FromColmap}, Kind{"opensfm", FromOpenSfm}, Kind{"odm", FromOdm},
    Kind{"opk", FromOpk},       Kind{"ypr", FromYpr},         Kind{"photos", FromPhotos},
};

Request RequestOf(const ImportFromOptions& options) {
  Request request{options, SceneOptionsOf(options.conventions), {}, {}};
  request.frame.crs = options.crs;
  request.frame.geoid_height = options.conventions.geoid_height;
  if (options.offset) {
    request.frame.offset = TripleOf("--offset", *options.offset);
  }
  if (options.camera_file) {
    request.cameras = ReadCameraFile(*options.camera_file);
  }
  return request;
}

}  // namespace

std::vector<std::string> ImportKinds() {
  std::vector<std::string> names;
  names.reserve(kKinds.size());
  for (const Kind& kind : kKinds) {
    names.emplace_back(kind.name);
  }
  return names;
}

int RunImportFrom(const ImportFromOptions& options, Console& console) {
  return Reported(console.err, [&] {
    RequireProjectName(options.out);
    const ProjectPair pair = PairOf(options.out);
    RequireApart(pair, options.path);
    RequireReportApart(options.photo_options, pair, {options.path, options.log.value_or("")});
    const auto* const kind =
        std::find_if(kKinds.begin(), kKinds.end(), [&](const Kind& k) { return options.kind == k.name; });
    if (kind == kKinds.end()) {
      throw Failure("--from", "'" + options.kind + "' is not known", "see 'qvprj import --help'",
                    kWrongUsage);
    }
    RequireKept("--operator", "name", options.operator_name, kOperatorCapacity);
    const Request request = RequestOf(options);
    std::error_code error;
    if (!std::filesystem::exists(options.path, error)) {
      throw Failure(options.path, "no such file or folder", "check the path");
    }
    RequireFree(pair, options.force);
    qvprj::QvProject project;
    Report report;
    {
      const StatusLine status(console, "Reading", options.path);
      Converted([&] { report = kind->import(request, project); });
    }
    if (FixedText(project.GetPrjInfo().project_name).empty()) {
      const std::string name = interchange::TitleOf(options.path);
      project.string2char(project.GetPrjInfo().project_name, kNameCapacity + 1, name);
    }
    project.string2char(project.GetPrjInfo().operator_name, kOperatorCapacity + 1, options.operator_name);
    SaveAndCheck(pair, project, console);
    report.files.insert(report.files.begin(), {pair.database, pair.track_file});
    if (options.json) {
      Json document{{"from", options.kind}, {"path", JsonText(options.path)}};
      document.update(ReportJson(report));
      PrintJson(console.out, document);
    } else {
      console.out << "Imported from " << Printable(options.path) << " (" << options.kind << "):\n";
      PrintReport(report, console.out);
    }
    return kDone;
  });
}

}  // namespace qvapp
