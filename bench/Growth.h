// How costs grow with the number of images.
#pragma once

namespace bench {

/// Saves and opens surveys from 10 images to 100,000 (to 100 when `tiny`), each with the same tie points an
/// image, and prints what that costs: a table, and what it means an image.
void PrintGrowth(bool tiny);

}  // namespace bench
