#include "examples/FlightMap.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "examples/Decimals.h"

namespace examples {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr double kMetresPerDegree = 6371008.8 * kDegree;  // of a great circle, mean radius of the Earth

// The page, in pixels.
constexpr double kMargin = 32.0;
constexpr double kHeader = 92.0;
constexpr double kFooter = 46.0;
constexpr double kMapWidth = 860.0;
constexpr double kMapMinHeight = 430.0;
constexpr double kMapMaxHeight = 680.0;
constexpr double kMapPadding = 24.0;
constexpr double kPanelWidth = 216.0;

struct Point {
  double x = 0.0;
  double y = 0.0;
};

struct Range {
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();

  void Add(double value) {
    low = std::min(low, value);
    high = std::max(high, value);
  }
  [[nodiscard]] double Size() const { return std::max(0.0, high - low); }
  [[nodiscard]] double Middle() const { return low <= high ? (low + high) / 2.0 : 0.0; }
  // Where in the range the value lies, 0 to 1.
  [[nodiscard]] double Share(double value) const { return Size() > 0.0 ? (value - low) / Size() : 0.5; }
};

// The ground that one image shows, seen straight down, in metres; nothing where the camera or the flying
// height is not known.
struct Footprint {
  double across = 0.0;
  double along = 0.0;
};

std::optional<Footprint> FootprintOf(const qvprj::QvProject& project, int camera) {
  const qvfd::CameraInfo* info = project.GetCameraInfoSet().FindCamera(camera);
  const double height = project.GetPrjInfo().height;
  if (info == nullptr) {
    return std::nullopt;
  }
  const Footprint footprint{info->ccdwidth / info->focallength * height,
                            info->ccdheight / info->focallength * height};
  const auto plausible = [](double metres) { return metres > 0.0 && metres < kMetresPerDegree; };
  if (!plausible(footprint.across) || !plausible(footprint.along)) {
    return std::nullopt;
  }
  return footprint;
}

// One image on the plan.
struct Place {
  int id = 0;
  int strip = 0;
  int camera = 0;
  bool enabled = true;
  double height = 0.0;
  double kappa = 0.0;  // radians
  Point metres;        // east and north of the plan's origin
  std::optional<Footprint> ground;
};

struct Plan {
  std::vector<Place> places;
  int not_drawn = 0;
  double latitude = 0.0;   // of the origin, degrees
  double longitude = 0.0;  // of the origin, degrees
  Range east;              // of the images, metres
  Range north;             // of the images, metres
  Range seen_east;         // of the ground that they show, metres
  Range seen_north;        // of the ground that they show, metres
  Range height;            // metres
  std::set<int> strips;
  bool headings_known = false;
};

bool IsOnGlobe(const qvfd::EOP& eop) {
  return std::abs(eop.x) <= 180.0 && std::abs(eop.y) <= 90.0 && std::isfinite(eop.z) &&
         std::isfinite(eop.kappa);
}

// A longitude within half a turn of `reference`, so that a flight across the date line stays in one piece.
double Unwrapped(double longitude, double reference) {
  return longitude - 360.0 * std::round((longitude - reference) / 360.0);
}

// Which way an image lies on the ground is known with the headings only.
void AddGround(const qvprj::QvProject& project, Plan& plan) {
  for (Place& place : plan.places) {
    place.ground = FootprintOf(project, place.camera);
    if (place.ground) {
      const double reach = std::max(place.ground->across, place.ground->along) / 2.0;
      plan.seen_east.Add(place.metres.x - reach);
      plan.seen_east.Add(place.metres.x + reach);
      plan.seen_north.Add(place.metres.y - reach);
      plan.seen_north.Add(place.metres.y + reach);
    }
  }
}

Plan LayOut(const qvprj::QvProject& project) {
  const qvfd::ImageInfoSet& images = project.GetImageInfoSet();
  Plan plan;
  Range latitudes;
  Range longitudes;
  std::optional<double> first_longitude;
  for (const qvfd::ImageInfo& image : images) {
    const qvfd::EOP& eop = image.GetUpdatedEOP();
    if (IsOnGlobe(eop)) {
      first_longitude = first_longitude.value_or(eop.x);
      latitudes.Add(eop.y);
      longitudes.Add(Unwrapped(eop.x, *first_longitude));
    }
  }
  plan.latitude = latitudes.Middle();
  plan.longitude = longitudes.Middle();

  for (int position = 0; position < images.Size(); ++position) {
    const qvfd::EOP& eop = images.GetImage(position)->GetUpdatedEOP();
    if (!IsOnGlobe(eop)) {
      ++plan.not_drawn;
      continue;
    }
    const qvfd::ImageInfoExt& extension = *images.GetImageExt(position);
    Place place;
    place.id = images.GetImage(position)->Id();
    place.strip = extension.strip_id;
    place.camera = extension.camera_id;
    place.enabled = extension.enabled;
    place.height = eop.z;
    place.kappa = eop.kappa;
    place.metres.x = (Unwrapped(eop.x, plan.longitude) - plan.longitude) * kMetresPerDegree *
                     std::cos(plan.latitude * kDegree);
    place.metres.y = (eop.y - plan.latitude) * kMetresPerDegree;
    plan.east.Add(place.metres.x);
    plan.north.Add(place.metres.y);
    plan.height.Add(place.height);
    plan.strips.insert(place.strip);
    plan.headings_known = plan.headings_known || place.kappa != 0.0;
    plan.places.push_back(place);
  }
  if (plan.headings_known) {
    AddGround(project, plan);
  }
  return plan;
}

// From metres of the plan to pixels of the page.
class Frame {
 public:
  explicit Frame(const Plan& plan) : middle_{plan.east.Middle(), plan.north.Middle()} {
    constexpr double kSmallestView = 100.0;  // metres: one image is drawn in the middle of as much land
    const double width = std::max({plan.east.Size(), plan.seen_east.Size(), kSmallestView});
    const double height = std::max({plan.north.Size(), plan.seen_north.Size(), kSmallestView});
    constexpr double kInnerWidth = kMapWidth - 2.0 * kMapPadding;
    pixels_per_metre_ = std::min(kInnerWidth / width, (kMapMaxHeight - 2.0 * kMapPadding) / height);
    map_height_ = std::clamp(height * pixels_per_metre_ + 2.0 * kMapPadding, kMapMinHeight, kMapMaxHeight);
  }

