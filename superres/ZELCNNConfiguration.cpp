#include "superres/ZELCNNConfiguration.h"

#include <ZELPlatform/CoreVideo.h>
#include <ZELPlatform/NSURL.h>
#include <ZELPlatform/UIDevice.h>

#include <charconv>
#include <string_view>

namespace {

/// The codes of the two bi-planar formats differ in this bit alone, video range having it set.
constexpr uint32_t kRangeBit = 0x10;

constexpr std::string_view kLowestSystemVersion = "9.0";

/// The number that the text begins with, which is taken off it together with the point behind; 0 without one.
uint64_t takeNumber(std::string_view& text) {
  uint64_t number = 0;
  const std::from_chars_result read = std::from_chars(text.data(), text.data() + text.size(), number);
  text.remove_prefix(static_cast<size_t>(read.ptr - text.data()));
  if (!text.empty()) text.remove_prefix(1);
  return number;
}

/// Whether the version comes before the other, its numbers being compared as numbers: 8.4.1, 9.0, 10.0.
bool isLowerVersion(std::string_view version, std::string_view other) {
  while (!version.empty() || !other.empty()) {
    const uint64_t a = takeNumber(version);
    const uint64_t b = takeNumber(other);
    if (a != b) return a < b;
  }
  return false;
}

}  // namespace

ZELCNNConfiguration::ZELCNNConfiguration(const ZELInternalRenderState& state, CGSize textureSize, uint32_t bufferFormat,
                                         ZELNetworkFramework* framework)
    : framework_(framework),
      enabled_(state.srEnabled),
      contentType_(state.srContentType),
      encoderType_(state.srEncoderType),
      projectionType_(state.projection ? state.projection->type() : ZELProjectionType{ZELProjectionTypeFlat}),
      size_(textureSize),
      bufferFormat_(bufferFormat) {}

bool ZELCNNConfiguration::differsFromConfiguration(const ZELSRConfiguration& other) const {
  const auto* that = dynamic_cast<const ZELCNNConfiguration*>(&other);
  if (!that) return true;
  return enabled_ != that->enabled_ || contentType_ != that->contentType_ || encoderType_ != that->encoderType_ ||
         projectionType_ != that->projectionType_ || size_.width != that->size_.width ||
         size_.height != that->size_.height || bufferFormat_ != that->bufferFormat_;
}

std::string ZELCNNConfiguration::ownObstacle() const {
  if (!_isDeviceSupported()) return "the GPU's compute functions cannot write single-channel textures";
  // Flat content only: of a sphere the view shows a part, which is seldom larger than the frame's part behind it.
  if (projectionType_ != ZELProjectionTypeFlat) return "the projection is not flat";
  if ((bufferFormat_ | kRangeBit) != kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange) {
    return "the frames have no luma plane";
  }
  if (!enabled_) return "it is switched off";
  if (!framework_) return "no network is installed";
  return {};
}

ZELNetworkRequest ZELCNNConfiguration::request() const {
  return {.modelType = 0,
          .encoderType = encoderType_,
          .contentType = contentType_,
          .inputWidth = static_cast<int64_t>(size_.width),
          .inputHeight = static_cast<int64_t>(size_.height)};
}

std::shared_ptr<const NSURL> ZELCNNConfiguration::modelURL() const {
  if (!ownObstacle().empty()) return nullptr;
  return framework_->isInputResolutionSupported(request()) ? framework_->modelURL(request()) : nullptr;
}

std::string ZELCNNConfiguration::obstacle() const {
  if (std::string reason = ownObstacle(); !reason.empty()) return reason;
  return modelURL() ? std::string() : "no network is for frames of this size and kind";
}

bool ZELCNNConfiguration::_isDeviceSupported() {
  static const bool supported =
      _isSupported(UIDevice::currentDevice().systemVersion(), [] { return MTLCreateSystemDefaultDevice(); });
  return supported;
}

bool ZELCNNConfiguration::_isSupported(const std::string& systemVersion,
                                       const std::function<std::shared_ptr<MTLDevice>()>& createDevice) {
  if (isLowerVersion(systemVersion, kLowestSystemVersion)) return false;
  const std::shared_ptr<MTLDevice> device = createDevice();
  return device && device->supportsFeatureSet(MTLFeatureSet_iOS_GPUFamily2_v2);
}
