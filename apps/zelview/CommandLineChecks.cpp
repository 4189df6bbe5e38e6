#include "apps/zelview/CommandLineChecks.h"

#include <algorithm>
#include <charconv>
#include <sstream>

namespace zelview {
namespace {

constexpr int kLargestSide = 65536;
constexpr double kLargestAngle = 36000.0;

}  // namespace

std::optional<CGSize> parseSize(std::string_view text) {
  const size_t cross = text.find('x');
  if (cross == std::string_view::npos) return std::nullopt;
  const auto number = [](std::string_view digits) {
    int value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return error == std::errc() && end == digits.data() + digits.size() ? value : 0;
  };
  const int width = number(text.substr(0, cross));
  const int height = number(text.substr(cross + 1));
  if (width < 1 || height < 1 || width > kLargestSide || height > kLargestSide) return std::nullopt;
  return CGSizeMake(width, height);
}

std::string sizeComplaint(const std::string& text) {
  return "'" + text + "' is not a size such as 1280x720 (sides of 1 to 65536 points)";
}

CLI::Validator numberBetween(double smallest, double largest) {
  return CLI::Validator(
      [=](const std::string& text) {
        double value = 0.0;
        if (CLI::detail::lexical_cast(text, value) && value >= smallest && value <= largest) return std::string();
        std::ostringstream reason;
        reason << "'" << text << "' is not a number from " << smallest << " to " << largest;
        return reason.str();
      },
      "");
}

ZELProjectionType projectionNamed(const std::string& name) {
  ZELProjectionType type = ZELProjectionTypeFlat;
  while (name != ZELProjectionTypeName(type)) ++type;
  return type;
}

std::string oneLine(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  while (!text.empty() && (text.back() == ' ' || text.back() == '.')) text.pop_back();
  return text;
}

void addCameraOptions(CLI::App& app, Camera& camera) {
  app.add_option("--yaw", camera.yaw, "Degrees to the right")
      ->check(numberBetween(-kLargestAngle, kLargestAngle))
      ->type_name("A");
  app.add_option("--pitch", camera.pitch, "Degrees up, -90 to 90")->check(numberBetween(-90, 90))->type_name("A");
  app.add_option("--roll", camera.roll, "Degrees that the camera is turned clockwise")
      ->check(numberBetween(-kLargestAngle, kLargestAngle))
      ->type_name("A");
  app.add_option("--zoom", camera.zoom, "Magnification, 0.3 to 10; at 1 the longer side spans about 96 degrees")
      ->check(numberBetween(kSmallestZoom, kLargestZoom))
      ->type_name("Z");
  app.add_flag("--mirror", camera.mirror, "Exchange left and right of the sphere");
}

}  // namespace zelview
