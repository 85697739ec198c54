// Listing the missions of a flight database that lies among thousands of photos.

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <memory>

#include "Figure.h"
#include "Workspace.h"
#include "qvprj/flight/FlyProjectHelper.h"
#include "qvsql/Database.h"

namespace bench {
namespace {

constexpr std::uintmax_t kPhotoSize = 5'000'000;
constexpr std::uintmax_t kTinyPhotoSize = 2'000;
constexpr int kHeaderBytes = 16;  // of a database: its name of the format

/// A flight database with one mission, and photos beside it.
class FlightFolder {
 public:
  FlightFolder(int photos, std::uintmax_t photoSize) {
    MakeFlightDatabase();
    for (int i = 0; i < photos; ++i) {
      photos_.push_back(folder_.File("DJI_" + std::to_string(100000 + i) + ".JPG"));
      std::ofstream(photos_.back(), std::ios::binary) << "\xFF\xD8\xFF\xE1 the header of a photo";
      std::filesystem::resize_file(photos_.back(), photoSize);  // sparse: no disk is filled
    }
  }

  void ListMissions() const {
    std::vector<qvprj::FlyProjectHelper::FlyPrjInfo> missions;
    Require(qvprj::FlyProjectHelper().QuickRead(folder_.File("flight.db"), missions), "listing missions");
    Require(missions.size() == 1 && missions.front().id == "m", "listing the one mission");
  }

  /// The least that can be done to tell a photo from a database.
  void ReadHeaders() const {
    std::array<char, kHeaderBytes> header{};
    for (const std::string& photo : photos_) {
      const int file = open(photo.c_str(), O_RDONLY | O_CLOEXEC);
      Require(read(file, header.data(), header.size()) == kHeaderBytes, "reading a header");
      close(file);
    }
  }

 private:
  void MakeFlightDatabase() {
    qvsql::Database database;
    Require(database.Create(folder_.File("flight.db")), "creating the flight database");
    const auto add = [&](const std::string& table, const std::vector<std::string>& columns) {
      std::vector<qvsql::Field> fields;
      for (const std::string& column : columns) {
        fields.emplace_back(column, qvsql::kTextColumn);
      }
      const std::vector<std::string> row(columns.size(), "m");
      Require(database.CreateTable(table, fields), "creating " + table);
      Require(database.AddRecords(table, row, static_cast<int>(columns.size())), "filling " + table);
    };
    add("flight_mission", {"id", "flight_task_name", "created_at", "project_id"});
    add("pos_data", {"flight_mission_id"});
  }

  Workspace folder_;
  std::vector<std::string> photos_;
};

/// Where the system counts what this process reads, if it does.
constexpr char kIoCounters[] = "/proc/self/io";

/// The bytes that this process has read from files so far.
double BytesRead() {
  std::ifstream io(kIoCounters);
  std::string name;
  double value = 0.0;
  while (io >> name >> value) {
    if (name == "rchar:") {
      return value;
    }
  }
  Require(false, "counting the bytes that are read");
  return 0.0;
}

template <class Work>
double BytesReadBy(const Work& work) {
  // Reading the counter counts too.
  const double first = BytesRead();
  const double own = BytesRead() - first;
  const double before = BytesRead();
  work();
  return BytesRead() - before - own;
}

/// What listing reads of the photos alone: what it reads among them less what it reads without them.
Round BytesOfPhotos(int photos) {
  const auto among = std::make_shared<FlightFolder>(photos, kPhotoSize);
  const auto alone = std::make_shared<FlightFolder>(0, kPhotoSize);
  return [among, alone] {
    return BytesReadBy([&] { among->ListMissions(); }) - BytesReadBy([&] { alone->ListMissions(); });
  };
}

Round TimeOf(std::shared_ptr<FlightFolder> folder, void (FlightFolder::*work)() const) {
  return [folder, work] { return Milliseconds([&] { ((*folder).*work)(); }); };
}

}  // namespace

std::vector<Figure> FlightListingFigures(const Scale& scale) {
  const int photos = scale.Of(10'000, 20);
  const std::string among = "QuickRead among " + std::to_string(photos) + " photos";
  constexpr double kSizeDoesNotMatter = 1.5;
  constexpr double kHeadersOnly = 1.01;  // the counters are text, whose own length varies by a few bytes
  std::vector<Figure> figures = {
      {.operation = among,
       .floor_name = "open, read 16, close",
       .unit = "ms",
       .goal = 1.5,
       .prepare =
           [photos] {
             const auto folder = std::make_shared<FlightFolder>(photos, kPhotoSize);
             return std::pair(TimeOf(folder, &FlightFolder::ListMissions),
                              TimeOf(folder, &FlightFolder::ReadHeaders));
           }},
      {.operation = among + " of 5 MB",
       .floor_name = "as many of 2 kB",
       .unit = "ms",
       .goal = kSizeDoesNotMatter,
       .prepare =
           [photos] {
             const auto large = std::make_shared<FlightFolder>(photos, kPhotoSize);
             const auto tiny = std::make_shared<FlightFolder>(photos, kTinyPhotoSize);
             return std::pair(TimeOf(large, &FlightFolder::ListMissions),
                              TimeOf(tiny, &FlightFolder::ListMissions));
           }},
  };
  if (std::filesystem::exists(kIoCounters)) {
    figures.push_back({.operation = among + ": read of them",
                       .floor_name = "a header of each",
                       .unit = "bytes",
                       .goal = kHeadersOnly,
                       .prepare = [photos] {
                         const double headers = static_cast<double>(photos) * kHeaderBytes;
                         return std::pair(BytesOfPhotos(photos), Round([headers] { return headers; }));
                       }});
  }
  return figures;
}

}  // namespace bench
