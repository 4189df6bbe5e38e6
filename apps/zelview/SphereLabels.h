#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "apps/zelview/SpherePoint.h"

namespace zelview {

/// How much of a point labels cover, from 0 to 1.
struct LabelCover {
  float text = 0.0F;
  /// The dark edge around the text.
  float halo = 0.0F;
  /// Whether the text is in the accent colour.
  bool accent = false;
};

/// The built-in panorama's labels, each a picture of text in a plane that touches the sphere. Any thread once made.
class SphereLabels {
 public:
  SphereLabels();

  LabelCover coverAt(const SpherePoint& point) const;

 private:
  /// Text and halo, side by side in one array of pairs.
  struct Mask {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pairs;
  };
  struct Vector {
    float x;
    float y;
    float z;
  };
  struct Label {
    Vector centre;
    Vector right;
    Vector up;
    const Mask* mask;
    /// Of the mask's half diagonal.
    float cosRadius;
    bool accent;
  };

  static Mask drawMask(const std::string& text, float height);
  static void sample(const Label& label, const SpherePoint& point, LabelCover& cover);

  /// `height` is that of a capital letter, in degrees; the text stands upright on its parallel.
  void add(const std::string& text, float longitude, float latitude, float height, bool accent = false);
  /// A label at a pole, upright for someone who faces ahead and looks straight up or down.
  void addPole(const std::string& text, bool zenith, float height);
  void place(const std::string& text, float height, Vector centre, Vector right, Vector up, bool accent);
  void sortIntoCells();

  std::map<std::pair<std::string, float>, std::unique_ptr<Mask>> masks_;
  std::vector<Label> labels_;
  /// For each cell of a coarse grid over the sphere, the labels that may reach into it.
  std::vector<std::vector<uint16_t>> cells_;
};

}  // namespace zelview
