#pragma once

#include <ZELKit/ZELProjectionType.h>

#include <cstddef>
#include <string>

#include "apps/zelview/Metadata.h"

namespace zelview {

struct ProjectionChoice {
  ZELProjectionType projection = ZELProjectionTypeFlat;
  /// Why, as a phrase.
  std::string reason;
};

/// Decides how a picture of that size is laid out: by its metadata, else by a 2:1 shape within one percent.
ProjectionChoice chooseProjection(const PanoramaMetadata& metadata, size_t width, size_t height);

}  // namespace zelview
