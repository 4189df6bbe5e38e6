#pragma once

/// Everything that a host of the library needs.

#include <ZELKit/ZEL360BaseGyroController.h>
#include <ZELKit/ZEL360FreeMotionController.h>
#include <ZELKit/ZEL360RelativeMotionController.h>
#if __has_include(<ZELKit/ZELAVPlayerPixelBufferSource.h>)
#include <ZELKit/ZELAVPlayerPixelBufferSource.h>  // installed with the media player only
#endif
#include <ZELKit/ZELDirectPixelBufferSource.h>
#include <ZELKit/ZELDisplayable.h>
#include <ZELKit/ZELFixedDirectionController.h>
#include <ZELKit/ZELFrameRenderer.h>
#include <ZELKit/ZELImagePixelBufferSource.h>
#include <ZELKit/ZELInteractionController.h>
#include <ZELKit/ZELOrientationMath.h>
#include <ZELKit/ZELPixelBufferSource.h>
#include <ZELKit/ZELProjection.h>
#include <ZELKit/ZELProjectionType.h>
#include <ZELKit/ZELRenderView.h>
#include <ZELKit/ZELSuperResolutionStatus.h>
#include <ZELKit/ZELTextureFormat.h>
#include <ZELKit/ZELVersion.h>