  [[nodiscard]] double MapHeight() const { return map_height_; }
  [[nodiscard]] double PixelsPerMetre() const { return pixels_per_metre_; }
  [[nodiscard]] double Left() const { return kMargin; }
  [[nodiscard]] double Top() const { return kHeader; }
  [[nodiscard]] double Right() const { return kMargin + kMapWidth; }
  [[nodiscard]] double Bottom() const { return kHeader + map_height_; }

  [[nodiscard]] Point OnPage(Point metres) const {
    return {(Left() + Right()) / 2.0 + (metres.x - middle_.x) * pixels_per_metre_,
            (Top() + Bottom()) / 2.0 - (metres.y - middle_.y) * pixels_per_metre_};
  }
  [[nodiscard]] Range MetresEast() const { return Visible(middle_.x, kMapWidth); }
  [[nodiscard]] Range MetresNorth() const { return Visible(middle_.y, map_height_); }

 private:
  [[nodiscard]] Range Visible(double middle, double pixels) const {
    const double half = pixels / pixels_per_metre_ / 2.0;
    return {middle - half, middle + half};
  }

  Point middle_;
  double pixels_per_metre_ = 1.0;
  double map_height_ = kMapMinHeight;
};

// ---- Writing SVG

std::string Pixel(double value) {
  return Fixed(value, 1);
}

std::string Pixels(Point point) {
  return Pixel(point.x) + "," + Pixel(point.y);
}

// A text element; `text` is escaped here.
std::string Text(Point at, const std::string& style, const std::string& text) {
  return "<text x=\"" + Pixel(at.x) + "\" y=\"" + Pixel(at.y) + "\" class=\"" + style + "\">" +
         XmlText(text) + "</text>\n";
}

std::string Line(Point a, Point b, const std::string& style) {
  return "<line x1=\"" + Pixel(a.x) + "\" y1=\"" + Pixel(a.y) + "\" x2=\"" + Pixel(b.x) + "\" y2=\"" +
         Pixel(b.y) + "\" class=\"" + style + "\"/>\n";
}

// ---- Colours

struct Colour {
  double red = 0.0;
  double green = 0.0;
  double blue = 0.0;
};

std::string Hexadecimal(Colour colour) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text = "#";
  for (const double part : {colour.red, colour.green, colour.blue}) {
    const auto value = static_cast<unsigned>(std::lround(std::clamp(part, 0.0, 255.0)));
    text += kDigits[value / 16U];
    text += kDigits[value % 16U];
  }
  return text;
}

