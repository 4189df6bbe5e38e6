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

/// The projection of the video in that file or at that URL: what is asked for, else as above, which it prints with its
/// reason on standard output, and the warnings on standard error. Reads the file's headers; blocks.
ZELProjectionType decideVideoProjection(std::optional<ZELProjectionType> wanted, const std::string& fileOrURL,
                                        size_t width, size_t height);

}  // namespace zelview
