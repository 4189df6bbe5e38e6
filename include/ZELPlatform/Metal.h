#pragma once

/// An explicit GPU: device, functions, pipelines, resources, commands, and what joins it to layers and pixel buffers.
#include <ZELPlatform/CAMetalLayer.h>
#include <ZELPlatform/CVMetalTextureCache.h>
#include <ZELPlatform/MTLCommands.h>
#include <ZELPlatform/MTLDevice.h>
#include <ZELPlatform/MTLPipeline.h>
#include <ZELPlatform/MTLResource.h>
#include <ZELPlatform/MTLTypes.h>
