#pragma once

#include "platform/avfoundation/MediaDriver.h"

#include <gst/gst.h>
#include <gst/video/video.h>

#include <optional>
#include <vector>

namespace ZELPlatform {

/// Length and whether one can seek, as the pipeline knows them now.
void describeTimes(GstElement* pipeline, MediaDescription* description);

/// The tracks of a collection; the rate of the frames goes to the video track, where it does not say one.
std::vector<AVPlayerItemTrack> tracksOf(GstStreamCollection* streams, const std::optional<GstVideoInfo>& video);

/// The picture's size with its pixels made square.
CGSize presentationSizeOf(const GstVideoInfo& info);

/// What an orientation tag says; none when the list has no such tag.
std::optional<AVVideoOrientation> orientationOf(const GstTagList* tags);

}  // namespace ZELPlatform
