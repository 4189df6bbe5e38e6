#pragma once

/// Views, windows, touches, gestures, the screen and the application.

#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIDevice.h>
#include <ZELPlatform/UIGestureRecognizer.h>
#include <ZELPlatform/UIImage.h>
#include <ZELPlatform/UIScreen.h>
#include <ZELPlatform/UITouch.h>
#include <ZELPlatform/UIView.h>
#include <ZELPlatform/UIWindow.h>
