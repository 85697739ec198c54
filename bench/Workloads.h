// The projects that figures are measured on. The same name means the same project everywhere.
#pragma once

#include "Figure.h"
#include "support/ProjectBuilder.h"

namespace bench {

/// M: 2,000 images with 5,000 features each, 20,000 pairs with 200 matches, a million tracks of 5
/// observations: 200 MB of tie points.
inline support::ProjectShape ShapeM(const Scale& scale) {
  support::ProjectShape shape = support::Nothing();
  shape.cameras = 2;
  shape.images = scale.Of(2'000, 20);
  shape.features_per_image = scale.Of(5'000, 10);
  shape.pairs = scale.Of(20'000, 40);
  shape.matches_per_pair = scale.Of(200, 5);
  shape.tracks = scale.Of(1'000'000, 100);
  shape.observations_per_track = 5;
  return shape;
}

/// L: 10,000 images with 8,000 features each, 200,000 pairs with 150 matches, five million tracks of 6
/// observations: 1.4 GB of tie points.
inline support::ProjectShape ShapeL(const Scale& scale) {
  support::ProjectShape shape = support::Nothing();
  shape.cameras = 2;
  shape.images = scale.Of(10'000, 30);
  shape.features_per_image = scale.Of(8'000, 10);
  shape.pairs = scale.Of(200'000, 60);
  shape.matches_per_pair = scale.Of(150, 5);
  shape.tracks = scale.Of(5'000'000, 150);
  shape.observations_per_track = 6;
  return shape;
}

/// T: 100,000 images, 100 cameras, 1,000 control points with 50,000 measurements: tables only.
inline support::ProjectShape ShapeT(const Scale& scale) {
  support::ProjectShape shape = support::Nothing();
  shape.cameras = scale.Of(100, 2);
  shape.images = scale.Of(100'000, 60);
  shape.features_per_image = 0;
  shape.ground_points = scale.Of(1'000, 4);
  shape.measurements_per_point = scale.Of(50, 5);
  return shape;
}

}  // namespace bench
