#include "examples/FlightSimulator.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numbers>

#include "examples/Decimals.h"
#include "qvsql/qvsql.h"

namespace flightsim {
namespace {

using examples::Fixed;

constexpr double kRadian = std::numbers::pi / 180.0;
constexpr double kGravity = 9.81;
constexpr double kTimeStep = 0.05;         // seconds
constexpr double kMaxBank = 35.0;          // degrees
constexpr double kRunOut = 40.0;           // metres flown past the end of a strip before the turn
constexpr double kMissedAgain = 0.25;      // share of missed triggers that follow a missed one
constexpr double kCaptureDistance = 25.0;  // metres off the line at which it steers 45 degrees towards it

// Random numbers that are the same everywhere: SplitMix64, and sums of it instead of a normal distribution,
// so that no logarithm or cosine of the platform takes part.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t Bits() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15U);
    z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31U);
  }

  // From 0 up to, not including, 1.
  double Uniform() { return static_cast<double>(Bits() >> 11U) * 0x1.0p-53; }

  // Mean 0, variance 1: the sum of twelve uniform numbers has the variance 12 / 12.
  double Normal() {
    double sum = -6.0;
    for (int i = 0; i < 12; ++i) {
      sum += Uniform();
    }
    return sum;
  }

 private:
  std::uint64_t state_;
};

// Noise that drifts: what it was `memory` seconds ago it has all but forgotten.
class Drift {
 public:
  Drift(double deviation, double memory)
      : keep_(1.0 - kTimeStep / memory), kick_(deviation * std::sqrt(1.0 - keep_ * keep_)) {}

  double Step(Random& random) {
    value_ = keep_ * value_ + kick_ * random.Normal();
    return value_;
  }

 private:
  double keep_;
  double kick_;
  double value_ = 0.0;
};

// Metres in a plane.
struct Vector {
  double east = 0.0;
  double north = 0.0;

  friend Vector operator+(Vector a, Vector b) { return {a.east + b.east, a.north + b.north}; }
  friend Vector operator-(Vector a, Vector b) { return {a.east - b.east, a.north - b.north}; }
  friend Vector operator*(Vector a, double factor) { return {a.east * factor, a.north * factor}; }
};

double Dot(Vector a, Vector b) {
  return a.east * b.east + a.north * b.north;
}

Vector Towards(double course) {
  return {std::sin(course * kRadian), std::cos(course * kRadian)};
}

// The angle as -180 up to, not including, 180 degrees.
double Turned(double angle) {
  return angle - 360.0 * std::floor((angle + 180.0) / 360.0);
}

// `value` to the nearest whole unit, `unitsPerOne` of which make 1.
double Rounded(double value, double unitsPerOne) {
  return std::round(value * unitsPerOne) / unitsPerOne;
}

// The track speed over ground of an aircraft that keeps a course in a steady wind, and the heading it needs.
struct Crab {
  double heading = 0.0;
  double ground_speed = 0.0;
};

Crab HoldCourse(double course, double airSpeed, Vector wind) {
  const double tail = Dot(wind, Towards(course));
  const double cross = Dot(wind, Towards(course + 90.0));
  const double correction = std::asin(std::clamp(-cross / airSpeed, -0.9, 0.9));
  return {course + correction / kRadian, tail + airSpeed * std::cos(correction)};
}

// Where the strips are, in metres from the block's south-west corner; u runs along the first strip, v across
// the strips, to its left.
struct Block {
  Vector u;
  Vector v;
  double length = 0.0;
};

Block LayOut(const SurveyPlan& plan, Vector wind) {
  Block block{Towards(plan.strip_course), Towards(plan.strip_course - 90.0), 0.0};
  const double interval = plan.TriggerInterval();
  const double there = HoldCourse(plan.strip_course, plan.air_speed, wind).ground_speed * interval;
  const double back = HoldCourse(plan.strip_course + 180.0, plan.air_speed, wind).ground_speed * interval;

  // As square as the number of photos allows.
  const double triggers = plan.images / (1.0 - plan.missed_share / (1.0 - kMissedAgain));
  const double area = triggers * plan.PhotoSpacing() * plan.StripSpacing();
  const double strips = std::max(1.0, std::round(std::sqrt(area) / plan.StripSpacing()));
  const double strips_there = std::ceil(strips / 2.0);
  // A strip of n spacings has n + 1 photos, and the last spacing is seldom a whole one: on average half a
  // photo more than the length says. Some of it is kept as a reserve, so that the last strip is the last.
  block.length = (triggers - 0.2 * strips) / (strips_there / there + (strips - strips_there) / back);
  return block;
}