// Low is blue, high is red; even steps look even.
std::string HeightColour(double share) {
  constexpr std::array<Colour, 5> kStops = {
      {{44, 62, 143}, {31, 138, 158}, {99, 175, 91}, {230, 165, 50}, {200, 55, 45}}};
  const double position = std::clamp(share, 0.0, 1.0) * (kStops.size() - 1);
  const auto lower = std::min(static_cast<std::size_t>(position), kStops.size() - 2);
  const double part = position - static_cast<double>(lower);
  const Colour& a = kStops[lower];
  const Colour& b = kStops[lower + 1];
  return Hexadecimal({a.red + (b.red - a.red) * part, a.green + (b.green - a.green) * part,
                      a.blue + (b.blue - a.blue) * part});
}

// Neighbouring strips differ; the colours begin anew after eight.
std::string StripColour(const Plan& plan, int strip) {
  constexpr std::array<const char*, 8> kColours = {"#1f6fb4", "#d9822b", "#2f9e63", "#c23b4b",
                                                   "#7a5cb8", "#8a6d3b", "#2aa1b3", "#b0558f"};
  const auto rank = std::distance(plan.strips.begin(), plan.strips.find(strip));
  return kColours[static_cast<std::size_t>(rank) % kColours.size()];
}

bool ByStrip(const Plan& plan) {
  return plan.strips.size() > 1;
}

std::string ColourOf(const Plan& plan, const Place& place) {
  return ByStrip(plan) ? StripColour(plan, place.strip) : HeightColour(plan.height.Share(place.height));
}

// ---- Parts of the picture

// The round distance (1, 2 or 5 times a power of ten) nearest below `metres`.
double RoundDistance(double metres) {
  const double power = std::pow(10.0, std::floor(std::log10(metres)));
  for (const double factor : {5.0, 2.0}) {
    if (factor * power <= metres) {
      return factor * power;
    }
  }
  return power;
}

std::string Distance(double metres) {
  return metres >= 1000.0 ? Fixed(metres / 1000.0, 0) + " km" : Fixed(metres, metres < 1.0 ? 2 : 0) + " m";
}

std::string DrawGrid(const Frame& frame) {
  const double step = RoundDistance(140.0 / frame.PixelsPerMetre());
  std::string svg;
  const Range east = frame.MetresEast();
  for (double x = std::ceil(east.low / step) * step; x <= east.high; x += step) {
    const double page = frame.OnPage({x, 0.0}).x;
    svg += Line({page, frame.Top()}, {page, frame.Bottom()}, "grid");
  }
  const Range north = frame.MetresNorth();
  for (double y = std::ceil(north.low / step) * step; y <= north.high; y += step) {
    const double page = frame.OnPage({0.0, y}).y;
    svg += Line({frame.Left(), page}, {frame.Right(), page}, "grid");
  }
  return svg;
}

