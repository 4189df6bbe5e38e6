#include "apps/zelview/HelpOverlay.h"

#include <cmath>

#include "apps/zelview/CairoCanvas.h"
#include "apps/zelview/KeyHelp.h"

namespace zelview {
namespace {

constexpr double kWidth = 580.0;
constexpr double kMargin = 24.0;
constexpr double kLine = 24.0;
constexpr double kTitle = 40.0;
constexpr double kSecondColumn = 210.0;
constexpr double kHeight = 2 * kMargin + kTitle + kLine * static_cast<double>(kKeyHelp.size());

}  // namespace

std::shared_ptr<UIView> makeHelpOverlay(double scale) {
  CairoCanvas canvas(kWidth, kHeight, scale);
  canvas.setColour(0x10151C, 0.82);
  canvas.fillRoundedRect(CGRectMake(0, 0, kWidth, kHeight), 14.0);
  canvas.setColour(0xFFFFFF);
  canvas.selectFont(18.0, CairoCanvas::Weight::Bold);
  canvas.drawText("zelview", CGPointMake(kMargin, kMargin + 16.0));
  double line = kMargin + kTitle + 14.0;
  for (const KeyHelp& help : kKeyHelp) {
    canvas.selectFont(13.5, CairoCanvas::Weight::Bold);
    canvas.setColour(0xF2A07B);
    canvas.drawText(help.keys, CGPointMake(kMargin, line));
    canvas.selectFont(13.5);
    canvas.setColour(0xE8EDF2);
    canvas.drawText(help.what, CGPointMake(kSecondColumn, line));
    line += kLine;
  }
  auto overlay = UIView::create(CGRectMake(0, 0, kWidth, kHeight));
  overlay->layer()->setContents(canvas.makeImage());
  overlay->layer()->setContentsScale(scale);
  return overlay;
}

void centreHelpOverlay(UIView& overlay, CGSize viewSize) {
  overlay.setFrame(CGRectMake(std::round((viewSize.width - kWidth) / 2), std::round((viewSize.height - kHeight) / 2),
                              kWidth, kHeight));
}

}  // namespace zelview
