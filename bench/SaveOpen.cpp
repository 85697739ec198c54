// Saving and opening projects of many images against projects of few.

#include <memory>

#include "Figure.h"
#include "Workspace.h"
#include "support/ProjectBuilder.h"
#include "support/ProjectCompare.h"

namespace bench {
namespace {

/// A survey of `images` images and nothing else that grows with it.
support::ProjectShape ImagesOnly(int images) {
  support::ProjectShape shape = support::Nothing();
  shape.cameras = 2;
  shape.images = images;
  shape.features_per_image = 0;
  return shape;
}

/// A project and its pair of files.
class SavedSurvey {
 public:
  explicit SavedSurvey(int images) : project_(support::BuildProject(ImagesOnly(images))) {
    Save();
    qvprj::QvProject opened;
    Require(opened.OpenPrj(Path()), "opening what was saved");
    const std::string difference = support::FirstDifference(opened, project_);
    Require(difference.empty(), "the opened project is the saved one: " + difference);
  }

  void Save() { Require(project_.Save(Path()), "saving"); }

  void Open() {
    qvprj::QvProject opened;
    Require(opened.OpenPrj(Path()), "opening");
    Require(opened.GetImageInfoSet().Size() == project_.GetImageInfoSet().Size(), "opening every image");
  }

 private:
  [[nodiscard]] std::string Path() const { return folder_.File("survey.db"); }

  Workspace folder_;
  qvprj::QvProject project_;
};

using Work = void (*)(SavedSurvey&);

/// What `work` costs with ten times the images, against what it costs with `images`.
Figure TenTimesTheImages(const std::string& name, const Scale& scale, double goal, Work work) {
  const int few = scale.Of(1000, 10);
  const int many = 10 * few;
  const auto round = [work](int images) -> Round {
    const auto survey = std::make_shared<SavedSurvey>(images);
    return [survey, work] { return Milliseconds([&] { work(*survey); }); };
  };
  return {.operation = name + ": " + std::to_string(many) + " images",
          .floor_name = std::to_string(few) + " images",
          .unit = "ms",
          .goal = goal,
          .prepare = [round, few, many] { return std::pair(round(many), round(few)); }};
}

}  // namespace

std::vector<Figure> SaveOpenFigures(const Scale& scale) {
  constexpr double kNothingIsQuadratic = 12.0;
  return {
      TenTimesTheImages("Save", scale, kNothingIsQuadratic, [](SavedSurvey& survey) { survey.Save(); }),
      TenTimesTheImages("OpenPrj", scale, kNothingIsQuadratic, [](SavedSurvey& survey) { survey.Open(); }),
      TenTimesTheImages("Save and OpenPrj", scale, kNothingIsQuadratic,
                        [](SavedSurvey& survey) {
                          survey.Save();
                          survey.Open();
                        }),
  };
}

}  // namespace bench