std::string DrawFootprints(const Plan& plan, const Frame& frame) {
  // Many lie on top of each other; a few are drawn stronger.
  const double opacity = std::clamp(0.3 / static_cast<double>(plan.places.size() + 1), 0.035, 0.15);
  std::string svg =
      "<g class=\"ground\" fill-opacity=\"" + Fixed(opacity, 3) + "\" clip-path=\"url(#map)\">\n";
  for (const Place& place : plan.places) {
    if (!place.ground) {
      continue;
    }
    const double width = place.ground->across * frame.PixelsPerMetre();
    const double height = place.ground->along * frame.PixelsPerMetre();
    const Point at = frame.OnPage(place.metres);
    svg += "<rect x=\"" + Pixel(-width / 2.0) + "\" y=\"" + Pixel(-height / 2.0) + "\" width=\"" +
           Pixel(width) + "\" height=\"" + Pixel(height) + "\" transform=\"translate(" + Pixels(at) +
           ") rotate(" + Pixel(place.kappa / kDegree) + ")\"/>\n";
  }
  return svg + "</g>\n";
}

std::string DrawFlightLine(const Plan& plan, const Frame& frame) {
  std::string svg = "<polyline class=\"flight\" points=\"";
  for (const Place& place : plan.places) {
    svg += Pixels(frame.OnPage(place.metres)) + " ";
  }
  return svg + "\"/>\n";
}

// The length of the flight line in metres: straight from image to image.
double LineLength(const Plan& plan) {
  double length = 0.0;
  for (std::size_t i = 1; i < plan.places.size(); ++i) {
    const Point a = plan.places[i - 1].metres;
    const Point b = plan.places[i].metres;
    length += std::hypot(a.x - b.x, a.y - b.y);
  }
  return length;
}

// How large a marker may be so that neighbours stay apart.
double MarkerScale(const Plan& plan, const Frame& frame) {
  if (plan.places.size() < 2) {
    return 1.2;
  }
  const double mean_gap =
      LineLength(plan) / static_cast<double>(plan.places.size() - 1) * frame.PixelsPerMetre();
  return std::clamp(mean_gap / 15.0, 0.2, 1.2);
}

std::string DrawMarkers(const Plan& plan, const Frame& frame) {
  const std::string scale = Fixed(MarkerScale(plan, frame), 2);
  std::string svg = "<g class=\"images\">\n";
  for (const Place& place : plan.places) {
    const std::string colour = ColourOf(plan, place);
    svg += "<path class=\"image\" d=\"";
    svg += plan.headings_known ? "M0,-7.5 L4.6,5.5 L0,3 L-4.6,5.5 Z"
                               : "M-4.5,0 A4.5,4.5 0 1 1 4.5,0 A4.5,4.5 0 1 1 -4.5,0 Z";
    svg += "\" transform=\"translate(" + Pixels(frame.OnPage(place.metres)) + ") rotate(" +
           Pixel(place.kappa / kDegree) + ") scale(" + scale + ")\" ";
    svg += place.enabled ? "fill=\"" + colour + "\"" : "fill=\"#ffffff\" stroke=\"" + colour + "\"";
    svg +=
        "><title>image " + std::to_string(place.id) + ", " + Fixed(place.height, 1) + " m</title></path>\n";
  }
  return svg + "</g>\n";
}

std::string DrawEnds(const Plan& plan, const Frame& frame) {
  if (plan.places.size() < 2) {
    return {};
  }
  const auto label = [&](const Place& place, const char* text) {
    const Point at = frame.OnPage(place.metres);
    const bool right = at.x < (frame.Left() + frame.Right()) / 2.0;
    return Text({at.x + (right ? -10.0 : 10.0), at.y - 12.0}, right ? "end anchor-end" : "end", text);
  };
  return label(plan.places.front(), "start") + label(plan.places.back(), "end");
}

