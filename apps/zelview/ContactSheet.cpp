#include "apps/zelview/ContactSheet.h"

#include <ZELPlatform/UIScreen.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "apps/zelview/CairoCanvas.h"
#include "apps/zelview/OffscreenRenderer.h"

namespace zelview {
namespace {

constexpr CGSize kTileSize = {480, 270};
constexpr int kColumns = 4;
constexpr double kMargin = 20.0;
constexpr double kGap = 12.0;
constexpr double kCaption = 26.0;
constexpr double kTitle = 44.0;

struct Tile {
  std::string caption;
  ZELProjectionType projection;
  int64_t gravity = ZELContentGravityFit;
  Camera camera;
  /// Whose layout the picture has.
  ZELProjectionType layout;
};

void addSphere(std::vector<Tile>& tiles, ZELProjectionType projection) {
  const std::vector<std::pair<const char*, Camera>> cameras = {
      {"front", {}},
      {"right: yaw 90", {.yaw = 90}},
      {"back: yaw 180", {.yaw = 180}},
      {"left: yaw \u221290", {.yaw = -90}},
      {"up: pitch 90", {.pitch = 90}},
      {"down: pitch \u221290", {.pitch = -90}},
      {"mirrored: yaw 45, pitch 30", {.yaw = 45, .pitch = 30, .mirror = true}},
      {"yaw \u2212135, pitch \u221230, roll 20, zoom 2", {.yaw = -135, .pitch = -30, .roll = 20, .zoom = 2}},
  };
  for (const auto& [caption, camera] : cameras) {
    tiles.push_back({std::string(ZELProjectionTypeName(projection)) + ", " + caption, projection, ZELContentGravityFit,
                     camera, projection});
  }
}

std::vector<Tile> listTiles(const PictureContent& content) {
  constexpr ZELProjectionType kFlat = ZELProjectionTypeFlat;
  std::vector<Tile> tiles;
  for (const ZELProjectionType projection : {ZELProjectionTypeEquirectangular, ZELProjectionTypeCubemap}) {
    if (content.isBuiltIn() || content.projection() == projection) addSphere(tiles, projection);
  }
  tiles.push_back({"flat, fit", kFlat, ZELContentGravityFit, {}, kFlat});
  tiles.push_back({"flat, fill", kFlat, ZELContentGravityFill, {}, kFlat});
  tiles.push_back({"segmentedsphere (drawn flat, stretched)",
                   ZELProjectionTypeSegmentedSphere,
                   ZELContentGravityFit,
                   {},
                   ZELProjectionTypeSegmentedSphere});
  if (content.isBuiltIn()) {
    tiles.push_back({"the cubemap layout, flat, fit", kFlat, ZELContentGravityFit, {}, ZELProjectionTypeCubemap});
  }
  return tiles;
}

/// Where a tile's picture goes, in pixels.
CGPoint tileOrigin(size_t index, double tileWidth, double tileHeight) {
  const auto column = static_cast<double>(index % kColumns);
  const size_t rowIndex = index / kColumns;
  const auto row = static_cast<double>(rowIndex);
  return CGPointMake(kMargin + column * (tileWidth + kGap), kMargin + kTitle + row * (tileHeight + kCaption + kGap));
}

}  // namespace

std::shared_ptr<CGImage> makeContactSheet(const Options& options, PictureContent& content) {
  const CGSize size = options.size.value_or(kTileSize);
  const double scale = UIScreen::mainScreen().nativeScale();
  const double tileWidth = std::ceil(size.width * scale);
  const double tileHeight = std::ceil(size.height * scale);
  const std::vector<Tile> tiles = listTiles(content);
  const size_t rows = (tiles.size() + kColumns - 1) / kColumns;

  const double width = 2 * kMargin + kColumns * tileWidth + (kColumns - 1) * kGap;
  const double height = tileOrigin(rows * kColumns, tileWidth, tileHeight).y + kMargin - kGap;
  CairoCanvas sheet(width, height);
  sheet.setColour(0x151A20);
  sheet.fillRect(CGRectMake(0, 0, width, height));
  sheet.setColour(0xF4F6F8);
  sheet.selectFont(20.0, CairoCanvas::Weight::Bold);
  sheet.drawText("zelview", CGPointMake(kMargin, kMargin + 20.0));
  sheet.selectFont(13.0);

  OffscreenRenderer renderer(size, options.backEnd);
  for (size_t i = 0; i < tiles.size(); ++i) {
    const Tile& tile = tiles[i];
    const std::shared_ptr<CGImage> picture = renderer.render(
        content.sourceFor(tile.layout), [&] { return makeProjection(tile.projection, tile.gravity, options.padding); },
        tile.camera);
    const CGPoint origin = tileOrigin(i, tileWidth, tileHeight);
    sheet.drawImage(*picture, origin);
    sheet.setColour(0xD5DCE3);
    sheet.drawText(tile.caption, CGPointMake(origin.x + 2.0, origin.y + tileHeight + 17.0));
  }
  sheet.setColour(0x9AA7B4);
  sheet.drawText((content.isBuiltIn() ? "the built-in panorama" : options.picture) + ", drawn by " +
                     renderer.rendererDescription(),
                 CGPointMake(kMargin + 110.0, kMargin + 19.0));
  if (options.verbose) std::fprintf(stderr, "drawn by: %s\n", renderer.rendererDescription().c_str());
  return sheet.makeImage();
}

}  // namespace zelview