// The aircraft: a point that keeps its speed through the air, banks to turn, and is carried by the wind.
class Aircraft {
 public:
  Aircraft(Vector position, double heading, double airSpeed)
      : position_(position), heading_(heading), air_speed_(airSpeed) {}

  [[nodiscard]] Vector Position() const { return position_; }
  [[nodiscard]] double Heading() const { return heading_; }
  [[nodiscard]] double Bank() const { return bank_; }

  // One time step towards the wanted heading. While more than half of a half turn is left, `side` (1 right,
  // -1 left) decides which way round.
  void Step(double wantedHeading, double side, Vector wind) {
    double error = Turned(wantedHeading - heading_);
    if (std::abs(error) > 90.0 && error * side < 0.0) {
      error += side * 360.0;
    }
    const double wanted_bank = std::clamp(2.0 * error, -kMaxBank, kMaxBank);
    bank_ += (wanted_bank - bank_) * kTimeStep / 0.4;
    heading_ += kGravity * std::tan(bank_ * kRadian) / air_speed_ / kRadian * kTimeStep;
    position_ = position_ + (Towards(heading_) * air_speed_ + wind) * kTimeStep;
  }

 private:
  Vector position_;
  double heading_;
  double air_speed_;
  double bank_ = 0.0;
};

// What disturbs flight and log, each with a size and a memory of its own.
struct Disturbances {
  explicit Disturbances(double gusts) : gust_east(gusts, 6.0), gust_north(gusts, 6.0) {}

  Drift gust_east;
  Drift gust_north;
  Drift height{0.9, 8.0};
  Drift roll{1.6, 0.8};
  Drift pitch{1.4, 0.8};
  Drift yaw{1.2, 1.5};
  Drift gps_east{0.7, 60.0};
  Drift gps_north{0.7, 60.0};
  Drift gps_height{1.1, 60.0};
};

// Metres around the block's corner to degrees, with the radii of curvature of the WGS 84 ellipsoid there.
class Ground {
 public:
  explicit Ground(const SurveyPlan& plan) : latitude_(plan.latitude), longitude_(plan.longitude) {
    constexpr double kAxis = 6378137.0;
    constexpr double kEccentricitySquared = 0.00669437999014;
    const double sine = std::sin(latitude_ * kRadian);
    const double w = 1.0 - kEccentricitySquared * sine * sine;
    metres_north_ = kAxis * (1.0 - kEccentricitySquared) / (w * std::sqrt(w)) * kRadian;
    metres_east_ = kAxis / std::sqrt(w) * std::cos(latitude_ * kRadian) * kRadian;
  }

  [[nodiscard]] double Latitude(Vector place) const { return latitude_ + place.north / metres_north_; }
  [[nodiscard]] double Longitude(Vector place) const { return longitude_ + place.east / metres_east_; }

 private:
  double latitude_;
  double longitude_;
  double metres_north_;  // a degree
  double metres_east_;   // a degree
};

std::string Guid(Random& random) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const int group : {8, 4, 4, 4, 12}) {
    if (!text.empty()) {
      text += '-';
    }
    for (int i = 0; i < group; ++i) {
      text += kDigits[random.Bits() % 16U];
    }
  }
  return text;
}

struct Mission {
  std::string id;
  std::string name;
  std::string created_at;
  std::vector<Photo> photos;
  double height_above_ground = 0.0;  // mean of the photos
};

Mission FlyMission(std::string name, std::string createdAt, const SurveyPlan& plan, Random& random) {
  Mission mission{Guid(random), std::move(name), std::move(createdAt), Fly(plan, random.Bits()), 0.0};
  double sum = 0.0;
  for (const Photo& photo : mission.photos) {
    sum += photo.height - plan.ground_height;
  }
  mission.height_above_ground = sum / static_cast<double>(mission.photos.size());
  return mission;
}

