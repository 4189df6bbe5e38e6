#pragma once

/// Everything about playing films: the player, its items, their video outputs, and the layer.

#include <ZELPlatform/AVPlayer.h>
#include <ZELPlatform/AVPlayerItem.h>
#include <ZELPlatform/AVPlayerItemVideoOutput.h>
#include <ZELPlatform/AVPlayerLayer.h>
