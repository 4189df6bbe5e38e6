#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "neural/ModelFile.h"

namespace ZELTest {

/// An 8-bit picture.
struct Plane {
  size_t width = 0;
  size_t height = 0;
  std::vector<uint8_t> bytes;
};

/// A binary PGM file; empty when it is none.
Plane readPlane(const std::string& path);

/// The picture at twice the size, by the model, in double precision on the processor.
Plane doubled(const ZELNeural::ModelData& model, const Plane& luma);

/// The largest difference between two pictures of the same size; 256 when the sizes differ.
int largestDifference(const Plane& a, const Plane& b);

}  // namespace ZELTest