bool WriteFlightDatabase(const std::string& path, const std::vector<Mission>& missions,
                         const std::string& projectId, const std::string& serial) {
  using qvsql::kIntegerColumn;
  using qvsql::kRealColumn;
  using qvsql::kTextColumn;
  const std::vector<qvsql::Field> mission_columns = {{"id", kTextColumn},
                                                     {"project_id", kTextColumn},
                                                     {"flight_task_name", kTextColumn},
                                                     {"created_at", kTextColumn},
                                                     {"survey_average_altitude", kRealColumn}};
  const std::vector<qvsql::Field> position_columns = {{"flight_mission_id", kTextColumn},
                                                      {"img_idx", kIntegerColumn},
                                                      {"lat", kRealColumn},
                                                      {"lng", kRealColumn},
                                                      {"alt_msl", kRealColumn},
                                                      {"roll", kRealColumn},
                                                      {"pitch", kRealColumn},
                                                      {"yaw", kRealColumn}};
  const std::vector<qvsql::Field> status_columns = {{"flight_mission_id", kTextColumn},
                                                    {"uas_serial_id", kTextColumn}};

  std::vector<std::string> mission_cells;
  std::vector<std::string> position_cells;
  std::vector<std::string> status_cells;
  for (const Mission& mission : missions) {
    mission_cells.insert(mission_cells.end(), {mission.id, projectId, mission.name, mission.created_at,
                                               Fixed(mission.height_above_ground, 2)});
    status_cells.insert(status_cells.end(), {mission.id, serial});
    for (const Photo& photo : mission.photos) {
      position_cells.insert(
          position_cells.end(),
          {mission.id, std::to_string(photo.index), Fixed(photo.latitude, 8), Fixed(photo.longitude, 8),
           Fixed(photo.height, 3), Fixed(photo.roll, 2), Fixed(photo.pitch, 2), Fixed(photo.yaw, 2)});
    }
  }

  const auto count = [](const std::vector<qvsql::Field>& columns) {
    return static_cast<int>(columns.size());
  };
  qvsql::Database database;
  return database.Create(path) && database.CreateTable("flight_mission", mission_columns) &&
         database.AddRecords("flight_mission", mission_cells, count(mission_columns)) &&
         database.CreateTable("pos_data", position_columns) &&
         database.AddRecords("pos_data", position_cells, count(position_columns)) &&
         database.CreateTable("uas_status", status_columns) &&
         database.AddRecords("uas_status", status_cells, count(status_columns));
}

bool WriteProjectDatabase(const std::string& path, const std::string& projectId, const std::string& name) {
  qvsql::Database database;
  return database.Create(path) &&
         database.CreateTable("project",
                              {{"id", qvsql::kTextColumn}, {"project_name", qvsql::kTextColumn}}) &&
         database.AddRecords("project", {projectId, name}, 2);
}

}  // namespace

double SurveyPlan::PhotoSpacing() const {
  return flying_height * sensor_height / focal_length * (1.0 - forward_overlap);
}

double SurveyPlan::StripSpacing() const {
  return flying_height * sensor_width / focal_length * (1.0 - side_overlap);
}

double SurveyPlan::TriggerInterval() const {
  return PhotoSpacing() / air_speed;
}

