// Tie points in three CSV files.

#include <charconv>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "Peers.h"

namespace peers {
namespace {

/// The numbers of a line, one after the other.
class Cells {
 public:
  explicit Cells(std::string_view line) : next_(line.data()), end_(line.data() + line.size()) {}

  [[nodiscard]] bool Empty() const { return next_ == end_; }

  template <class T>
  T Take() {
    T value{};
    const auto [after, error] = std::from_chars(next_, end_, value);
    Require(error == std::errc{} && (after == end_ || *after == ','), "a CSV cell is no number");
    next_ = after == end_ ? end_ : after + 1;
    return value;
  }

 private:
  const char* next_;
  const char* end_;
};

template <class Take>
void ForEachLine(const std::filesystem::path& path, Take&& take) {
  std::ifstream file(path, std::ios::binary);
  Require(static_cast<bool>(file), path.string() + " cannot be opened");
  std::string line;
  while (std::getline(file, line)) {
    take(Cells(line));
  }
}

/// A CSV file that is being written, a piece at a time.
class Lines {
 public:
  explicit Lines(const std::filesystem::path& path) : path_(path.string()), file_(path, std::ios::binary) {}

  template <class... Values>
  void Add(Values... values) {
    (AddOne(values), ...);
  }

  void End() {
    text_.back() = '\n';
    if (text_.size() > kPiece) {
      file_ << text_;
      text_.clear();
    }
  }

  void Close() {
    file_ << text_;
    Require(static_cast<bool>(file_.flush()), path_ + " cannot be written");
  }

 private:
  static constexpr std::size_t kPiece = 1 << 16;

  template <class T>
  void AddOne(T value) {
    char digits[32];
    text_.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
    text_ += ',';
  }

  std::string path_;
  std::ofstream file_;
  std::string text_;
};

}  // namespace

TiePoints ReadCsv(const std::string& folder) {
  const std::filesystem::path base(folder);
  TiePoints points;
  ForEachLine(base / "features.csv", [&](Cells cells) {
    auto& image = points.features[cells.Take<int>()];
    const auto x = cells.Take<float>();
    image.push_back({x, cells.Take<float>()});
  });
  ForEachLine(base / "matches.csv", [&](Cells cells) {
    const int left = cells.Take<int>();
    auto& pair = points.matches[{left, cells.Take<int>()}];
    const int index = cells.Take<int>();
    pair.push_back({index, cells.Take<int>()});
  });
  ForEachLine(base / "tracks.csv", [&](Cells cells) {
    qvfd::Track& track = points.tracks.emplace_back();
    track.x = cells.Take<double>();
    track.y = cells.Take<double>();
    track.z = cells.Take<double>();
    while (!cells.Empty()) {
      qvfd::TrackObservation& observation = track.observations.emplace_back();
      observation.image_id = cells.Take<std::int32_t>();
      observation.x = cells.Take<float>();
      observation.y = cells.Take<float>();
    }
  });
  return points;
}

void WriteCsv(const TiePoints& points, const std::string& folder) {
  const std::filesystem::path base(folder);
  std::filesystem::create_directories(base);
  Lines features(base / "features.csv");
  for (const auto& [id, image] : points.features) {
    for (const auto& point : image) {
      features.Add(id, point.x, point.y);
      features.End();
    }
  }
  features.Close();
  Lines matches(base / "matches.csv");
  for (const auto& [ids, pair] : points.matches) {
    for (const auto& match : pair) {
      matches.Add(ids.x, ids.y, match.x, match.y);
      matches.End();
    }
  }
  matches.Close();
  Lines tracks(base / "tracks.csv");
  for (const qvfd::Track& track : points.tracks) {
    tracks.Add(track.x, track.y, track.z);
    for (const auto& observation : track.observations) {
      tracks.Add(observation.image_id, observation.x, observation.y);
    }
    tracks.End();
  }
  tracks.Close();
}

}  // namespace peers
