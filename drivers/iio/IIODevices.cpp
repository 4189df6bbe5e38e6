#include "drivers/iio/IIODevices.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <string_view>
#include <vector>

namespace ZELPlatform {

namespace {

/// The first line of a small file; none when it cannot be read.
std::optional<std::string> contentsOf(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) {
    return std::nullopt;
  }
  std::array<char, 256> bytes;
  const ssize_t count = read(file, bytes.data(), bytes.size());
  close(file);
  if (count <= 0) {
    return std::nullopt;
  }
  const std::string_view text(bytes.data(), static_cast<size_t>(count));
  return std::string(text.substr(0, text.find('\n')));
}

/// Exactly so many finite numbers, with blanks, commas and semicolons between them.
template <size_t kCount>
std::optional<std::array<double, kCount>> numbersOf(const std::string& path) {
  constexpr std::string_view kBetween = " ,;\t";
  const std::optional<std::string> contents = contentsOf(path);
  if (!contents) {
    return std::nullopt;
  }
  std::array<double, kCount> numbers{};
  std::string_view rest = *contents;
  for (double& number : numbers) {
    rest.remove_prefix(std::min(rest.find_first_not_of(kBetween), rest.size()));
    const auto [end, failure] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    if (failure != std::errc() || !std::isfinite(number)) return std::nullopt;
    rest.remove_prefix(static_cast<size_t>(end - rest.data()));
  }
  return rest.find_first_not_of(kBetween) == std::string_view::npos ? std::optional(numbers) : std::nullopt;
}

std::optional<double> numberOf(const std::string& path) {
  const auto numbers = numbersOf<1>(path);
  return numbers ? std::optional((*numbers)[0]) : std::nullopt;
}

/// What holds for one axis, else for all of its kind.
double propertyOf(const std::string& all, char axis, const std::string& property, double otherwise) {
  const std::optional<double> own = numberOf(all + "_" + axis + "_" + property);
  return own ? *own : numberOf(all + "_" + property).value_or(otherwise);
}

bool exists(const std::string& path) { return access(path.c_str(), R_OK) == 0; }

std::vector<std::string> foldersUnder(const std::string& root) {
  std::vector<std::string> folders;
  std::error_code failure;
  for (std::filesystem::directory_iterator entry(root, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    if (entry->path().filename().string().starts_with("iio:device")) folders.push_back(entry->path().string());
  }
  // By number, as "iio:device10" comes after "iio:device9".
  std::sort(folders.begin(), folders.end(), [](const std::string& a, const std::string& b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
  });
  return folders;
}

/// Whether the device sits in the half of a folding machine that does not show the picture.
bool isAwayFromDisplay(const std::string& folder) {
  const std::string label = contentsOf(folder + "/label").value_or("");
  return label.ends_with("-base");
}

}  // namespace

std::optional<IIOAxes> IIOAxes::open(const std::string& folder, const std::string& kind) {
  const std::string all = folder + "/in_" + kind;
  IIOAxes axes;
  for (size_t i = 0; i < axes.axes_.size(); ++i) {
    const char axis = "xyz"[i];
    axes.axes_[i] = {all + "_" + axis + "_raw", propertyOf(all, axis, "scale", 1.0),
                     propertyOf(all, axis, "offset", 0.0)};
    if (!exists(axes.axes_[i].path)) return std::nullopt;
  }
  for (const std::string& mounting : {all + "_mount_matrix", folder + "/in_mount_matrix", folder + "/mount_matrix"}) {
    if (const auto numbers = numbersOf<9>(mounting)) {
      axes.mounting_ = *numbers;
      break;
    }
  }
  return axes;
}

std::optional<MotionVector> IIOAxes::read() const {
  std::array<double, 3> values{};
  for (size_t i = 0; i < axes_.size(); ++i) {
    const std::optional<double> raw = numberOf(axes_[i].path);
    if (!raw) return std::nullopt;
    values[i] = (*raw + axes_[i].offset) * axes_[i].scale;
  }
  const auto row = [&](size_t first) {
    return mounting_[first] * values[0] + mounting_[first + 1] * values[1] + mounting_[first + 2] * values[2];
  };
  return MotionVector{row(0), row(3), row(6)};
}

std::unique_ptr<IIODevices> IIODevices::find(const std::string& root) {
  auto devices = std::make_unique<IIODevices>();
  bool sameDevice = false;
  for (const std::string& folder : foldersUnder(root)) {
    if (isAwayFromDisplay(folder)) continue;
    const std::string name = contentsOf(folder + "/name").value_or("");
    const std::string rotation = folder + "/in_rot_quaternion_raw";
    if (exists(rotation)) {
      devices->name_ = name;
      devices->rotation_ = rotation;
      return devices;
    }
    std::optional<IIOAxes> rate = IIOAxes::open(folder, "anglvel");
    std::optional<IIOAxes> acceleration = IIOAxes::open(folder, "accel");
    const bool both = rate && acceleration;
    if (sameDevice) continue;
    if (rate && (both || !devices->rate_)) {
      devices->rate_ = rate;
      devices->name_ = name;
    }
    if (acceleration && (both || !devices->acceleration_)) devices->acceleration_ = acceleration;
    sameDevice = sameDevice || both;
  }
  return devices->rate_ && devices->acceleration_ ? std::move(devices) : nullptr;
}

std::optional<IIOReading> IIODevices::read() const {
  IIOReading reading;
  if (!rotation_.empty()) {
    // Its scale makes no difference to a rotation.
    const auto numbers = numbersOf<4>(rotation_);
    if (!numbers) return std::nullopt;
    reading.attitude = CMQuaternion{(*numbers)[0], (*numbers)[1], (*numbers)[2], (*numbers)[3]};
    return reading;
  }
  const std::optional<MotionVector> rate = rate_->read();
  const std::optional<MotionVector> acceleration = acceleration_->read();
  if (!rate || !acceleration) return std::nullopt;
  reading.rate = *rate;
  reading.acceleration = *acceleration;
  return reading;
}

}  // namespace ZELPlatform