std::string DrawNorthArrow(const Frame& frame) {
  const Point at{frame.Right() - 34.0, frame.Top() + 44.0};
  return "<g transform=\"translate(" + Pixels(at) +
         ")\">\n<circle r=\"24\" class=\"plate\"/>\n"
         "<path d=\"M0,-16 L7,14 L0,8 Z\" fill=\"#30363d\"/>\n"
         "<path d=\"M0,-16 L-7,14 L0,8 Z\" fill=\"#ffffff\" stroke=\"#30363d\" stroke-width=\"1\"/>\n</g>\n" +
         Text({at.x, at.y + 38.0}, "small centred", "N");
}

std::string DrawScaleBar(const Frame& frame) {
  const double metres = RoundDistance(180.0 / frame.PixelsPerMetre());
  const double width = metres * frame.PixelsPerMetre();
  const Point at{frame.Left() + 20.0, frame.Bottom() - 22.0};
  std::string svg = "<rect class=\"plate\" x=\"" + Pixel(at.x - 10.0) + "\" y=\"" + Pixel(at.y - 22.0) +
                    "\" width=\"" + Pixel(width + 20.0) + "\" height=\"34\" rx=\"4\"/>\n";
  // Four parts, dark and light by turns.
  for (int part = 0; part < 4; ++part) {
    svg += "<rect x=\"" + Pixel(at.x + part * width / 4.0) + "\" y=\"" + Pixel(at.y) + "\" width=\"" +
           Pixel(width / 4.0) + "\" height=\"5\" stroke=\"#30363d\" stroke-width=\"0.8\" fill=\"" +
           (part % 2 == 0 ? "#30363d" : "#ffffff") + "\"/>\n";
  }
  return svg + Text({at.x, at.y - 6.0}, "small", "0") +
         Text({at.x + width, at.y - 6.0}, "small anchor-end", Distance(metres));
}

std::string DrawColourKey(const Plan& plan, Point at) {
  std::string svg;
  if (ByStrip(plan)) {
    svg += Text(at, "label", "colour: strip");
    constexpr std::size_t kShown = 8;
    double y = at.y + 22.0;
    std::size_t shown = 0;
    for (const int strip : plan.strips) {
      if (++shown > kShown) {
        svg += Text({at.x, y}, "small", "and " + std::to_string(plan.strips.size() - kShown) + " more");
        break;
      }
      svg += "<rect x=\"" + Pixel(at.x) + "\" y=\"" + Pixel(y - 10.0) +
             "\" width=\"14\" height=\"11\" rx=\"2\" fill=\"" + StripColour(plan, strip) + "\"/>\n" +
             Text({at.x + 22.0, y}, "small", std::to_string(strip));
      y += 17.0;
    }
    return svg;
  }
  svg += Text(at, "label", "colour: height above sea level");
  svg += "<linearGradient id=\"heights\">";
  for (const int percent : {0, 25, 50, 75, 100}) {
    svg += "<stop offset=\"" + std::to_string(percent) + "%\" stop-color=\"" + HeightColour(percent / 100.0) +
           "\"/>";
  }
  svg += "</linearGradient>\n<rect x=\"" + Pixel(at.x) + "\" y=\"" + Pixel(at.y + 9.0) + "\" width=\"" +
         Pixel(kPanelWidth) + "\" height=\"10\" rx=\"2\" fill=\"url(#heights)\"/>\n";
  return svg + Text({at.x, at.y + 36.0}, "small", Fixed(plan.height.low, 1) + " m") +
         Text({at.x + kPanelWidth, at.y + 36.0}, "small anchor-end", Fixed(plan.height.high, 1) + " m");
}

// What stands beside the map: a label and a value a line.
using Facts = std::vector<std::pair<std::string, std::string>>;