std::vector<Photo> Fly(const SurveyPlan& plan, std::uint64_t seed) {
  Random random(seed);
  Disturbances noise(plan.gusts);
  const Vector mean_wind = Towards(plan.wind_from + 180.0) * plan.wind_speed;
  const Block block = LayOut(plan, mean_wind);
  const Ground ground(plan);

  std::vector<Photo> photos;
  photos.reserve(static_cast<std::size_t>(plan.images));
  int strip = 0;
  int index = plan.first_index;
  bool missed_before = false;
  double since_trigger = 0.0;
  Aircraft aircraft(block.u * -kRunOut, HoldCourse(plan.strip_course, plan.air_speed, mean_wind).heading,
                    plan.air_speed);

  while (photos.size() < static_cast<std::size_t>(plan.images)) {
    const Vector wind = mean_wind + Vector{noise.gust_east.Step(random), noise.gust_north.Step(random)};
    const bool outward = strip % 2 == 0;
    const double course = outward ? plan.strip_course : plan.strip_course + 180.0;
    const Vector from_start = aircraft.Position() - block.v * (strip * plan.StripSpacing());
    const double along = outward ? Dot(from_start, block.u) : block.length - Dot(from_start, block.u);
    const double left_of_line = outward ? Dot(from_start, block.v) : -Dot(from_start, block.v);

    // Steer for the line, the more steeply the further off it is, and hold that course against the mean wind:
    // of gusts the autopilot knows nothing.
    const double steer = std::atan(left_of_line / kCaptureDistance) / kRadian;
    const double turn_side = outward ? 1.0 : -1.0;
    aircraft.Step(HoldCourse(course + steer, plan.air_speed, mean_wind).heading, turn_side, wind);
    const double roll_noise = noise.roll.Step(random);
    const double pitch_noise = noise.pitch.Step(random);
    const double yaw_noise = noise.yaw.Step(random);
    const double height = plan.flying_height + noise.height.Step(random);
    const Vector gps{noise.gps_east.Step(random), noise.gps_north.Step(random)};
    const double gps_height = noise.gps_height.Step(random);

    // The camera is triggered over the block only; every strip begins with a trigger.
    since_trigger += kTimeStep;
    if (along > block.length + kRunOut) {
      ++strip;
      continue;
    }
    if (along < 0.0) {
      since_trigger = plan.TriggerInterval();
      continue;
    }
    if (along > block.length || since_trigger < plan.TriggerInterval()) {
      continue;
    }
    since_trigger -= plan.TriggerInterval();

    // Misses come in company: a camera that is busy still is at the next trigger.
    const bool missed = random.Uniform() < (missed_before ? kMissedAgain : plan.missed_share);
    missed_before = missed;
    const int this_index = index++;
    if (missed) {
      continue;
    }
    const Vector logged = aircraft.Position() + gps;
    const double yaw = aircraft.Heading() + yaw_noise;
    photos.push_back(
        {this_index, strip, Rounded(ground.Latitude(logged), 1e8), Rounded(ground.Longitude(logged), 1e8),
         Rounded(plan.ground_height + height + gps_height, 1e3), Rounded(aircraft.Bank() + roll_noise, 1e2),
         Rounded(2.5 + pitch_noise, 1e2), Rounded(yaw - 360.0 * std::floor(yaw / 360.0), 1e2)});
  }
  return photos;
}

FlightFiles FilesIn(const std::string& folder) {
  const std::filesystem::path place(folder);
  return {(place / "flight.db").string(), (place / "project.db").string()};
}

bool WriteFlight(const std::string& folder, int images, std::uint64_t seed, std::string& error) {
  const FlightFiles files = FilesIn(folder);
  Random random(seed);
  const std::string project_id = Guid(random);
  const std::string serial = "SIM-" + std::to_string(10000000U + random.Bits() % 90000000U);

  SurveyPlan trial;
  trial.images = std::max(1, std::min(images / 8, 60));
  trial.strip_course = 168.0;
  trial.wind_speed = 2.0;
  trial.wind_from = 210.0;
  SurveyPlan survey;
  survey.images = images;
  survey.first_index = 1001;  // the camera's counter goes on from flight to flight

  std::vector<Mission> missions;
  missions.push_back(FlyMission("Trial strips", "2024-05-13 16:45:05", trial, random));
  missions.push_back(FlyMission("Survey block A", "2024-05-14 09:12:40", survey, random));

  if (!WriteFlightDatabase(files.flight, missions, project_id, serial)) {
    error = files.flight + ": cannot be written; is it there already?";
    return false;
  }
  if (!WriteProjectDatabase(files.project, project_id, "Riverside meadows")) {
    error = files.project + ": cannot be written; is it there already?";
    return false;
  }
  return true;
}

}  // namespace flightsim
