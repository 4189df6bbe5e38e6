#pragma once

/// Geometry in points (or pixels where a function says so): plain C structures of doubles, compared exactly.

#include <stdbool.h>

typedef double CGFloat;

typedef struct CGPoint {
  CGFloat x;
  CGFloat y;
} CGPoint;

typedef struct CGSize {
  CGFloat width;
  CGFloat height;
} CGSize;

typedef struct CGRect {
  CGPoint origin;
  CGSize size;
} CGRect;

static inline CGPoint CGPointMake(CGFloat x, CGFloat y) {
  CGPoint point = {x, y};
  return point;
}

static inline CGSize CGSizeMake(CGFloat width, CGFloat height) {
  CGSize size = {width, height};
  return size;
}

static inline CGRect CGRectMake(CGFloat x, CGFloat y, CGFloat width, CGFloat height) {
  CGRect rect = {{x, y}, {width, height}};
  return rect;
}

static inline bool CGPointEqualToPoint(CGPoint a, CGPoint b) { return a.x == b.x && a.y == b.y; }

static inline bool CGSizeEqualToSize(CGSize a, CGSize b) { return a.width == b.width && a.height == b.height; }

static inline bool CGRectEqualToRect(CGRect a, CGRect b) {
  return CGPointEqualToPoint(a.origin, b.origin) && CGSizeEqualToSize(a.size, b.size);
}

/// Whether the point lies in the rectangle; the left and top edges belong to it, the right and bottom ones do not.
static inline bool CGRectContainsPoint(CGRect rect, CGPoint point) {
  return point.x >= rect.origin.x && point.x < rect.origin.x + rect.size.width && point.y >= rect.origin.y &&
         point.y < rect.origin.y + rect.size.height;
}