Facts FactsOf(const qvprj::QvProject& project, const Plan& plan) {
  const qvfd::ImageInfoSet& images = project.GetImageInfoSet();
  int enabled = 0;
  for (int position = 0; position < images.Size(); ++position) {
    enabled += images.GetImageExt(position)->enabled ? 1 : 0;
  }
  Facts facts{{"images", std::to_string(images.Size())}};
  if (enabled < images.Size()) {
    facts.emplace_back("enabled", std::to_string(enabled));
  }
  if (plan.not_drawn > 0) {
    facts.emplace_back("not drawn, no position", std::to_string(plan.not_drawn));
  }
  facts.emplace_back("cameras", std::to_string(project.GetCameraInfoSet().Size()));
  if (ByStrip(plan)) {
    facts.emplace_back("strips", std::to_string(plan.strips.size()));
  }
  if (plan.places.empty()) {
    return facts;
  }

  if (plan.places.size() > 1) {
    facts.emplace_back("extent", Fixed(plan.east.Size(), 0) + " x " + Fixed(plan.north.Size(), 0) + " m");
    facts.emplace_back("flight line", Fixed(LineLength(plan) / 1000.0, 2) + " km");
  }
  if (project.GetPrjInfo().height > 0.0) {
    facts.emplace_back("flying height", Fixed(project.GetPrjInfo().height, 1) + " m");
  }
  const qvfd::CameraInfo* camera = project.GetCameraInfoSet().FindCamera(plan.places.front().camera);
  const std::optional<Footprint> footprint = plan.places.front().ground;
  if (footprint && camera->width > 0) {
    facts.emplace_back("image covers",
                       Fixed(footprint->across, 0) + " x " + Fixed(footprint->along, 0) + " m");
    facts.emplace_back("pixel covers", Fixed(footprint->across / camera->width * 100.0, 1) + " cm");
  }
  return facts;
}

std::string DrawPanel(const qvprj::QvProject& project, const Plan& plan, const Frame& frame) {
  const double left = frame.Right() + 26.0;
  double y = frame.Top() + 14.0;
  std::string svg;
  for (const auto& [label, value] : FactsOf(project, plan)) {
    svg += Text({left, y}, "label", label) + Text({left + kPanelWidth, y}, "value anchor-end", value);
    svg += Line({left, y + 8.0}, {left + kPanelWidth, y + 8.0}, "rule");
    y += 27.0;
  }
  if (!plan.places.empty()) {
    svg += DrawColourKey(plan, {left, y + 14.0});
  }
  return svg;
}

// Title, and who flew when.
std::string DrawHeader(const qvprj::PrjInfo& info) {
  const std::string name = info.project_name;
  std::string subtitle;
  for (const std::string part : {info.date, info.operator_name, info.description}) {
    if (!part.empty()) {
      subtitle += (subtitle.empty() ? "" : "  |  ") + part;
    }
  }
  return Text({kMargin, 46.0}, "heading", name.empty() ? "Project without a name" : name) +
         Text({kMargin, 71.0}, "label", subtitle);
}

std::string DrawFooter(const Plan& plan, const Frame& frame) {
  std::string text = "No image has a position.";
  if (!plan.places.empty()) {
    text = "Metres by a local equirectangular projection about " + Fixed(std::abs(plan.latitude), 5) +
           (plan.latitude < 0.0 ? " S, " : " N, ") + Fixed(std::abs(plan.longitude), 5) +
           (plan.longitude < 0.0 ? " W" : " E") + " (WGS 84 degrees); north is up.";
  }
  return Text({kMargin, frame.Bottom() + 26.0}, "small", text);
}

