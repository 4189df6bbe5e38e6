#include "apps/zelview/video/ProgressBar.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>

#include "apps/zelview/CairoCanvas.h"

namespace zelview {
namespace {

// In points.
constexpr double kHeight = 40.0;
constexpr double kSide = 16.0;
constexpr double kLabel = 150.0;
constexpr double kLine = 4.0;
constexpr double kKnob = 7.0;

/// Between two drawings, in seconds of the video; a bar that creeps on with every frame costs a picture each time.
constexpr double kStep = 0.1;

std::string clock(double seconds) {
  const auto whole = static_cast<long long>(std::max(seconds, 0.0));
  char text[32];
  if (whole >= 3600) {
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60, whole % 60);
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld", whole / 60, whole % 60);
  }
  return text;
}

std::string label(const ProgressBar::State& state, double time) {
  std::string text = clock(time);
  if (state.duration) text += " / " + clock(*state.duration);
  if (state.isMuted) text += "  mute";
  return text;
}

/// What a click on it does.
void drawSign(CairoCanvas& canvas, bool isPaused) {
  const double middle = kHeight / 2;
  if (isPaused) {
    cairo_t* context = canvas.context();
    cairo_move_to(context, kSide, middle - 7);
    cairo_line_to(context, kSide + 12, middle);
    cairo_line_to(context, kSide, middle + 7);
    cairo_close_path(context);
    cairo_fill(context);
    return;
  }
  canvas.fillRect(CGRectMake(kSide, middle - 7, 4, 14));
  canvas.fillRect(CGRectMake(kSide + 8, middle - 7, 4, 14));
}

/// Where the line begins, and how long it is in a bar of that width.
constexpr double kLineStart = kSide + 28.0;
double lineLength(double width) { return std::max(width - kLineStart - kLabel, 1.0); }

}  // namespace

std::shared_ptr<ProgressBar> ProgressBar::create(double scale, Actions actions) {
  std::shared_ptr<ProgressBar> bar = createView<ProgressBar>({});
  if (!bar) return nullptr;
  bar->scale_ = scale;
  bar->actions_ = std::move(actions);
  return bar;
}

void ProgressBar::layOut(CGSize viewSize) {
  const CGRect wanted = CGRectMake(0, viewSize.height - kHeight, viewSize.width, kHeight);
  const bool isResized = wanted.size.width != frame().size.width;
  setFrame(wanted);
  if (isResized) isDrawn_ = false;
}

void ProgressBar::show(const State& state) {
  if (isHidden() || bounds().size.width < 1.0) {
    isDrawn_ = false;
    return;
  }
  State rounded = state;
  rounded.time = std::floor(state.time / kStep) * kStep;
  if (dragged_ && rounded.duration) rounded.time = *dragged_ * *rounded.duration;
  if (isDrawn_ && rounded == state_) return;
  state_ = rounded;
  draw();
}

void ProgressBar::draw() {
  const double width = bounds().size.width;
  CairoCanvas canvas(width, kHeight, scale_);
  canvas.setColour(0x10151C, 0.72);
  canvas.fillRect(CGRectMake(0, 0, width, kHeight));
  canvas.setColour(0xE8EDF2);
  drawSign(canvas, state_.isPaused);
  const double length = lineLength(width);
  const double top = (kHeight - kLine) / 2;
  canvas.setColour(0xFFFFFF, 0.25);
  canvas.fillRoundedRect(CGRectMake(kLineStart, top, length, kLine), kLine / 2);
  const double place = state_.duration ? std::clamp(state_.time / std::max(*state_.duration, 1e-9), 0.0, 1.0) : 0.0;
  if (state_.duration) {
    canvas.setColour(0xF2A07B);
    canvas.fillRoundedRect(CGRectMake(kLineStart, top, std::max(length * place, kLine), kLine), kLine / 2);
    canvas.fillRoundedRect(CGRectMake(kLineStart + length * place - kKnob, kHeight / 2 - kKnob, 2 * kKnob, 2 * kKnob),
                           kKnob);
  }
  canvas.setColour(0xE8EDF2);
  canvas.selectFont(13.0);
  canvas.drawText(label(state_, state_.time), CGPointMake(kLineStart + length + 14.0, kHeight / 2 + 4.5));
  layer()->setContents(canvas.makeImage());
  layer()->setContentsScale(scale_);
  isDrawn_ = true;
}

double ProgressBar::placeOf(const UITouch& touch) const {
  return std::clamp((touch.locationInView(this).x - kLineStart) / lineLength(bounds().size.width), 0.0, 1.0);
}

void ProgressBar::touchesBegan(const UITouchSet& touches) {
  const UITouch& touch = *touches.front();
  if (touch.locationInView(this).x < kLineStart - kKnob) return actions_.togglePause();
  if (dragged_ || !state_.duration) return;
  finger_ = touch.identifier();
  dragged_ = placeOf(touch);
  actions_.seek(*dragged_, true);
}

void ProgressBar::touchesMoved(const UITouchSet& touches) {
  for (const auto& touch : touches) {
    if (!dragged_ || touch->identifier() != finger_) continue;
    const double place = placeOf(*touch);
    if (std::exchange(*dragged_, place) != place) actions_.seek(place, true);
  }
}

void ProgressBar::touchesEnded(const UITouchSet& touches) {
  for (const auto& touch : touches) {
    if (!dragged_ || touch->identifier() != finger_) continue;
    const double place = placeOf(*touch);
    dragged_.reset();
    actions_.seek(place, false);
  }
}

void ProgressBar::touchesCancelled(const UITouchSet& touches) { touchesEnded(touches); }

}  // namespace zelview
