#pragma once

#include <ZELKit/ZELRenderView.h>
#include <ZELPlatform/CGGeometry.h>

#include <cstddef>
#include <memory>

namespace zelview {

/// What draws: the better one that runs here, or the one that was asked for.
enum class BackEnd { Automatic, Metal, OpenGLES };

/// Sees to it that views are drawn as asked for. Throws `ViewerError` when that cannot run here.
void chooseBackEnd(BackEnd backEnd);

/// The largest side, in pixels, of a picture that can be drawn.
size_t maximumTextureSize();

/// Says on standard error, where it is so, that flat frames cannot be enlarged because Metal does not draw the view.
void warnOfMissingSuperResolution(const ZELRenderView& view);

/// A view, drawn as asked for. Throws `ViewerError` when none can be made.
std::shared_ptr<ZELRenderView> makeRenderView(CGRect frame, BackEnd backEnd);

}  // namespace zelview
