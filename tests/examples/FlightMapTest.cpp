#include "examples/FlightMap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string_view>
#include <vector>

#include "examples/FlightSimulator.h"
#include "support/TestFiles.h"

namespace examples {
namespace {

using testing::HasSubstr;
using testing::Not;

int CountOf(std::string_view part, std::string_view text) {
  int count = 0;
  for (std::size_t at = text.find(part); at != std::string_view::npos;
       at = text.find(part, at + part.size())) {
    ++count;
  }
  return count;
}

bool IsEntity(std::string_view text) {
  for (const std::string_view entity : {"&amp;", "&lt;", "&gt;", "&quot;", "&apos;"}) {
    if (text.substr(0, entity.size()) == entity) {
      return true;
    }
  }
  return false;
}

// What is wrong with the document as XML; empty when it is well-formed. Knows what the map uses: a
// declaration, elements with attributes in double quotes, text and the five entities.
std::string WrongWith(std::string_view xml) {
  constexpr std::string_view kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  if (xml.substr(0, kDeclaration.size()) != kDeclaration) {
    return "no declaration";
  }
  std::vector<std::string> open;
  int roots = 0;
  std::size_t i = kDeclaration.size();
  while (i < xml.size()) {
    if (xml[i] == '&' && !IsEntity(xml.substr(i))) {
      return "a bare & in text at " + std::to_string(i);
    }
    if (xml[i] != '<') {
      if (open.empty() && xml[i] != '\n') {
        return "text outside of the root at " + std::to_string(i);
      }
      ++i;
      continue;
    }
    const bool closing = xml.substr(i, 2) == "</";
    i += closing ? 2 : 1;
    std::string name;
    while (i < xml.size() && std::isalpha(static_cast<unsigned char>(xml[i])) != 0) {
      name += xml[i++];
    }
    if (name.empty()) {
      return "a tag without a name at " + std::to_string(i);
    }
    while (i < xml.size() && xml[i] == ' ') {
      const std::size_t quote = xml.find("=\"", i);
      const std::size_t end = quote == std::string_view::npos ? quote : xml.find('"', quote + 2);
      if (end == std::string_view::npos) {
        return "an attribute without an end in " + name;
      }
      const std::string_view value = xml.substr(quote + 2, end - quote - 2);
      if (value.find('<') != std::string_view::npos) {
        return "a bare < in an attribute of " + name;
      }
      i = end + 1;
    }
    const bool alone = xml.substr(i, 2) == "/>";
    i += alone ? 2 : 1;
    if (i > xml.size() || xml[i - 1] != '>') {
      return "a tag without an end: " + name;
    }
    if (closing) {
      if (open.empty() || open.back() != name) {
        return "closed but not open: " + name;
      }
      open.pop_back();
    } else {
      roots += open.empty() ? 1 : 0;
      if (!alone) {
        open.push_back(name);
      }
    }
  }
  if (!open.empty()) {
    return "not closed: " + open.back();
  }
  return roots == 1 ? "" : "not one root";
}

TEST(WrongWith, FindsWhatIsNotWellFormed) {
  const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

  EXPECT_EQ(WrongWith(head + "<a b=\"1\"><c/>x &amp; y</a>\n"), "");
  for (const char* damaged : {"<a><b></a></b>", "<a>", "<a>&</a>", "<a>&co;</a>", "<a b=\"<\"/>", "<a/><a/>",
                              "<a b=\"1/>", "x<a/>", "<a>1 < 2</a>"}) {
    EXPECT_NE(WrongWith(head + damaged), "") << damaged;
  }
}

qvfd::CameraInfo Camera() {
  qvfd::CameraInfo camera;
  camera.id = 0;
  camera.width = 5472;
  camera.height = 3648;
  camera.ccdwidth = 13.2;
  camera.ccdheight = 8.8;
  camera.focallength = 8.8;
  return camera;
}

void AddImage(qvprj::QvProject& project, int id, qvfd::EOP eop, int strip = 1, bool enabled = true) {
  project.GetImageInfoSet().AddImage(id, "", "", eop, 0, strip, enabled);
}

int Markers(const std::string& svg) {
  return CountOf("class=\"image\"", svg);
}

TEST(FlightMap, DrawsASimulatedFlight) {
  const support::TempFolder folder;
  std::string error;
  ASSERT_TRUE(flightsim::WriteFlight(folder.Path().string(), 150, 1, error)) << error;
  std::vector<qvprj::FlyProjectHelper::FlyPrjInfo> missions;
  qvprj::FlyProjectHelper helper;
  ASSERT_TRUE(helper.QuickRead(folder.File("flight.db"), missions));
  qvprj::QvProject project;
  ASSERT_TRUE(helper.Read(folder.File("flight.db"), missions.front().id, project));
  project.GetCameraInfoSet().AddCamera(Camera());

  const std::string svg = DrawFlightMap(project);

  EXPECT_EQ(WrongWith(svg), "");
  EXPECT_EQ(Markers(svg), 150);
  EXPECT_EQ(CountOf("<polyline class=\"flight\"", svg), 1);
  EXPECT_THAT(svg, HasSubstr(">Survey block A</text>"));
  EXPECT_THAT(svg, HasSubstr(">150</text>"));
  EXPECT_THAT(svg, HasSubstr(">N</text>"));
  EXPECT_THAT(svg, HasSubstr(">100 m</text>"));
  EXPECT_THAT(svg, HasSubstr("local equirectangular projection"));
}

TEST(FlightMap, DrawsAnEmptyProject) {
  const std::string svg = DrawFlightMap(qvprj::QvProject());

  EXPECT_EQ(WrongWith(svg), "");
  EXPECT_EQ(Markers(svg), 0);
  EXPECT_THAT(svg, HasSubstr("No image has a position."));
  EXPECT_THAT(svg, Not(HasSubstr("inf")));
  EXPECT_THAT(svg, Not(HasSubstr("nan")));
}

TEST(FlightMap, DrawsOneImageInTheMiddle) {
  qvprj::QvProject project;
  AddImage(project, 5, {10.0, 48.0, 600.0, 0.0, 0.0, 1.5});

  const std::string svg = DrawFlightMap(project);

  EXPECT_EQ(WrongWith(svg), "");
  EXPECT_EQ(Markers(svg), 1);
  EXPECT_THAT(svg, HasSubstr("translate(462.0,"));  // half of the map's 860 pixels behind the margin of 32
  EXPECT_THAT(svg, Not(HasSubstr("nan")));
}

TEST(FlightMap, NorthIsUpAndEastIsRight) {
  qvprj::QvProject project;
  AddImage(project, 1, {10.000, 48.000, 600.0});
  AddImage(project, 2, {10.001, 48.001, 600.0});

  const std::string svg = DrawFlightMap(project);

  double x1 = 0.0;
  double y1 = 0.0;
  double x2 = 0.0;
  double y2 = 0.0;
  const std::string points = svg.substr(svg.find("points=\""));
  ASSERT_EQ(std::sscanf(points.c_str(), "points=\"%lf,%lf %lf,%lf", &x1, &y1, &x2, &y2), 4);
  EXPECT_GT(x2, x1);
  EXPECT_LT(y2, y1);
  EXPECT_NEAR((x2 - x1) / (y1 - y2), std::cos(48.0005 * 3.14159265 / 180.0), 0.002);
}

TEST(FlightMap, TheScaleBarMeasuresTheMap) {
  qvprj::QvProject project;
  AddImage(project, 1, {10.0, 48.000, 600.0});
  AddImage(project, 2, {10.0, 48.009, 600.0});  // 0.009 degrees of a great circle: 1000.8 m

  const std::string svg = DrawFlightMap(project);

  double x = 0.0;
  double y1 = 0.0;
  double y2 = 0.0;
  const std::string points = svg.substr(svg.find("points=\""));
  ASSERT_EQ(std::sscanf(points.c_str(), "points=\"%lf,%lf %lf,%lf", &x, &y1, &x, &y2), 4);
  double quarter = 0.0;
  const std::string bar = svg.substr(svg.find("height=\"5\"") - 30);
  ASSERT_EQ(std::sscanf(bar.substr(bar.find("width")).c_str(), "width=\"%lf\"", &quarter), 1);
  ASSERT_THAT(svg, HasSubstr(">200 m</text>"));
  EXPECT_NEAR(4.0 * quarter / (y1 - y2), 200.0 / 1000.8, 0.002);
}

TEST(FlightMap, ColoursByStripWhereThereAreStrips) {
  qvprj::QvProject project;
  for (int i = 0; i < 6; ++i) {
    AddImage(project, i, {10.0 + i * 1e-4, 48.0, 600.0 + i}, i / 3);
  }

  const std::string svg = DrawFlightMap(project);

  EXPECT_THAT(svg, HasSubstr("colour: strip"));
  EXPECT_EQ(CountOf("scale(1.20)\" fill=\"#1f6fb4\"", svg), 3);
  EXPECT_EQ(CountOf("scale(1.20)\" fill=\"#d9822b\"", svg), 3);
}

TEST(FlightMap, ColoursByHeightInOneStrip) {
  qvprj::QvProject project;
  AddImage(project, 1, {10.000, 48.0, 600.0});
  AddImage(project, 2, {10.001, 48.0, 650.0});

  const std::string svg = DrawFlightMap(project);

  EXPECT_THAT(svg, HasSubstr("colour: height above sea level"));
  EXPECT_THAT(svg, HasSubstr(">600.0 m</text>"));
  EXPECT_THAT(svg, HasSubstr(">650.0 m</text>"));
}

TEST(FlightMap, DisabledImagesAreHollow) {
  qvprj::QvProject project;
  AddImage(project, 1, {10.000, 48.0, 600.0});
  AddImage(project, 2, {10.001, 48.0, 600.0}, 1, false);

  const std::string svg = DrawFlightMap(project);

  EXPECT_EQ(Markers(svg), 2);
  EXPECT_EQ(CountOf("fill=\"#ffffff\" stroke=\"#63af5b\"", svg), 1);
}

TEST(FlightMap, TheUpdatedPositionCounts) {
  qvprj::QvProject project;
  AddImage(project, 1, {10.0, 48.0, 600.0});
  project.GetImageInfoSet().FindImage(1)->Update({20.0, -30.0, 600.0});

  EXPECT_THAT(DrawFlightMap(project), HasSubstr("30.00000 S, 20.00000 E"));
}

TEST(FlightMap, GroundIsDrawnWhereCameraAndHeightAreKnown) {
  qvprj::QvProject project;
  AddImage(project, 1, {10.0, 48.0, 600.0, 0.0, 0.0, 0.5});
  const auto ground = [&] {
    const std::string svg = DrawFlightMap(project);
    return CountOf("<rect", svg.substr(svg.find("class=\"ground\""),
                                       svg.find("<polyline") - svg.find("class=\"ground\"")));
  };

  EXPECT_EQ(ground(), 0);
  project.GetCameraInfoSet().AddCamera(Camera());
  EXPECT_EQ(ground(), 0);
  project.GetPrjInfo().height = 100.0;
  EXPECT_EQ(ground(), 1);
  EXPECT_THAT(DrawFlightMap(project), HasSubstr(">150 x 100 m</text>"));
}

TEST(FlightMap, AcrossTheDateLineTheFlightStaysInOnePiece) {
  qvprj::QvProject project;
  AddImage(project, 1, {179.9995, -17.0, 80.0});
  AddImage(project, 2, {-179.9995, -17.0, 80.0});

  EXPECT_THAT(DrawFlightMap(project), HasSubstr(">106 x 0 m</text>"));
}

TEST(FlightMap, ImagesWithoutAPlaceOnTheGlobeAreCountedNotDrawn) {
  qvprj::QvProject project;
  AddImage(project, 1, {10.0, 48.0, 600.0});
  AddImage(project, 2, {std::numeric_limits<double>::quiet_NaN(), 48.0, 600.0});
  AddImage(project, 3, {431000.0, 5350000.0, 600.0});

  const std::string svg = DrawFlightMap(project);

  EXPECT_EQ(WrongWith(svg), "");
  EXPECT_EQ(Markers(svg), 1);
  EXPECT_THAT(svg, HasSubstr("not drawn, no position"));
}

TEST(FlightMap, TextsAreEscaped) {
  qvprj::QvProject project;
  project.string2char(project.GetPrjInfo().project_name, 65, "<b>Fields & \"meadows\"</b>");
  project.string2char(project.GetPrjInfo().operator_name, 65, "\xFF\x01 R\xC3\xA9my");

  const std::string svg = DrawFlightMap(project);

  EXPECT_EQ(WrongWith(svg), "");
  EXPECT_THAT(svg, HasSubstr("&lt;b&gt;Fields &amp; &quot;meadows&quot;&lt;/b&gt;"));
  EXPECT_THAT(svg, HasSubstr("?? R\xC3\xA9my"));
}

TEST(XmlText, KeepsWhatXmlTakes) {
  EXPECT_EQ(XmlText("plain"), "plain");
  EXPECT_EQ(XmlText("\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x9B\xA9"), "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x9B\xA9");
}

TEST(XmlText, ReplacesWhatIsNoText) {
  EXPECT_EQ(XmlText("a\x80z"), "a?z");             // a continuation byte alone
  EXPECT_EQ(XmlText("a\xC3"), "a?");               // cut in the middle
  EXPECT_EQ(XmlText("\xC0\xAF"), "??");            // spelled too long
  EXPECT_EQ(XmlText("\xE0\x80\xAF"), "???");       // spelled too long
  EXPECT_EQ(XmlText("\xED\xA0\x80"), "???");       // half of a surrogate pair
  EXPECT_EQ(XmlText("\xEF\xBF\xBE"), "???");       // what XML forbids
  EXPECT_EQ(XmlText("\xF4\x90\x80\x80"), "????");  // beyond the last code point
  EXPECT_EQ(XmlText(std::string("a\0z", 3)), "a?z");
}

}  // namespace
}  // namespace examples