constexpr std::string_view kStyle = R"(<style>
text { font-family: "DejaVu Sans", "Segoe UI", Helvetica, Arial, sans-serif; fill: #30363d; }
.heading { font-size: 26px; font-weight: 600; }
.label { font-size: 13px; fill: #66707a; }
.value { font-size: 13px; font-weight: 600; }
.small { font-size: 12px; fill: #4a535c; }
.end { font-size: 12px; font-weight: 600; paint-order: stroke; stroke: #f5f3ee; stroke-width: 3px; }
.anchor-end { text-anchor: end; }
.centred { text-anchor: middle; }
.paper { fill: #f5f3ee; stroke: #cfcabf; }
.plate { fill: #ffffff; fill-opacity: 0.85; }
.grid { stroke: #e2ded4; stroke-width: 1; }
.rule { stroke: #e6e8ea; stroke-width: 1; }
.ground rect { fill: #3f7f5f; }
.flight { fill: none; stroke: #59636d; stroke-width: 1.1; stroke-opacity: 0.75; stroke-linejoin: round; }
.image { stroke-width: 1.6; }
</style>
)";

}  // namespace

std::string XmlText(const std::string& text) {
  std::string escaped;
  const std::string utf8 = qvfd::StringConverter::ToUTF8(text);
  std::size_t i = 0;
  while (i < utf8.size()) {
    const auto byte = static_cast<unsigned char>(utf8[i]);
    if (byte < 0x80) {
      switch (utf8[i]) {
        case '&':
          escaped += "&amp;";
          break;
        case '<':
          escaped += "&lt;";
          break;
        case '>':
          escaped += "&gt;";
          break;
        case '"':
          escaped += "&quot;";
          break;
        default:
          escaped += byte < 0x20 || byte == 0x7F ? '?' : utf8[i];
      }
      ++i;
      continue;
    }
    // A process without a code page passes bytes through as they are, so they are looked at here again: as
    // many continuation bytes as the first byte promises, no code point spelled longer than need be, none
    // that XML forbids.
    const std::size_t length = byte >= 0xF0 && byte <= 0xF4  ? 4
                               : byte >= 0xE0 && byte < 0xF0 ? 3
                               : byte >= 0xC2 && byte < 0xE0 ? 2
                                                             : 0;
    std::uint32_t code = length == 0 ? 0U : byte & (0x7FU >> length);
    std::size_t taken = 1;
    while (taken < length && i + taken < utf8.size() &&
           (static_cast<unsigned char>(utf8[i + taken]) & 0xC0U) == 0x80U) {
      code = code << 6U | (static_cast<unsigned char>(utf8[i + taken]) & 0x3FU);
      ++taken;
    }
    constexpr std::array<std::uint32_t, 5> kSmallest = {0, 0, 0x80, 0x800, 0x10000};
    const bool valid = length != 0 && taken == length && code >= kSmallest[length] && code <= 0x10FFFF &&
                       !(code >= 0xD800 && code <= 0xDFFF) && code != 0xFFFE && code != 0xFFFF;
    if (valid) {
      escaped.append(utf8, i, length);
      i += length;
    } else {
      escaped += '?';
      ++i;
    }
  }
  return escaped;
}

std::string DrawFlightMap(const qvprj::QvProject& project) {
  const Plan plan = LayOut(project);
  const Frame frame(plan);
  const std::string width = Pixel(frame.Right() + 26.0 + kPanelWidth + kMargin);
  const std::string height = Pixel(frame.Bottom() + kFooter);
  const std::string map = "x=\"" + Pixel(frame.Left()) + "\" y=\"" + Pixel(frame.Top()) + "\" width=\"" +
                          Pixel(kMapWidth) + "\" height=\"" + Pixel(frame.MapHeight()) + "\"";

  std::string svg =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" +
      width + "\" height=\"" + height + "\" viewBox=\"0 0 " + width + " " + height + "\">\n";
  svg += "<title>" + XmlText(project.GetPrjInfo().project_name) + "</title>\n";
  svg += kStyle;
  svg += "<clipPath id=\"map\"><rect " + map + "/></clipPath>\n";
  svg += "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n<rect class=\"paper\" " + map + "/>\n";
  svg += DrawHeader(project.GetPrjInfo());
  svg += DrawGrid(frame);
  svg += DrawFootprints(plan, frame);
  svg += DrawFlightLine(plan, frame);
  svg += DrawMarkers(plan, frame);
  svg += DrawEnds(plan, frame);
  svg += DrawNorthArrow(frame);
  svg += DrawScaleBar(frame);
  svg += DrawPanel(project, plan, frame);
  svg += DrawFooter(plan, frame);
  return svg + "</svg>\n";
}

}  // namespace examples
