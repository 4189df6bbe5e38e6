#pragma once

#include <ZELKit/ZELProjectionType.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "apps/zelview/SphericalMetadata.h"

namespace zelview {

struct VideoProjectionChoice {
  ZELProjectionType projection = ZELProjectionTypeFlat;
  /// Why, as a phrase.
  std::string reason;
  /// Sentences about what the metadata say and the viewer does not show.
  std::vector<std::string> warnings;
};

/// Decides how a video of that size is laid out: by its metadata, else by a 2:1 shape within one percent.
VideoProjectionChoice chooseVideoProjection(const std::optional<SphericalMetadata>& metadata, size_t width,
                                            size_t height);

}  // namespace zelview
