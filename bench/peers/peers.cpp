// Programs to compare: each does one thing to the data and ends. bench/peers/run measures them as processes.

#include <cstdio>
#include <exception>
#include <span>
#include <stdexcept>

#include "Peers.h"

namespace peers {

void Require(bool condition, const std::string& what) {
  if (!condition) {
    throw std::runtime_error(what);
  }
}

namespace {

constexpr char kUsage[] =
    "usage: qvprj_peers make FOLDER [--tiny]        writes the data in every way that is compared\n"
    "       qvprj_peers ours open SURVEY.db         opens a project\n"
    "       qvprj_peers ours save SURVEY.db COPY.db opens a project and saves it\n"
    "       qvprj_peers json read FILE              the same with the tie points as JSON\n"
    "       qvprj_peers json write FILE COPY\n"
    "       qvprj_peers csv read FOLDER             and as CSV\n"
    "       qvprj_peers csv write FOLDER COPY\n"
    "       qvprj_peers compare FOLDER              fails unless all ways give the same tie points\n";

/// What was read, so that readers can be seen to have read the same.
void PrintCounts(const qvprj::QvProject::Features& features, const qvprj::QvProject::Matches& matches,
                 const qvprj::QvProject::Tracks& tracks) {
  std::size_t points = 0;
  for (const auto& [id, image] : features) {
    points += image.size();
  }
  std::size_t indices = 0;
  for (const auto& [ids, pair] : matches) {
    indices += pair.size();
  }
  std::size_t observations = 0;
  for (const qvfd::Track& track : tracks) {
    observations += track.observations.size();
  }
  std::printf("%zu images with %zu features, %zu pairs with %zu matches, %zu tracks with %zu observations\n",
              features.size(), points, matches.size(), indices, tracks.size(), observations);
}

void PrintCounts(const TiePoints& points) {
  PrintCounts(points.features, points.matches, points.tracks);
}

void Ours(const std::string& path, const std::string& copy) {
  qvprj::QvProject project;
  Require(project.OpenPrj(path), path + " cannot be opened");
  PrintCounts(project.GetFeatures(), project.GetMatches(), project.GetTracks());
  Require(copy.empty() || project.Save(copy), copy + " cannot be saved");
}

void Compare(const std::string& folder) {
  qvprj::QvProject project;
  Require(project.OpenPrj(folder + "/survey.db"), "the project cannot be opened");
  const TiePoints ours{project.GetFeatures(), project.GetMatches(), project.GetTracks()};
  Require(ours == ReadJson(folder + "/tie_points.json"), "JSON gives other tie points");
  Require(ours == ReadCsv(folder + "/csv"), "CSV gives other tie points");
}

/// False when there is no such command.
bool Run(std::span<char*> words) {
  const std::string what = words.size() > 1 ? words[0] + std::string(" ") + words[1] : "";
  const std::string path = words.size() > 2 ? words[2] : "";
  const std::string copy = words.size() > 3 ? words[3] : "";
  if (words.size() == 2 && what.starts_with("make ")) {
    MakePeerData(words[1], false);
  } else if (words.size() == 3 && what.starts_with("make ") && path == "--tiny") {
    MakePeerData(words[1], true);
  } else if (words.size() == 2 && what.starts_with("compare ")) {
    Compare(words[1]);
  } else if ((words.size() == 3 && what == "ours open") || (words.size() == 4 && what == "ours save")) {
    Ours(path, copy);
  } else if (words.size() == 3 && what == "json read") {
    PrintCounts(ReadJson(path));
  } else if (words.size() == 4 && what == "json write") {
    const TiePoints points = ReadJson(path);
    PrintCounts(points);
    WriteJson(points, copy);
  } else if (words.size() == 3 && what == "csv read") {
    PrintCounts(ReadCsv(path));
  } else if (words.size() == 4 && what == "csv write") {
    const TiePoints points = ReadCsv(path);
    PrintCounts(points);
    WriteCsv(points, copy);
  } else {
    return false;
  }
  return true;
}

}  // namespace
}  // namespace peers

int main(int argc, char** argv) {
  try {
    if (!peers::Run(std::span(argv, static_cast<std::size_t>(argc)).subspan(1))) {
      std::fputs(peers::kUsage, stderr);
      return 2;
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qvprj_peers: %s\n", error.what());
    return 1;
  }
  return 0;
}
