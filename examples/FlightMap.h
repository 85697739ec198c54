// A plan of a flight as an SVG picture.
#pragma once

#include <string>

#include "qvprj/qvprj.h"

namespace examples {

/// The plan of the project's images as an SVG document in UTF-8: the flight line in the order of the images,
/// one marker an image (an element of the class "image"; hollow when the image is disabled) in the colour of
/// its strip, or of its height where all are of one strip, and the ground that each shows where the camera
/// and the flying height are known.
///
/// Positions are the updated ones, taken as WGS 84 degrees and drawn in metres by a local equirectangular
/// projection about the middle of the flight. Markers point to the compass angle kappa, as an imported flight
/// has it. Images without a place on the globe are counted and not drawn.
[[nodiscard]] std::string DrawFlightMap(const qvprj::QvProject& project);

/// `text`, in the local code page, as UTF-8 for XML: what XML reserves is escaped, what it forbids becomes
/// '?'.
[[nodiscard]] std::string XmlText(const std::string& text);

}  // namespace examples
